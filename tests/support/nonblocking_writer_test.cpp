#include "support/nonblocking_writer.h"

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/pipe.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::Pipe;

namespace {

void fill(const Pipe& pipe) {
    ::fcntl(pipe.writer.get(), F_SETFL, O_NONBLOCK);
    const std::string page(4096, 'f');
    while (::write(pipe.writer.get(), page.data(), page.size()) > 0) continue;
    ::fcntl(pipe.writer.get(), F_SETFL, 0);
}

} // namespace

TEST_CASE("a blocking pipe takes at one write what it has room for") {
    const Pipe pipe;
    const std::string text(10'000, 'x'); // more than is written in one piece without a look
    CHECK(NonblockingWriter(pipe.writer.get()).write(text) == 10'000);
}

TEST_CASE("a blocking pipe with one free page takes that page") {
    const Pipe pipe;
    fill(pipe);
    std::vector<char> page(4096);
    REQUIRE(::read(pipe.reader.get(), page.data(), page.size()) == 4096);
    const ssize_t count = NonblockingWriter(pipe.writer.get()).write(std::string(10'000, 'x'));
    CHECK(count > 0);
    CHECK(count <= 4096);
}

TEST_CASE("a regular file takes everything, where its descriptor stands") {
    const test::TemporaryDirectory directory;
    const UniqueDescriptor file(
        ::open((directory.path() / "file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    REQUIRE(::write(file.get(), "begin", 5) == 5);
    const std::string text(300'000, 'x');
    const NonblockingWriter writer(file.get());
    CHECK(writer.write(text) == 300'000);
    CHECK(writer.write("end") == 3);
    CHECK((test::fileContent(directory.path() / "file") == "begin" + text + "end"));
}

TEST_CASE("writing to what is no descriptor fails as a write does") {
    errno = 0;
    CHECK(NonblockingWriter(-1).write("x") < 0);
    CHECK(errno == EBADF);
}
