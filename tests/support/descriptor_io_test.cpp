#include "support/descriptor_io.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <pthread.h>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/interruptions.h"
#include "tests/pipe.h"
#include "tests/scoped_signal.h"

using namespace sorvane;
using test::Interruptions;
using test::Pipe;
using test::ScopedSignal;

namespace {

void setNonBlocking(const UniqueDescriptor& descriptor) {
    ::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

// More than any pipe holds, and different in every place.
std::string muchText() {
    std::string text;
    for (int number = 0; text.size() < 1'000'000; ++number) text += std::to_string(number) + ' ';
    return text;
}

/// A second thread, which is never the one that is interrupted; joined at the end of the scope.
template<class Body>
class Beside {
  public:
    explicit Beside(Body body)
        : thread_([body] {
              sigset_t signals;
              sigfillset(&signals); // a macro on some systems
              ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
              body();
          }) {}
    Beside(const Beside&) = delete;
    Beside& operator=(const Beside&) = delete;
    ~Beside() { thread_.join(); }

  private:
    std::thread thread_;
};

void writePlainly(const UniqueDescriptor& descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor.get(), text.data(), text.size());
        if (count <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace

TEST_CASE("everything up to the end is appended to what is there") {
    for (const std::size_t length : {0u, 1u, 16'383u, 16'384u, 16'385u, 60'000u}) {
        for (const std::size_t before : {0u, 1u, 16'384u, 20'000u}) {
            CAPTURE(length);
            CAPTURE(before);
            Pipe pipe;
            const std::string text = muchText().substr(0, length);
            writePlainly(pipe.writer, text);
            pipe.writer.reset();
            std::string content(before, 'b');
            CHECK(appendToEnd(pipe.reader.get(), content));
            CHECK((content == std::string(before, 'b') + text));
        }
    }
}

TEST_CASE("one read gives what is there, then nothing at the end") {
    Pipe pipe;
    writePlainly(pipe.writer, "abcde");
    pipe.writer.reset();
    std::vector<char> piece(3);
    CHECK(readSome(pipe.reader.get(), piece) == 3);
    CHECK(std::string(piece.data(), 3) == "abc");
    CHECK(readSome(pipe.reader.get(), piece) == 2);
    CHECK(std::string(piece.data(), 2) == "de");
    CHECK(readSome(pipe.reader.get(), piece) == 0);
}

TEST_CASE("a text that comes in pieces is read whole, whether or not the descriptor blocks") {
    for (const bool blocking : {true, false}) {
        CAPTURE(blocking);
        Pipe pipe;
        if (!blocking) setNonBlocking(pipe.reader);
        const std::string text = muchText();
        const Beside writer([&] {
            writePlainly(pipe.writer, text);
            pipe.writer.reset();
        });
        std::string content;
        CHECK(appendToEnd(pipe.reader.get(), content));
        CHECK((content == text));
    }
}

TEST_CASE("reading goes on after an interruption, whether or not the descriptor blocks") {
    for (const bool blocking : {true, false}) {
        CAPTURE(blocking);
        Pipe pipe;
        if (!blocking) setNonBlocking(pipe.reader);
        const Interruptions interruptions;
        const Beside writer([&] {
            for (const std::string piece : {"ab", "cd"}) {
                Interruptions::await(20);
                writePlainly(pipe.writer, piece);
            }
            Interruptions::await(20);
            pipe.writer.reset();
        });
        std::string content;
        CHECK(appendToEnd(pipe.reader.get(), content));
        CHECK(content == "abcd");
    }
}

TEST_CASE("writing goes on after an interruption, whether or not the descriptor blocks") {
    const std::string text = muchText();
    for (const bool blocking : {true, false}) {
        CAPTURE(blocking);
        Pipe pipe;
        if (!blocking) setNonBlocking(pipe.writer);
        const Interruptions interruptions;
        std::string received;
        {
            const Beside reader([&] {
                Interruptions::await(20);
                received = pipe.content();
            });
            const UniqueDescriptor writer(::dup(pipe.writer.get()));
            CHECK(writeAll(writer.get(), text));
        }
        CHECK((received == text));
    }
}

TEST_CASE("waiting for room goes on after an interruption") {
    Pipe pipe;
    setNonBlocking(pipe.writer);
    while (::write(pipe.writer.get(), "x", 1) == 1) continue;
    const Interruptions interruptions;
    const Beside reader([&] {
        Interruptions::await(20);
        std::vector<char> piece(100'000);
        (void)!::read(pipe.reader.get(), piece.data(), piece.size());
    });
    CHECK(becomesWritable(pipe.writer.get()));
}

TEST_CASE("a descriptor that can only fail is not waited for") {
    Pipe pipe;
    CHECK(becomesWritable(pipe.writer.get()));
    pipe.reader.reset();
    CHECK(becomesWritable(pipe.writer.get()));
    const int closed = ::dup(pipe.writer.get());
    ::close(closed);
    CHECK(becomesWritable(closed));
}

TEST_CASE("a text that the reader takes in pieces is written whole") {
    for (const bool blocking : {true, false}) {
        CAPTURE(blocking);
        Pipe pipe;
        if (!blocking) setNonBlocking(pipe.writer);
        const std::string text = muchText();
        std::string received(text.size(), '\0');
        {
            const Beside reader([&] {
                std::size_t filled = 0;
                while (filled < received.size()) {
                    const ssize_t count =
                        ::read(pipe.reader.get(), received.data() + filled,
                               std::min<std::size_t>(4096, received.size() - filled));
                    if (count <= 0) return;
                    filled += static_cast<std::size_t>(count);
                }
            });
            CHECK(writeAll(pipe.writer.get(), text));
        }
        CHECK((received == text));
    }
}

TEST_CASE("a text that the system takes at once is one write") {
    int ends[2];
    REQUIRE(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == 0);
    const UniqueDescriptor writer(ends[0]);
    const UniqueDescriptor reader(ends[1]);
    const std::string text(1500, 'x');
    CHECK(writeAll(writer.get(), text));
    CHECK(writeAll(writer.get(), "y"));
    std::vector<char> packet(20'000);
    CHECK(::recv(reader.get(), packet.data(), packet.size(), 0) == 1500);
    CHECK(::recv(reader.get(), packet.data(), packet.size(), 0) == 1);
}

TEST_CASE("writing nothing always succeeds and writes nothing") {
    CHECK(writeAll(-1, ""));
    Pipe pipe;
    CHECK(writeAll(pipe.writer.get(), ""));
    CHECK(pipe.content().empty());
}

TEST_CASE("writing to a reader that has gone fails with the system's reason") {
    const ScopedSignal ignored(SIGPIPE, SIG_IGN);
    Pipe pipe;
    pipe.reader.reset();
    errno = 0;
    CHECK_FALSE(writeAll(pipe.writer.get(), "a"));
    CHECK(errno == EPIPE);
}

TEST_CASE("a reader that goes in the middle ends the writing") {
    const ScopedSignal ignored(SIGPIPE, SIG_IGN);
    Pipe pipe;
    const Beside reader([&] {
        char byte = 0;
        (void)!::read(pipe.reader.get(), &byte, 1);
        pipe.reader.reset();
    });
    CHECK_FALSE(writeAll(pipe.writer.get(), muchText()));
}

TEST_CASE("a reader that takes nothing is not waited for without end") {
    Pipe pipe;
    setNonBlocking(pipe.writer);
    errno = 0;
    CHECK_FALSE(writeAll(pipe.writer.get(), muchText()));
    CHECK(errno == EAGAIN);
    CHECK_FALSE(becomesWritable(pipe.writer.get()));
}

TEST_CASE("a descriptor that cannot be read fails with the system's reason and keeps the text") {
    const UniqueDescriptor directory(::open("/", O_RDONLY | O_CLOEXEC));
    std::string content = "before";
    errno = 0;
    CHECK_FALSE(appendToEnd(directory.get(), content));
    CHECK(errno == EISDIR);
    CHECK(content == "before");

    errno = 0;
    CHECK_FALSE(appendToEnd(-1, content));
    CHECK(errno == EBADF);
    CHECK(content == "before");

    char byte = 0;
    errno = 0;
    CHECK(readSome(-1, std::span(&byte, 1)) < 0);
    CHECK(errno == EBADF);

    errno = 0;
    CHECK_FALSE(writeAll(-1, "a"));
    CHECK(errno == EBADF);
}

TEST_CASE("what came before a failure is appended") {
    int ends[2];
    REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    const UniqueDescriptor ours(ends[0]);
    UniqueDescriptor theirs(ends[1]);
    // A peer that goes without having read everything resets the connection, or merely ends it.
    writePlainly(ours, "never read");
    writePlainly(theirs, "came before");
    theirs.reset();
    std::string content = "and ";
    appendToEnd(ours.get(), content);
    CHECK(content == "and came before");
}
