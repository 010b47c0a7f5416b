#ifndef LUMBRIX_FILE_UTIL_H
#define LUMBRIX_FILE_UTIL_H

#include <cstdint>
#include <string>
#include <vector>

// Stateless file-system helpers used by the logger and the JSON loader.
// Paths are zero-terminated texts; a null path is refused. Nothing here
// creates directories: the logger does that with a shell command.
class CFileUtil {
public:
    static bool isDirExist(const char* path);
    static bool isFileExist(const char* path);
    // Size in bytes, -1 when the path is null or cannot be examined.
    static int64_t getFileSize(const char* path);

    // Renames (replacing the target); 0 on success, -1 on failure.
    static int mv(const char* from, const char* to, bool bForce = true);
    // 0 when removed (or the path is null), -1 on failure.
    static int rm(const char* path);
    // Numbered backups of path: path.(count-2) becomes path.(count-1) (the
    // oldest goes), ... path.1 becomes path.2, and path becomes path.1.
    // Fewer than 2 generations keep no backup and move nothing.
    static void shiftBackups(const std::string& path, int count);

    static int makeDir(const char* path, bool bRecursive = false);
    static int getDirList(const char* path, std::vector<std::string>& list, bool bRecursive = false,
                          const std::string& prefix = std::string());
    // Appends the regular files of dir (and of its subdirectories when
    // bRecursive), each as prefix + "/" + name or the bare name when there is
    // no prefix, in the order the directory yields them. 1 when dir cannot be
    // opened, else 0.
    static int getFileList(const char* dir, std::vector<std::string>& list, bool bRecursive = false,
                           const std::string& prefix = std::string());
};

#endif
