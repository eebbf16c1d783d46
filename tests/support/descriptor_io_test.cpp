#include "support/descriptor_io.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/interruptions.h"
#include "tests/pipe.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::chrono_literals;
using test::Interruptions;
using test::Pipe;
using test::ScopedSignal;

namespace {

void setNonBlocking(const UniqueDescriptor& descriptor) {
    ::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK);
}

Pipe socketPair() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("no sockets");
    Pipe pair;
    pair.reader = UniqueDescriptor(ends[0]);
    pair.writer = UniqueDescriptor(ends[1]);
    return pair;
}

// Until it takes nothing more.
void fill(const Pipe& pipe) {
    const int flags = ::fcntl(pipe.writer.get(), F_GETFL);
    ::fcntl(pipe.writer.get(), F_SETFL, flags | O_NONBLOCK);
    const std::string page(4096, 'f');
    while (::write(pipe.writer.get(), page.data(), page.size()) > 0) continue;
    while (::write(pipe.writer.get(), "f", 1) > 0) continue;
    ::fcntl(pipe.writer.get(), F_SETFL, flags);
}

// More than any pipe holds, and different everywhere.
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

// Both ways of writing must do so much.
const std::function<bool(int, std::string_view)> writingOperations[] = {
    writeAll,
    [](int descriptor, std::string_view bytes) { return writeWithin(1h, descriptor, bytes); }};

void writePlainly(const UniqueDescriptor& descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor.get(), text.data(), text.size());
        if (count <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace

TEST_CASE("everything up to the end is appended to what is there") {
    for (const std::size_t length : {0U, 1U, 16'383U, 16'384U, 16'385U, 60'000U}) {
        for (const std::size_t before : {0U, 1U, 16'384U, 20'000U}) {
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
    for (const auto& write : writingOperations) {
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
                CHECK(write(writer.get(), text));
            }
            CHECK((received == text));
        }
    }
}

TEST_CASE("waiting for room goes on after an interruption") {
    Pipe pipe;
    fill(pipe);
    const Interruptions interruptions;
    const Beside reader([&] {
        Interruptions::await(20);
        std::vector<char> piece(100'000);
        [[maybe_unused]] const ssize_t count =
            ::read(pipe.reader.get(), piece.data(), piece.size());
    });
    CHECK(writeWithin(1h, pipe.writer.get(), "after all"));
}

TEST_CASE("a text that the reader takes in pieces is written whole") {
    for (const auto& write : writingOperations) {
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
                CHECK(write(pipe.writer.get(), text));
            }
            CHECK((received == text));
        }
    }
}

TEST_CASE("a text that the system takes at once is one write") {
    for (const auto& write : writingOperations) {
        int ends[2];
        REQUIRE(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == 0);
        const UniqueDescriptor writer(ends[0]);
        const UniqueDescriptor reader(ends[1]);
        const std::string text(1500, 'x');
        CHECK(write(writer.get(), text));
        CHECK(write(writer.get(), "y"));
        std::vector<char> packet(20'000);
        CHECK(::recv(reader.get(), packet.data(), packet.size(), 0) == 1500);
        CHECK(::recv(reader.get(), packet.data(), packet.size(), 0) == 1);
    }
}

TEST_CASE("writing nothing always succeeds and writes nothing") {
    for (const auto& write : writingOperations) {
        CHECK(write(-1, ""));
        Pipe pipe;
        CHECK(write(pipe.writer.get(), ""));
        CHECK(pipe.content().empty());
    }
}

TEST_CASE("writing to a reader that has gone fails with the system's reason") {
    for (const auto& write : writingOperations) {
        const ScopedSignal ignored(SIGPIPE, SIG_IGN);
        Pipe pipe;
        pipe.reader.reset();
        errno = 0;
        CHECK_FALSE(write(pipe.writer.get(), "a"));
        CHECK(errno == EPIPE);
    }
}

TEST_CASE("a reader that goes in the middle ends the writing") {
    for (const auto& write : writingOperations) {
        const ScopedSignal ignored(SIGPIPE, SIG_IGN);
        Pipe pipe;
        const Beside reader([&] {
            char byte = 0;
            [[maybe_unused]] const ssize_t count = ::read(pipe.reader.get(), &byte, 1);
            pipe.reader.reset();
        });
        CHECK_FALSE(write(pipe.writer.get(), muchText()));
    }
}

TEST_CASE(
    "a reader that takes nothing is waited for until the timeout, be the descriptor what it may") {
    for (const bool blocking : {true, false}) {
        for (const std::size_t room : {0U, 4096U}) {
            for (const bool socket : {true, false}) {
                CAPTURE(blocking);
                CAPTURE(room);
                CAPTURE(socket);
                Pipe pipe = socket ? socketPair() : Pipe();
                fill(pipe);
                std::vector<char> piece(room);
                CHECK(::read(pipe.reader.get(), piece.data(), room) == static_cast<ssize_t>(room));
                if (!blocking) setNonBlocking(pipe.writer);
                const auto before = std::chrono::steady_clock::now();
                errno = 0;
                CHECK_FALSE(writeWithin(100ms, pipe.writer.get(), muchText()));
                CHECK(errno == ETIMEDOUT);
                const auto taken = std::chrono::steady_clock::now() - before;
                CHECK(taken >= 100ms);
                CHECK(taken < 10s);
            }
        }
    }
}

TEST_CASE("the timeout is one for the whole text, however often a reader takes a little") {
    Pipe pipe;
    setNonBlocking(pipe.reader);
    const auto before = std::chrono::steady_clock::now();
    std::atomic<bool> ended = false;
    {
        const Beside reader([&] {
            char piece[4096];
            while (!ended) {
                [[maybe_unused]] const ssize_t count =
                    ::read(pipe.reader.get(), piece, sizeof piece);
                std::this_thread::sleep_for(30ms);
            }
        });
        CHECK_FALSE(writeWithin(300ms, pipe.writer.get(), muchText()));
        ended = true;
    }
    CHECK(std::chrono::steady_clock::now() - before < 2s);
}

TEST_CASE("writing leaves the descriptor as it was, blocking or not") {
    for (const bool blocking : {true, false}) {
        Pipe pipe;
        if (!blocking) setNonBlocking(pipe.writer);
        const int before = ::fcntl(pipe.writer.get(), F_GETFL);
        CHECK_FALSE(writeWithin(10ms, pipe.writer.get(), muchText()));
        CHECK(::fcntl(pipe.writer.get(), F_GETFL) == before);
    }
}

TEST_CASE("room is taken for what waits, not for what might come") {
    for (const std::size_t length : {10U, 50'000U}) {
        Pipe pipe;
        writePlainly(pipe.writer, muchText().substr(0, length));
        pipe.writer.reset();
        std::string content;
        CHECK(appendToEnd(pipe.reader.get(), content));
        CHECK(content.size() == length);
        CHECK(content.capacity() < 2 * length + 100);
    }
    const test::TemporaryDirectory directory;
    test::putFile(directory.path() / "file", muchText());
    const UniqueDescriptor file(::open((directory.path() / "file").c_str(), O_RDONLY | O_CLOEXEC));
    ::lseek(file.get(), 600'000, SEEK_SET);
    std::string content;
    CHECK(appendToEnd(file.get(), content));
    CHECK((content == muchText().substr(600'000)));
    CHECK(content.capacity() < 600'000);
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

    for (const auto& write : writingOperations) {
        errno = 0;
        CHECK_FALSE(write(-1, "a"));
        CHECK(errno == EBADF);
    }
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
