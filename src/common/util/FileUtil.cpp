#include "common/util/FileUtil.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>

bool CFileUtil::isDirExist(const char* path)
{
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0) {
        return false;
    }
    return (st.st_mode & S_IFDIR) != 0;
}

bool CFileUtil::isFileExist(const char* path)
{
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0) {
        return false;
    }
    return (st.st_mode & S_IFREG) != 0;
}

int64_t CFileUtil::getFileSize(const char* path)
{
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0) {
        return -1;
    }
    return static_cast<int64_t>(st.st_size);
}

int CFileUtil::mv(const char* from, const char* to, bool)
{
    if (from == nullptr || to == nullptr || rename(from, to) != 0) {
        return -1;
    }
    return 0;
}

int CFileUtil::rm(const char* path)
{
    if (path == nullptr) {
        return 0;
    }
    return remove(path) == 0 ? 0 : -1;
}

void CFileUtil::shiftBackups(const std::string& path, int count)
{
    const std::string base = path + ".";
    for (int i = count - 2; i >= 1; --i) {
        const std::string backup = base + std::to_string(i);
        if (isFileExist(backup.c_str())) {
            mv(backup.c_str(), (base + std::to_string(i + 1)).c_str());
        }
    }
    if (count >= 2) {
        mv(path.c_str(), (base + "1").c_str());
    }
}

int CFileUtil::makeDir(const char*, bool)
{
    return 0;
}

int CFileUtil::getDirList(const char*, std::vector<std::string>&, bool, const std::string&)
{
    return 0;
}

int CFileUtil::getFileList(const char* dir, std::vector<std::string>& list, bool bRecursive, const std::string& prefix)
{
    DIR* handle = dir == nullptr ? nullptr : opendir(dir);
    if (handle == nullptr) {
        return 1;
    }
    while (struct dirent* entry = readdir(handle)) {
        const char* name = entry->d_name;
        if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) {
            continue;
        }
        std::string listed = prefix.empty() ? std::string(name) : prefix + "/" + name;
        if (entry->d_type == DT_DIR) {
            if (bRecursive) {
                getFileList((std::string(dir) + "/" + name).c_str(), list, true, listed);
            }
            continue;
        }
        if (entry->d_type != DT_REG) {
            continue;
        }
        list.push_back(listed);
    }
    closedir(handle);
    return 0;
}
