#include "support/unix_socket.h"

#include <algorithm>
#include <set>

#include <fcntl.h>

#include <doctest/doctest.h>

#include "tests/macos_fakes/fake_system.h"

using namespace sorvane;
using test::macos::FakeSystem;

namespace {

bool isCloseOnExec(const UniqueDescriptor& descriptor) {
    return (::fcntl(descriptor.get(), F_GETFD) & FD_CLOEXEC) != 0;
}

const std::string withoutSigpipe = "setsockopt(SO_NOSIGPIPE, 1, 4 bytes)";

} // namespace

TEST_CASE("a new socket is close-on-exec and has no option set") {
    FakeSystem fake;
    const UniqueDescriptor socket = makeSocket();
    REQUIRE(socket);
    CHECK(isCloseOnExec(socket));
    CHECK(fake.calls.empty());
}

TEST_CASE("SIGPIPE is turned off by one option of the socket, the integer 1") {
    FakeSystem fake;
    CHECK(suppressSigpipe(makeSocket()));
    CHECK(fake.calls == std::vector{withoutSigpipe});
}

TEST_CASE("a socket whose SIGPIPE the system does not turn off is told of") {
    FakeSystem fake;
    fake.failing = {"setsockopt"};
    CHECK_FALSE(suppressSigpipe(makeSocket()));
}

TEST_CASE("both sockets of a pair have SIGPIPE turned off and are close-on-exec") {
    FakeSystem fake;
    const auto [one, other] = makeSocketPair();
    REQUIRE(one);
    REQUIRE(other);
    CHECK(isCloseOnExec(one));
    CHECK(isCloseOnExec(other));
    CHECK(std::vector(fake.calls.begin(), fake.calls.begin() + 2) ==
          std::vector{withoutSigpipe, withoutSigpipe});
    CHECK(sendWithoutSigpipe(one, "abc") == 3);
}

TEST_CASE("a pair has buffers of 256 KiB for what is written to the first, if it gets them") {
    for (const std::set<std::string>& refused :
         {std::set<std::string>{}, std::set<std::string>{"SO_SNDBUF", "SO_RCVBUF"}}) {
        FakeSystem fake;
        fake.failing = refused;
        const auto [one, other] = makeSocketPair();
        CHECK(one);
        CHECK(other);
        REQUIRE(fake.calls.size() == 4);
        CHECK(fake.calls[2] == "setsockopt(SO_SNDBUF, 262144, 4 bytes)");
        CHECK(fake.calls[3] == "setsockopt(SO_RCVBUF, 262144, 4 bytes)");
    }
}

TEST_CASE("a pair whose SIGPIPE cannot be turned off is none") {
    FakeSystem fake;
    fake.failing = {"setsockopt"};
    const auto [one, other] = makeSocketPair();
    CHECK_FALSE(one);
    CHECK_FALSE(other);
}

TEST_CASE("an address is its path in a record of zeros, as long as the path and two bytes") {
    const auto address = socketAddress("/run/s");
    REQUIRE(address);
    CHECK(address->length == 8);
    CHECK(address->record.sun_len == 0);
    CHECK(address->record.sun_family == 1);
    CHECK(std::string(address->record.sun_path) == "/run/s");
    CHECK(std::all_of(address->record.sun_path + 6, std::end(address->record.sun_path),
                      [](char byte) { return byte == 0; }));
}

TEST_CASE("a path of 103 bytes fits and one of 104 does not, counted in bytes") {
    CHECK(socketAddress(std::string(103, 'a'))->length == 105);
    CHECK_FALSE(socketAddress(std::string(104, 'a')));
    std::string path(101, 'a');
    CHECK(socketAddress(path + "\u00e4"));
    CHECK_FALSE(socketAddress(path + "a\u00e4"));
}
