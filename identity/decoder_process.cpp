#include "identity/decoder_process.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "identity/decoder_program.h"
#include "support/unix_socket.h"

namespace sorvane {

namespace {

using namespace std::chrono_literals;

// The largest picture within the budget decodes in a fraction of it; a prompt waits no longer.
constexpr std::chrono::seconds timeout = 10s;

} // namespace

DecoderProcess::DecoderProcess(std::string_view program)
    : deadline_(ChildProcess::Clock::now() + timeout) {
    auto [ours, theirs] = makeSocketPair();
    if (!ours) return;
    // Not a flag of each send: some systems ignore it there and wait.
    ::fcntl(ours.get(), F_SETFL, O_NONBLOCK);
    for (const std::filesystem::path& path : decoderCandidates(program)) {
        try {
            ChildStreams streams;
            streams.connect(theirs.get(), STDIN_FILENO);
            streams.connect(theirs.get(), STDOUT_FILENO);
            streams.connectNull(STDERR_FILENO);
            process_.emplace(path,
                             std::vector{std::string(program), std::to_string(timeout.count())},
                             std::vector<std::string>{}, std::move(streams));
            socket_ = std::move(ours);
            return;
        } catch (const std::system_error&) {
            // Not there, or not to be started: the next candidate, and at last no pixel identity.
        }
    }
}

void DecoderProcess::write(std::string_view piece) {
    while (process_ && !piece.empty()) {
        const ssize_t count = sendWithoutSigpipe(socket_, piece);
        if (count >= 0) {
            piece.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!waitFor(POLLOUT)) process_.reset();
        } else if (errno != EINTR) {
            return; // it takes no more: it has ended, perhaps with its answer given
        }
    }
}

std::optional<PixelIdentity> DecoderProcess::answer() {
    if (!process_) return std::nullopt;
    ::shutdown(socket_.get(), SHUT_WR);
    auto identity = parseDecoderAnswer(receive());
    if (identity && !process_->succeeds(deadline_)) identity.reset();
    process_.reset();
    return identity;
}

bool DecoderProcess::waitFor(short event) const {
    while (true) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline_ - ChildProcess::Clock::now());
        if (left <= 0ms) return false;
        pollfd waiting{socket_.get(), event, 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

std::string DecoderProcess::receive() const {
    std::string line;
    std::array<char, maxDecoderAnswer + 1> piece;
    while (line.size() <= maxDecoderAnswer && waitFor(POLLIN)) {
        const ssize_t count = ::recv(socket_.get(), piece.data(), piece.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        line.append(piece.data(), static_cast<std::size_t>(count));
    }
    return line;
}

} // namespace sorvane
