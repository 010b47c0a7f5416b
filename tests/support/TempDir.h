#ifndef LUMBRIX_TEST_TEMP_DIR_H
#define LUMBRIX_TEST_TEMP_DIR_H

#include <string>

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// Whole content of a file, empty when it cannot be read.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

#endif
