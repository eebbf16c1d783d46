#include "support/replace_by_rename.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace sorvane {

namespace {

bool exchange(const char* one, const char* other) {
    return ::renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE) == 0;
}

} // namespace

// The usual file system here, ext4, sends a new file's content to the disk before it lets the file
// take the place of another: a prompt would wait for that longer than for everything else together.
// Files that change places are not waited for.
bool replaceByRename(const std::filesystem::path& file, const std::filesystem::path& place) {
    if (!exchange(file.c_str(), place.c_str())) return ::rename(file.c_str(), place.c_str()) == 0;
    if (::unlink(file.c_str()) == 0) return true;
    const int reason = errno; // a directory, nearly always
    exchange(file.c_str(), place.c_str());
    errno = reason;
    return false;
}

} // namespace sorvane
