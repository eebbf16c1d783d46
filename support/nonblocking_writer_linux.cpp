#include "support/nonblocking_writer.h"

#include <cerrno>
#include <climits>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace sorvane {

NonblockingWriter::NonblockingWriter(int descriptor) : descriptor_(descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return;
    takesAll_ = S_ISREG(status.st_mode) || (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
    if (takesAll_ || S_ISSOCK(status.st_mode)) return;
    // A pipe or a terminal that is opened again has flags of its own.
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    constexpr int flags = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    platform_ = UniqueDescriptor(::open(path.c_str(), flags));
}

ssize_t NonblockingWriter::write(std::string_view bytes) const {
    if (platform_) return ::write(platform_.get(), bytes.data(), bytes.size());
    if (takesAll_) return ::write(descriptor_, bytes.data(), bytes.size());
    const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count >= 0 || errno != ENOTSOCK) return count;
    // A pipe that this user may not open: one that is ready takes this many bytes.
    bytes = bytes.substr(0, PIPE_BUF);
    return ::write(descriptor_, bytes.data(), bytes.size());
}

} // namespace sorvane
