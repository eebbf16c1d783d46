#include "support/unix_socket.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/forked.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::TemporaryDirectory;

namespace {

constexpr std::size_t maxPath = sizeof(sockaddr_un::sun_path) - 1;

bool closesInPrograms(const UniqueDescriptor& socket) {
    return ::fcntl(socket.get(), F_GETFD) == FD_CLOEXEC;
}

std::string received(const UniqueDescriptor& socket) {
    char piece[100];
    const ssize_t count = ::recv(socket.get(), piece, sizeof piece, MSG_DONTWAIT);
    return count < 0 ? "nothing" : std::string(piece, static_cast<std::size_t>(count));
}

// A path of exactly so many bytes within a directory.
std::filesystem::path pathOfLength(const std::filesystem::path& directory, std::size_t length) {
    return directory / std::string(length - directory.native().size() - 1, 'x');
}

} // namespace

TEST_CASE("a new socket is a stream that programs do not inherit") {
    const UniqueDescriptor socket = makeSocket();
    REQUIRE(socket);
    CHECK(closesInPrograms(socket));
    int type = 0;
    socklen_t length = sizeof type;
    REQUIRE(::getsockopt(socket.get(), SOL_SOCKET, SO_TYPE, &type, &length) == 0);
    CHECK(type == SOCK_STREAM);
    CHECK(suppressSigpipe(socket));
}

TEST_CASE("the two of a pair hear one another and programs do not inherit them") {
    const auto [one, other] = makeSocketPair();
    REQUIRE(one);
    REQUIRE(other);
    CHECK(closesInPrograms(one));
    CHECK(closesInPrograms(other));
    CHECK(sendWithoutSigpipe(one, "abc") == 3);
    CHECK(received(other) == "abc");
    CHECK(sendWithoutSigpipe(other, "d") == 1);
    CHECK(received(one) == "d");
    CHECK(received(one) == "nothing");
}

TEST_CASE("without descriptors to be had a socket owns nothing") {
    CHECK(test::inForkedChild([] {
              const rlimit none{0, 0};
              ::setrlimit(RLIMIT_NOFILE, &none);
              const auto pair = makeSocketPair();
              return !makeSocket() && !pair.first && !pair.second;
          }) == 0);
}

TEST_CASE("sending to a peer that has gone fails and raises no signal") {
    CHECK(test::inForkedChild([] {
              std::signal(SIGPIPE, SIG_DFL);
              auto [ours, theirs] = makeSocketPair();
              theirs.reset();
              return sendWithoutSigpipe(ours, "a") < 0 && errno == EPIPE &&
                     sendWithoutSigpipe(ours, "a") < 0;
          }) == 0);
}

TEST_CASE("a connected socket whose SIGPIPE is turned off raises no signal either") {
    const TemporaryDirectory directory;
    const auto address = socketAddress(directory.path() / "socket");
    REQUIRE(address);
    CHECK(test::inForkedChild([&] {
              std::signal(SIGPIPE, SIG_DFL);
              const UniqueDescriptor server = makeSocket();
              UniqueDescriptor client = makeSocket();
              if (::bind(server.get(), address->generic(), address->length) != 0) return false;
              if (::listen(server.get(), 1) != 0) return false;
              if (::connect(client.get(), address->generic(), address->length) != 0) return false;
              if (!suppressSigpipe(client)) return false;
              UniqueDescriptor accepted(::accept(server.get(), nullptr, nullptr));
              accepted.reset();
              return sendWithoutSigpipe(client, "a") < 0 && errno == EPIPE;
          }) == 0);
}

TEST_CASE("a socket that does not wait takes what fits") {
    const auto [ours, theirs] = makeSocketPair();
    REQUIRE(::fcntl(ours.get(), F_SETFL, O_NONBLOCK) == 0);
    const std::string much(100'000, 'x');
    ssize_t count = 0;
    while ((count = sendWithoutSigpipe(ours, much)) > 0) continue;
    CHECK(count < 0);
    CHECK((errno == EAGAIN || errno == EWOULDBLOCK));
}

TEST_CASE("a path as long as the system allows is bound and connected to") {
    const TemporaryDirectory directory;
    const auto path = pathOfLength(directory.path(), maxPath);
    REQUIRE(path.native().size() == maxPath);
    const auto address = socketAddress(path);
    REQUIRE(address);
    const UniqueDescriptor server = makeSocket();
    const UniqueDescriptor client = makeSocket();
    REQUIRE(::bind(server.get(), address->generic(), address->length) == 0);
    REQUIRE(::listen(server.get(), 1) == 0);
    CHECK(std::filesystem::is_socket(path));
    CHECK(::connect(client.get(), address->generic(), address->length) == 0);
}

TEST_CASE("a path that is longer than the system allows has no address") {
    CHECK_FALSE(socketAddress(pathOfLength("/tmp", maxPath + 1)));
    CHECK_FALSE(socketAddress(pathOfLength("/tmp", maxPath + 2)));
    CHECK_FALSE(socketAddress(pathOfLength("/tmp", 5000)));
}

TEST_CASE("an address holds the path, its end and nothing more") {
    const auto address = socketAddress("/tmp/a b/\xC3\xA9.sock");
    REQUIRE(address);
    CHECK(address->record.sun_family == AF_UNIX);
    CHECK(std::string_view(address->record.sun_path) == "/tmp/a b/\xC3\xA9.sock");
    CHECK(address->generic()->sa_family == AF_UNIX);
}
