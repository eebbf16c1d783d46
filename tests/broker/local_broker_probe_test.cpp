#include <cerrno>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "broker/broker_client.h"
#include "support/unix_socket.h"
#include "tests/broker/link.h"
#include "tests/scoped_environment.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::pathOf;
using test::ScopedEnvironment;

namespace {

/// A socket file with somebody who listens there, or nobody.
class SocketFile {
  public:
    explicit SocketFile(std::filesystem::path at, int backlog = 8) : path(std::move(at)) {
        std::filesystem::create_directories(path.parent_path());
        const auto address = socketAddress(path);
        if (!address || ::bind(listener_.get(), address->generic(), address->length) != 0)
            throw std::runtime_error("no socket at " + path.native());
        setMode(0600);
        if (::listen(listener_.get(), backlog) != 0) throw std::runtime_error("nobody listens");
    }

    void setMode(mode_t mode) const { ::chmod(path.c_str(), mode); }
    void stopListening() { listener_.reset(); }

    /// Accepts a visitor that has come already. What one read of it gives: 0 when it said nothing
    /// and hung up.
    ssize_t bytesOfVisitor() const {
        const UniqueDescriptor visitor(::accept(listener_.get(), nullptr, nullptr));
        char byte = 0;
        return ::recv(visitor.get(), &byte, 1, MSG_DONTWAIT);
    }

    bool hasVisitor() const {
        ::fcntl(listener_.get(), F_SETFL, O_NONBLOCK);
        return static_cast<bool>(UniqueDescriptor(::accept(listener_.get(), nullptr, nullptr)));
    }

    const std::filesystem::path path;

  private:
    UniqueDescriptor listener_ = makeSocket();
};

bool isReachable(const std::filesystem::path& path) {
    return BrokerClient::isLocalBrokerReachable(path);
}

// Fills the listener's queue. True where another connection has to wait then; some systems refuse
// it.
bool fillQueue(const std::filesystem::path& path, std::vector<UniqueDescriptor>& connections) {
    const auto address = socketAddress(path).value();
    while (true) {
        UniqueDescriptor socket = makeSocket();
        ::fcntl(socket.get(), F_SETFL, O_NONBLOCK);
        if (::connect(socket.get(), address.generic(), address.length) != 0) return errno == EAGAIN;
        connections.push_back(std::move(socket));
    }
}

} // namespace

TEST_CASE("a socket of this user's own where somebody listens is reachable") {
    const test::TemporaryDirectory directory;
    const SocketFile socket(directory.path() / "sock");
    CHECK(isReachable(socket.path));
    CHECK(isReachable(socket.path)); // and again
}

TEST_CASE("the probe says nothing and hangs up at once") {
    const test::TemporaryDirectory directory;
    const SocketFile socket(directory.path() / "sock");
    REQUIRE(isReachable(socket.path));
    CHECK(socket.bytesOfVisitor() == 0);
    CHECK_FALSE(socket.hasVisitor());
}

TEST_CASE("a socket where nobody listens is not reachable") {
    const test::TemporaryDirectory directory;
    SocketFile socket(directory.path() / "sock");
    socket.stopListening();
    CHECK_FALSE(isReachable(socket.path));
}

TEST_CASE("a listener that accepts late is reachable") {
    const test::TemporaryDirectory directory;
    const SocketFile socket(directory.path() / "sock", 0);
    std::vector<UniqueDescriptor> waiting;
    if (!fillQueue(socket.path, waiting)) {
        MESSAGE("a full queue refuses here: not tried");
        return;
    }
    std::thread late([&socket] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        socket.bytesOfVisitor();
    });
    CHECK(isReachable(socket.path));
    late.join();
}

TEST_CASE("a socket that others may use, or its owner not, is not even tried") {
    const test::TemporaryDirectory directory;
    const SocketFile socket(directory.path() / "sock");
    for (const mode_t mode : std::initializer_list<mode_t>{0660, 0606, 0700, 0640, 0604, 0610, 0601,
                                                           0400, 0200, 0000, 0666, 0777, 0755}) {
        CAPTURE(mode);
        socket.setMode(mode);
        CHECK_FALSE(isReachable(socket.path));
    }
    CHECK_FALSE(socket.hasVisitor());
    socket.setMode(0600);
    CHECK(isReachable(socket.path));
}

TEST_CASE("bits beyond the permissions do not matter to the probe") {
    const test::TemporaryDirectory directory;
    const SocketFile socket(directory.path() / "sock");
    socket.setMode(01600);
    CHECK(isReachable(socket.path));
}

TEST_CASE("what is no socket is not reachable") {
    const test::TemporaryDirectory directory;
    test::putFile(directory.path() / "file", "");
    ::chmod((directory.path() / "file").c_str(), 0600);
    ::mkfifo((directory.path() / "fifo").c_str(), 0600);
    std::filesystem::create_directory(directory.path() / "directory");
    ::chmod((directory.path() / "directory").c_str(), 0600);
    for (const char* name : {"file", "fifo", "directory", "missing", "missing/sock", "file/sock"}) {
        CAPTURE(name);
        CHECK_FALSE(isReachable(directory.path() / name));
    }
    CHECK_FALSE(isReachable(""));
}

TEST_CASE("a symbolic link to a socket is no socket, one in the directories above is followed") {
    const test::TemporaryDirectory directory;
    const SocketFile socket(directory.path() / "real/sock");
    std::filesystem::create_symlink(socket.path, directory.path() / "link");
    CHECK_FALSE(isReachable(directory.path() / "link"));
    CHECK_FALSE(socket.hasVisitor());
    std::filesystem::create_directory_symlink("real", directory.path() / "folder");
    CHECK(isReachable(directory.path() / "folder/sock"));
}

TEST_CASE("a socket of another user is not even tried") {
    if (::geteuid() != 0) {
        MESSAGE("only the administrator can give a socket away: not tried");
        return;
    }
    const test::TemporaryDirectory directory;
    const SocketFile socket(directory.path() / "sock");
    constexpr uid_t nobody = 65534;
    REQUIRE(::chown(socket.path.c_str(), nobody, static_cast<gid_t>(-1)) == 0);
    CHECK_FALSE(isReachable(socket.path));
    CHECK_FALSE(socket.hasVisitor());
    REQUIRE(::chown(socket.path.c_str(), 0, nobody) == 0);
    CHECK(isReachable(socket.path)); // a group has no say with this mode
}

TEST_CASE("a path that fills the address is reachable, one byte more is not") {
    const test::TemporaryDirectory directory;
    constexpr std::size_t maxPath = sizeof(sockaddr_un::sun_path) - 1;
    const SocketFile socket(pathOf(maxPath, directory.path()));
    REQUIRE(socket.path.native().size() == maxPath);
    CHECK(isReachable(socket.path));

    // The file is there all the same: a socket can be moved to where no address leads.
    const auto tooLong = pathOf(maxPath + 1, directory.path());
    REQUIRE(tooLong.native().size() == maxPath + 1);
    std::filesystem::rename(socket.path, tooLong);
    CHECK_FALSE(isReachable(tooLong));
}

TEST_CASE("the probe asks about the application's own socket unless told otherwise") {
    const test::TemporaryDirectory directory;
    const ScopedEnvironment testing("SORVANE_TESTING", "1");
    const ScopedEnvironment support("SORVANE_APP_SUPPORT", directory.path().native());
    CHECK_FALSE(BrokerClient::isLocalBrokerReachable());
    const SocketFile socket(directory.path() / "Runtime/sorvane.sock");
    CHECK(BrokerClient::isLocalBrokerReachable());
}

TEST_CASE("the probe leaves no descriptor open, whatever it finds") {
    const test::TemporaryDirectory directory;
    SocketFile socket(directory.path() / "sock");
    const auto nextFree = [] { return UniqueDescriptor(::dup(STDIN_FILENO)).get(); };
    const int before = nextFree();
    isReachable(socket.path);
    CHECK(nextFree() == before);
    isReachable(directory.path() / "missing");
    CHECK(nextFree() == before);
    socket.stopListening();
    const int withoutListener = nextFree();
    isReachable(socket.path);
    CHECK(nextFree() == withoutListener);
}
