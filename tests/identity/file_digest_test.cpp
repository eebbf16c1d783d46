#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "identity/file_identity.h"
#include "tests/forked.h"
#include "tests/temporary_directory.h"

using namespace sorvane;

namespace {

constexpr const char* digestOfNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* digestOfABC =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr const char* digestOfAMillionA =
    "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";

// Why a file has no digest; 0 when it has one.
int failureFor(const std::filesystem::path& file) {
    try {
        HelperIO::sha256(file);
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

/// A directory with a file of a test's own.
struct File {
    test::TemporaryDirectory directory;
    std::filesystem::path path = directory.path() / "file";

    explicit File(std::string_view content) { test::putFile(path, content); }
};

} // namespace

TEST_CASE("a file's digest is that of its bytes") {
    CHECK(HelperIO::sha256(File("abc").path) == digestOfABC);
    CHECK(HelperIO::sha256(File("").path) == digestOfNothing);
    CHECK(HelperIO::sha256(File(std::string(1'000'000, 'a')).path) == digestOfAMillionA);
}

TEST_CASE("a file of any size around a piece has the digest of its bytes") {
    std::string content;
    for (std::size_t size : {std::size_t{1}, std::size_t{131'071}, std::size_t{131'072},
                             std::size_t{131'073}, std::size_t{262'144}, std::size_t{700'001}}) {
        CAPTURE(size);
        // No two pieces are alike, so that none can stand in for another.
        while (content.size() < size) content += std::to_string(content.size()) + '\0';
        content.resize(size);
        CHECK(HelperIO::sha256(File(content).path) == HelperIO::sha256(content));
    }
}

TEST_CASE("a text is data and never the path of a file") {
    const File file("abc");
    const std::string text = file.path.native();
    CHECK(HelperIO::sha256(text) != digestOfABC);
    CHECK(HelperIO::sha256(text.c_str()) == HelperIO::sha256(text));
    CHECK(HelperIO::sha256(std::string_view(text)) == HelperIO::sha256(text));
    CHECK(HelperIO::sha256("abc") == digestOfABC);
    CHECK(HelperIO::sha256("/no/such/file").size() == 64);
    CHECK(HelperIO::sha256(std::string()) == digestOfNothing);
}

TEST_CASE("a location is a file however it is handed over") {
    File file("abc");
    const std::filesystem::path& constant = file.path;
    CHECK(HelperIO::sha256(file.path) == digestOfABC);
    CHECK(HelperIO::sha256(constant) == digestOfABC);
    CHECK(HelperIO::sha256(std::filesystem::path(file.path)) == digestOfABC);
    CHECK(HelperIO::sha256OfFile(file.path) == digestOfABC);
}

TEST_CASE("a symbolic link has the digest of what it leads to") {
    const File file("abc");
    std::filesystem::create_symlink("file", file.directory.path() / "link");
    CHECK(HelperIO::sha256(file.directory.path() / "link") == digestOfABC);
}

TEST_CASE("what is no readable file has no digest, and is never waited for") {
    const File file("abc");
    const auto& directory = file.directory.path();
    ::mkfifo((directory / "fifo").c_str(), 0600);
    std::filesystem::create_symlink("nowhere", directory / "dangling");
    CHECK(failureFor(directory / "missing") == ENOENT);
    CHECK(failureFor(directory / "missing/file") == ENOENT);
    CHECK(failureFor(directory / "file/below") == ENOTDIR);
    CHECK(failureFor(directory / "dangling") == ENOENT);
    CHECK(failureFor(directory) == EISDIR);
    CHECK(failureFor(directory / "fifo") != 0);
    CHECK(failureFor("/dev/null") != 0);
    CHECK(failureFor("") == ENOENT);
}

TEST_CASE("a file that may not be read has no digest") {
    const File file("abc");
    ::chmod(file.path.c_str(), 0);
    ::chmod(file.directory.path().c_str(), 0755);
    CHECK(test::inForkedChild([&file] {
              // The administrator may read everything.
              if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return false;
              return failureFor(file.path) == EACCES;
          }) == 0);
}

TEST_CASE("the failure names the file") {
    const test::TemporaryDirectory directory;
    std::string text;
    try {
        HelperIO::sha256(directory.path() / "missing");
    } catch (const std::system_error& error) {
        text = error.what();
    }
    CHECK(text.find((directory.path() / "missing").native()) != std::string::npos);
}
