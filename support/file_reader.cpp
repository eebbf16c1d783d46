#include "support/file_reader.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/utf8.h"

namespace sorvane {

namespace {

// Enough for a manifest or a credential in one read.
constexpr std::size_t firstRoom = 4096;

} // namespace

FileReader::FileReader(const std::filesystem::path& path) : path_(path) {
    // The system would read the path only up to the NUL byte, which names another file.
    if (path.native().find('\0') != std::string::npos) fail(ENOENT);
    descriptor_ =
        UniqueDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!descriptor_) fail(errno);
    struct stat status {};
    if (::fstat(descriptor_.get(), &status) != 0) fail(errno);
    if (S_ISDIR(status.st_mode)) fail(EISDIR);
    if (!S_ISREG(status.st_mode)) fail(EOPNOTSUPP);
}

std::size_t FileReader::read(std::span<char> piece) {
    std::size_t filled = 0;
    while (filled < piece.size()) {
        const ssize_t count =
            ::read(descriptor_.get(), piece.data() + filled, piece.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno); // EAGAIN too, for example from /proc/kmsg
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

bool FileReader::rewind() { return ::lseek(descriptor_.get(), 0, SEEK_SET) == 0; }

std::string FileReader::readAll() {
    std::string content;
    std::size_t filled = 0;
    do {
        content.resize(std::max(firstRoom, 2 * filled));
        filled += read(std::span(content).subspan(filled));
    } while (filled == content.size());
    content.resize(filled);
    return content;
}

void FileReader::fail(int reason) const {
    throw std::system_error(reason, std::generic_category(), utf8::oneLine(path_.native()));
}

std::string readFile(const std::filesystem::path& path) { return FileReader(path).readAll(); }

} // namespace sorvane
