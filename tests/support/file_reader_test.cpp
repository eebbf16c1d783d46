#include "support/file_reader.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/unix_socket.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_literals;
using test::putFile;
using test::takesName;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

namespace {

std::string textOfLength(std::size_t length) {
    std::string text;
    for (int number = 0; text.size() < length; ++number) text += std::to_string(number) + '\0';
    return text.substr(0, length);
}

struct Failure {
    std::error_code code;
    std::string text;
};

// Why a file cannot be read, or nothing when it can.
std::optional<Failure> failure(const Path& path) {
    try {
        readFile(path);
    } catch (const std::system_error& error) {
        return Failure{error.code(), error.what()};
    }
    return std::nullopt;
}

} // namespace

TEST_CASE("a file is read whole, whatever its length") {
    const TemporaryDirectory directory;
    for (const std::size_t length :
         {0U, 1U, 16'383U, 16'384U, 16'385U, 32'768U, 65'537U, 1'000'000U, 5'000'001U}) {
        CAPTURE(length);
        const std::string content = textOfLength(length);
        putFile(directory.path() / "file", content);
        CHECK((readFile(directory.path() / "file") == content));
    }
}

TEST_CASE("pieces are filled up to the end of the file") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "abcdefgh");
    FileReader reader(directory.path() / "file");
    std::string piece(3, '-');
    CHECK(reader.read(std::span(piece)) == 3);
    CHECK(piece == "abc");
    CHECK(reader.read(std::span(piece).first(0)) == 0);
    CHECK(reader.read(std::span(piece)) == 3);
    CHECK(piece == "def");
    CHECK(reader.read(std::span(piece)) == 2);
    CHECK(piece == "ghf");
    CHECK(reader.read(std::span(piece)) == 0);
    CHECK(reader.read(std::span(piece)) == 0);
}

TEST_CASE("after going back the file is read from its beginning") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "file";
    putFile(path, "content");
    FileReader reader(path);
    std::string piece(4, '\0');
    CHECK(reader.read(std::span(piece)) == 4);
    CHECK(reader.rewind());
    CHECK(reader.readAll() == "content");
}

TEST_CASE("what pieces have left is read whole") {
    const TemporaryDirectory directory;
    const std::string content = textOfLength(100'000);
    putFile(directory.path() / "file", content);
    FileReader reader(directory.path() / "file");
    std::string piece(40'000, '-');
    CHECK(reader.read(std::span(piece)) == 40'000);
    CHECK((piece == content.substr(0, 40'000)));
    CHECK((reader.readAll() == content.substr(40'000)));
    CHECK(reader.readAll().empty());
}

TEST_CASE("a file that says it is empty and is not is read whole") {
    // So does every file that the kernel makes up.
    const Path path = "/proc/self/status";
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return;
    CHECK(status.st_size == 0);
    CHECK(readFile(path).find("Pid:") != std::string::npos);
}

TEST_CASE("a symbolic link to a file is read") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "content");
    std::filesystem::create_symlink("file", directory.path() / "link");
    std::filesystem::create_symlink("link", directory.path() / "link to link");
    CHECK(readFile(directory.path() / "link to link") == "content");
}

TEST_CASE("a path is taken as it stands") {
    const TemporaryDirectory directory;
    for (const std::string name : {"with blank", "*", "~", "$HOME", "caf\u00E9", "not UTF-8 \xFF",
                                   "line\nfeed", "-", "%s"}) {
        CAPTURE(name);
        if (!takesName(directory.path(), name)) continue;
        putFile(directory.path() / name, name);
        CHECK(readFile(directory.path() / name) == name);
    }
}

TEST_CASE("what is not a regular file is a failure and never a wait") {
    const TemporaryDirectory directory;
    const Path fifo = directory.path() / "fifo";
    REQUIRE(::mkfifo(fifo.c_str(), 0600) == 0);
    const Path socketFile = directory.path() / "socket";
    const UniqueDescriptor socket = makeSocket();
    const auto address = socketAddress(socketFile);
    REQUIRE(address);
    REQUIRE(::bind(socket.get(), address->generic(), address->length) == 0);
    std::filesystem::create_symlink(fifo, directory.path() / "link to fifo");
    std::filesystem::create_symlink("/dev/null", directory.path() / "link to device");

    for (const Path& path :
         {directory.path(), directory.path() / "", Path("/"), fifo, socketFile, Path("/dev/null"),
          Path("/dev/zero"), Path("/dev/tty"), directory.path() / "link to fifo",
          directory.path() / "link to device"}) {
        CAPTURE(path.native());
        CHECK(failure(path));
    }
    CHECK(failure(directory.path())->code == std::errc::is_a_directory);
}

TEST_CASE("a FIFO that somebody writes to is a failure too, and keeps its content") {
    const TemporaryDirectory directory;
    const Path fifo = directory.path() / "fifo";
    REQUIRE(::mkfifo(fifo.c_str(), 0600) == 0);
    const UniqueDescriptor both(::open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    REQUIRE(::write(both.get(), "a", 1) == 1);
    CHECK(failure(fifo));
    char byte = 0;
    CHECK(::read(both.get(), &byte, 1) == 1);
}

TEST_CASE("a file that is not there is a failure that names it and the reason") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "");
    std::filesystem::create_symlink("nowhere", directory.path() / "dangling");
    std::filesystem::create_symlink("loop", directory.path() / "loop");
    struct Row {
        Path path;
        std::errc reason;
    };
    const std::vector<Row> rows = {
        {directory.path() / "missing", std::errc::no_such_file_or_directory},
        {directory.path() / "no" / "directory", std::errc::no_such_file_or_directory},
        {directory.path() / "dangling", std::errc::no_such_file_or_directory},
        {directory.path() / "loop", std::errc::too_many_symbolic_link_levels},
        {directory.path() / "file" / "below", std::errc::not_a_directory},
        {directory.path() / "file" / "", std::errc::not_a_directory},
        {directory.path() / std::string(5000, 'n'), std::errc::filename_too_long},
        {directory.path(), std::errc::is_a_directory},
        {"", std::errc::no_such_file_or_directory},
    };
    for (const Row& row : rows) {
        CAPTURE(row.path.native());
        const auto told = failure(row.path);
        REQUIRE(told);
        CHECK(told->code == row.reason);
        CHECK(told->text.find(row.path.native()) != std::string::npos);
        CHECK(told->text.find(std::make_error_code(row.reason).message()) != std::string::npos);
    }
}

TEST_CASE("a file that may not be read is a failure") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "file";
    putFile(path, "content");
    ::chmod(path.c_str(), 0);
    // Nothing is closed to the superuser: let the test be an ordinary user meanwhile.
    const bool superuser = ::geteuid() == 0;
    constexpr uid_t nobody = 65'534;
    if (superuser) REQUIRE(::seteuid(nobody) == 0);
    const auto told = failure(path);
    if (superuser) REQUIRE(::seteuid(0) == 0);
    REQUIRE(told);
    CHECK(told->code == std::errc::permission_denied);
}

TEST_CASE("a path with a NUL byte names no file, not the one that it begins with") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "content");
    const auto told = failure(directory.path().native() + "/file\0.png"s);
    REQUIRE(told);
    CHECK(told->code == std::errc::no_such_file_or_directory);
    CHECK(failure(directory.path().native() + "/file\0"s));
    CHECK(failure("\0"s));
}

TEST_CASE("the failure's text is one line, whatever the path") {
    for (const std::string& name : {"a\nb"s, "a\r\nb"s, "a\tb"s, "a\0b"s, "\x1B[31m"s, "\n"s}) {
        const auto told = failure("/missing/" + name);
        REQUIRE(told);
        CAPTURE(told->text);
        for (const char character : told->text)
            CHECK(static_cast<unsigned char>(character) >= 0x20);
        CHECK(told->text.starts_with("/missing/"));
    }
}

TEST_CASE("a reader leaves no descriptor behind, and its children get none") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "content");
    const auto lowestFree = [] { return UniqueDescriptor(::dup(0)).get(); };
    const int before = lowestFree();
    {
        const FileReader reader(directory.path() / "file");
        CHECK(::fcntl(before, F_GETFD) == FD_CLOEXEC);
    }
    readFile(directory.path() / "file");
    CHECK(failure(directory.path()));
    CHECK(failure("/dev/null"));
    CHECK(lowestFree() == before);
}
