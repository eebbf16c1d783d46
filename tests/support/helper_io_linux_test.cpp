// What only a system that is made to answer otherwise shows of a file's replacement.

#include "support/helper_io.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <sys/syscall.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/temporary_directory.h"

using namespace sorvane;
using test::fileContent;
using test::putFile;
using test::TemporaryDirectory;

namespace {

// NOLINTBEGIN: the system calls free functions
bool closeFails = false;
bool randomBytesAreZero = false;
// NOLINTEND

std::error_code failureToReplace(const std::filesystem::path& path) {
    try {
        HelperIO::replaceFile(path, "new");
    } catch (const std::system_error& failure) {
        return failure.code();
    }
    return {};
}

std::ptrdiff_t filesIn(const std::filesystem::path& directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

} // namespace

// These stand before the C library's, in this program only.

extern "C" int close(int descriptor) {
    const long result = ::syscall(SYS_close, descriptor);
    if (!closeFails) return static_cast<int>(result);
    errno = EIO;
    return -1;
}

extern "C" int getentropy(void* bytes, std::size_t count) {
    auto* const first = static_cast<unsigned char*>(bytes);
    std::fill_n(first, count, static_cast<unsigned char>(0));
    if (randomBytesAreZero) return 0;
    return ::syscall(SYS_getrandom, bytes, count, 0) == static_cast<long>(count) ? 0 : -1;
}

TEST_CASE("a file whose writing is found to have failed when it is closed takes nobody's place") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "older");
    closeFails = true;
    const std::error_code reason = failureToReplace(directory.path() / "file");
    closeFails = false;
    CHECK(reason == std::errc::io_error);
    CHECK(fileContent(directory.path() / "file") == "older");
    CHECK(filesIn(directory.path()) == 1);
}

TEST_CASE("a new file is never one that stands already, nor a link that somebody has laid") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "older");
    putFile(directory.path() / "victim", "untouched");
    const auto temporary = directory.path() / ".00000000-0000-4000-8000-000000000000";
    const auto tryIt = [&] {
        randomBytesAreZero = true;
        const std::error_code reason = failureToReplace(directory.path() / "file");
        randomBytesAreZero = false;
        CHECK(reason == std::errc::file_exists);
        CHECK(fileContent(directory.path() / "file") == "older");
        CHECK(fileContent(directory.path() / "victim") == "untouched");
    };
    putFile(temporary, "somebody else's");
    tryIt();
    CHECK(fileContent(temporary) == "somebody else's");
    std::filesystem::remove(temporary);
    std::filesystem::create_symlink("victim", temporary);
    tryIt();
    CHECK(std::filesystem::is_symlink(temporary));
    std::filesystem::remove(temporary);
    std::filesystem::create_symlink("nowhere", temporary);
    tryIt();
    CHECK_FALSE(std::filesystem::exists(directory.path() / "nowhere"));
}
