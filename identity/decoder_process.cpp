#include "identity/decoder_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "identity/decoder_program.h"
#include "support/descriptor_io.h"
#include "support/unix_socket.h"

namespace sorvane {

namespace {

using namespace std::chrono_literals;

// A picture of the whole budget takes a fraction of it; a prompt waits no longer.
constexpr std::chrono::seconds timeout = 10s;

// After a failed send: the decoder has closed its end, or ended without reading everything.
bool hasGone(int error) { return error == EPIPE || error == ECONNRESET || error == ENOTCONN; }

} // namespace

DecoderProcess::DecoderProcess(std::string_view program, Clock::time_point deadline,
                               const std::vector<std::string>& words) {
    const Clock::time_point now = Clock::now();
    deadline_ = std::min(deadline, now + timeout);
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(deadline_ - now);
    if (seconds <= 0s) return;
    auto [ours, theirs] = makeSocketPair();
    if (!ours) return;
    // Set for the socket, since some systems ignore the flag of a single send.
    ::fcntl(ours.get(), F_SETFL, O_NONBLOCK);
    std::vector arguments{std::string(program), std::to_string(seconds.count())};
    arguments.insert(arguments.end(), words.begin(), words.end());
    for (const std::filesystem::path& path : decoderCandidates(program)) {
        try {
            ChildStreams streams;
            streams.connect(theirs.get(), STDIN_FILENO);
            streams.connect(theirs.get(), STDOUT_FILENO);
            streams.connectNull(STDERR_FILENO);
            process_.emplace(path, arguments, std::vector<std::string>{}, std::move(streams));
            socket_ = std::move(ours);
            return;
        } catch (const std::system_error&) {
            // Missing, or no program: the next candidate, and after the last no pixel identity.
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
        } else if (hasGone(errno)) {
            return; // perhaps with its answer given
        } else if (errno != EINTR) {
            process_.reset(); // it would see the file with a hole in it
        }
    }
}

std::optional<DecoderAnswer> DecoderProcess::answer() {
    if (!process_) return std::nullopt;
    auto answer = parseDecoderAnswer(receive(maxDecoderAnswer));
    if (answer && !process_->succeeds(deadline_)) answer.reset();
    process_.reset();
    return answer;
}

std::optional<std::string> DecoderProcess::text(std::size_t limit) {
    if (!process_) return std::nullopt;
    std::optional text(receive(limit));
    if (text->size() > limit || !process_->succeeds(deadline_)) text.reset();
    process_.reset();
    return text;
}

bool DecoderProcess::waitFor(short event) const {
    return Clock::now() < deadline_ && awaitReady(socket_.get(), event, deadline_);
}

// Ends the input first: the decoder answers after its end. Reads one byte beyond the limit at most,
// to see that an answer is too long.
std::string DecoderProcess::receive(std::size_t limit) const {
    if (::shutdown(socket_.get(), SHUT_WR) != 0 && !hasGone(errno)) return {};
    std::string answer;
    std::array<char, maxDecoderAnswer + 1> piece;
    while (answer.size() <= limit && waitFor(POLLIN)) {
        const std::size_t room = std::min(piece.size(), limit + 1 - answer.size());
        const ssize_t count = ::recv(socket_.get(), piece.data(), room, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        answer.append(piece.data(), static_cast<std::size_t>(count));
    }
    return answer;
}

} // namespace sorvane
