#include "support/replace_by_rename.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sorvane {

namespace {

bool isRegularFile(const char* path) {
    struct stat status {};
    return ::lstat(path, &status) == 0 && S_ISREG(status.st_mode);
}

bool exchange(const char* one, const char* other) {
    return ::renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE) == 0;
}

} // namespace

// The usual file system here, ext4, writes a new file's content to the disk before it lets the file
// replace another: a prompt would wait for that longer than for everything else together. It does
// not do so when two files are exchanged. Only regular files are exchanged: a process killed
// between the two calls must not leave a directory under our temporary name.
bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& target) {
    if (!isRegularFile(target.c_str()) || !exchange(file.c_str(), target.c_str()))
        return ::rename(file.c_str(), target.c_str()) == 0;
    if (::unlink(file.c_str()) == 0) return true;
    const int reason = errno; // the target had become a directory meanwhile
    exchange(file.c_str(), target.c_str());
    errno = reason;
    return false;
}

} // namespace sorvane
