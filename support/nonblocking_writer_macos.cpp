// Here a descriptor that is opened again shares its flags with the first, and a single send cannot
// be made non-blocking. But the kernel tells how much room there is.

#include "support/nonblocking_writer.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <ctime>

#include <fcntl.h>
#include <sys/event.h>
#include <sys/stat.h>

namespace sorvane {

namespace {

// The least that a pipe or a socket takes when it is ready.
std::size_t room(int queue, int descriptor) {
    struct kevent watch;
    struct kevent event;
    EV_SET(&watch, descriptor, EVFILT_WRITE, EV_ADD | EV_ONESHOT, 0, 0, nullptr);
    const timespec now{0, 0};
    const bool told = ::kevent(queue, &watch, 1, &event, 1, &now) == 1 &&
                      (event.flags & (EV_ERROR | EV_EOF)) == 0;
    return told ? static_cast<std::size_t>(std::max<std::intptr_t>(event.data, PIPE_BUF))
                : PIPE_BUF;
}

} // namespace

NonblockingWriter::NonblockingWriter(int descriptor) : descriptor_(descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return;
    takesAll_ = S_ISREG(status.st_mode) || (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
    if (!takesAll_) platform_ = UniqueDescriptor(::kqueue());
}

ssize_t NonblockingWriter::write(std::string_view bytes) const {
    if (!takesAll_) bytes = bytes.substr(0, room(platform_.get(), descriptor_));
    return ::write(descriptor_, bytes.data(), bytes.size());
}

} // namespace sorvane
