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

// The usual file system here, ext4, sends a new file's content to the disk before it lets the file
// take the place of another: a prompt would wait for that longer than for everything else together.
// Files that change places are not waited for. Nothing but a file is ever moved away: whoever kills
// us in between must not find a directory under our file's name.
bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& target) {
    if (!isRegularFile(target.c_str()) || !exchange(file.c_str(), target.c_str()))
        return ::rename(file.c_str(), target.c_str()) == 0;
    if (::unlink(file.c_str()) == 0) return true;
    const int reason = errno; // not a file any more
    exchange(file.c_str(), target.c_str());
    errno = reason;
    return false;
}

} // namespace sorvane
