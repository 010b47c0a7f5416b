#ifndef LUMBRIX_KIT_TEMP_DIR_H
#define LUMBRIX_KIT_TEMP_DIR_H

#include <string>

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
class CTempDir {
public:
    CTempDir();
    ~CTempDir();
    CTempDir(const CTempDir&) = delete;
    CTempDir& operator=(const CTempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// Whole content of a file, empty when it cannot be read.
std::string readFile(const std::string& path);
// False when it could not be written whole.
bool writeFile(const std::string& path, const std::string& content);

#endif
