// The stand-in's end of the link, where SIGPIPE is turned off by an option of the socket.

#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include <doctest/doctest.h>

#include "support/unix_socket.h"
#include "tests/macos_fakes/fake_system.h"
#include "tests/temporary_directory.h"
#include "tools/standin/link.h"

using namespace sorvane;
using test::macos::FakeSystem;

TEST_CASE("a client that has gone already, whose SIGPIPE cannot be turned off any more, is one") {
    FakeSystem fake;
    auto [client, peer] = makeSocketPair();
    peer.reset();
    fake.failing = {"setsockopt"};
    CHECK(standin::Client(std::move(client)).readLine() == std::nullopt);
}

TEST_CASE("a pause ends when the client goes") {
    FakeSystem fake;
    auto [client, peer] = makeSocketPair();
    standin::Client waiting(std::move(client));
    std::thread leaving([&end = peer] { end.reset(); });
    const auto before = std::chrono::steady_clock::now();
    waiting.pause(std::chrono::seconds(20));
    CHECK((std::chrono::steady_clock::now() - before < std::chrono::seconds(10)));
    leaving.join();
}

TEST_CASE("what listens has SIGPIPE turned off before it listens, and so have its clients") {
    FakeSystem fake;
    fake.failing = {"connect"};
    const test::TemporaryDirectory directory;
    const auto path = directory.path() / "s";
    {
        const standin::Listener listener(path);
        CHECK(std::filesystem::exists(path));
    }
    CHECK_FALSE(std::filesystem::exists(path));
    REQUIRE(fake.calls.size() == 4);
    CHECK(fake.calls[0] == "setsockopt(SO_NOSIGPIPE, 1, 4 bytes)");
    CHECK(fake.calls[2].starts_with("bind("));
    CHECK(fake.calls[3] == "listen()");
}

TEST_CASE("a socket file on which nobody can listen is taken away") {
    FakeSystem fake;
    fake.failing = {"connect", "listen"};
    const test::TemporaryDirectory directory;
    CHECK_THROWS_AS(standin::Listener(directory.path() / "s"), std::system_error);
    CHECK_FALSE(std::filesystem::exists(directory.path() / "s"));
}
