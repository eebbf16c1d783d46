#include "support/file_reader.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/descriptor_io.h"

namespace sorvane {

namespace {

std::string withoutLineBreaks(std::string text) {
    for (char& character : text)
        if (static_cast<unsigned char>(character) < 0x20) character = '?';
    return text;
}

} // namespace

FileReader::FileReader(const std::filesystem::path& path) : path_(path) {
    // The system would read a path only up to a NUL byte: that is another file.
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
        const ssize_t count = readSome(descriptor_.get(), piece.subspan(filled));
        if (count < 0) fail(errno);
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

std::string FileReader::readAll() {
    std::string content;
    if (!appendToEnd(descriptor_.get(), content)) fail(errno);
    return content;
}

void FileReader::fail(int reason) const {
    throw std::system_error(reason, std::generic_category(), withoutLineBreaks(path_.native()));
}

std::string readFile(const std::filesystem::path& path) { return FileReader(path).readAll(); }

} // namespace sorvane
