#include "tools/standin/link.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/helper_io.h"
#include "support/unix_socket.h"

namespace sorvane::standin {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// A request grows with the pictures of its prompt; this is room for a hundred thousand of them.
constexpr std::size_t maxRequest = 16'777'216;

constexpr std::size_t pieceSize = 65'536;

constexpr std::chrono::milliseconds untilStopped{-1};

// A signal becomes a byte in this pipe, which every wait watches; the byte stays there.
int stopPipe[2] = {-1, -1};

extern "C" void askToStop(int) {
    const int before = errno;
    [[maybe_unused]] const ssize_t count = ::write(stopPipe[1], "", 1);
    errno = before;
}

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void watchForSignals() {
    if (::pipe(stopPipe) != 0) fail("pipe");
    for (const int end : stopPipe) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    std::signal(SIGTERM, askToStop);
    std::signal(SIGINT, askToStop);
}

// Whether the event came, or the other end hung up, within the timeout.
bool wait(const UniqueDescriptor& socket, short event, std::chrono::milliseconds time) {
    const auto deadline = Clock::now() + time;
    while (true) {
        std::array<pollfd, 2> waiting{{{socket.get(), event, 0}, {stopPipe[0], POLLIN, 0}}};
        const int ready = ::poll(waiting.data(), waiting.size(), static_cast<int>(time.count()));
        if (ready < 0 && errno != EINTR) fail("poll");
        if (waiting[1].revents != 0) throw Stopped{};
        if (ready >= 0) return ready > 0;
        if (time >= time.zero())
            time = std::max(time.zero(),
                            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()));
    }
}

void prepare(const UniqueDescriptor& socket) {
    if (::fcntl(socket.get(), F_SETFD, FD_CLOEXEC) != 0 ||
        ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0)
        fail("socket");
}

SocketAddress addressOf(const fs::path& path) {
    const auto address = socketAddress(path);
    if (!address) throw std::runtime_error("the socket path is too long: " + path.native());
    return *address;
}

bool isServed(const SocketAddress& address) {
    const UniqueDescriptor probe = makeSocket();
    return ::connect(probe.get(), address.generic(), address.length) == 0;
}

} // namespace

// Where SIGPIPE is turned off for a socket, an accepted one inherits that from the listener.
// Turning it off here would fail for a client that has gone already.
Client::Client(UniqueDescriptor socket) : socket_(std::move(socket)) { prepare(socket_); }

std::optional<std::string> Client::readLine() {
    const auto deadline = Clock::now() + timeout;
    std::string line;
    std::array<char, pieceSize> piece;
    while (line.size() <= maxRequest) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left <= left.zero() || !wait(socket_, POLLIN, left))
            throw std::runtime_error("the client stalled in its request");
        const ssize_t count = ::read(socket_.get(), piece.data(), piece.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (count < 0) fail("read");
        if (count == 0) return std::nullopt;
        const std::string_view received(piece.data(), static_cast<std::size_t>(count));
        const std::size_t lineFeed = received.find('\n');
        line += received.substr(0, lineFeed == received.npos ? lineFeed : lineFeed + 1);
        if (lineFeed != received.npos) return line;
    }
    throw std::runtime_error("the request is larger than the stand-in takes");
}

void Client::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = sendWithoutSigpipe(socket_, bytes);
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!wait(socket_, POLLOUT, timeout))
                throw std::runtime_error("the client does not take its answer");
        } else if (errno != EINTR) {
            fail("the client has gone");
        }
    }
}

// POLLHUP is asked for by name: some systems report nothing when no event is asked for.
void Client::pause(std::chrono::milliseconds time) { wait(socket_, POLLHUP, time); }

SocketFile::SocketFile(const UniqueDescriptor& socket, const fs::path& path) : path_(path) {
    const auto address = addressOf(path);
    if (::bind(socket.get(), address.generic(), address.length) != 0) fail(path.native());
}

SocketFile::~SocketFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
}

Listener::Listener(const fs::path& path) : socket_(makeSocket()) {
    const auto address = addressOf(path);
    if (!socket_ || !suppressSigpipe(socket_)) fail("socket");
    prepare(socket_);
    HelperIO::createParentDirectory(path);
    fs::permissions(path.parent_path(), fs::perms::owner_all);
    if (isServed(address)) throw std::runtime_error("already served: " + path.native());
    if (fs::is_socket(fs::symlink_status(path))) fs::remove(path);

    watchForSignals();
    file_.emplace(socket_, path);
    // Nobody can connect before `listen`, so the mode is set in time.
    HelperIO::restrictPermissions(path, 0600);
    if (::listen(socket_.get(), SOMAXCONN) != 0) fail(path.native());
}

Client Listener::accept() {
    while (true) {
        wait(socket_, POLLIN, untilStopped);
        UniqueDescriptor client(::accept(socket_.get(), nullptr, nullptr));
        if (client) return Client(std::move(client));
        if (errno != EINTR && errno != EAGAIN && errno != ECONNABORTED) fail("accept");
    }
}

} // namespace sorvane::standin
