#include "identity/pixel_child.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "identity/pixel_budget.h"
#include "identity/sha256.h"
#include "support/executable_path.h"
#include "support/quiet_socket.h"

namespace sorvane {

namespace {

using namespace std::chrono_literals;

// The largest picture within the budget decodes in a fraction of it; a prompt waits no longer.
constexpr std::chrono::seconds timeLimit = 10s;

constexpr std::size_t digestLength = Sha256::textLength;

// A digest, two numbers of at most 8 digits (the budget) behind a blank each, a line feed.
constexpr std::size_t answerLimit = digestLength + 9 + 9 + 1;

bool isDigest(std::string_view text) {
    return text.size() == digestLength &&
           text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// Takes a positive decimal number and the character behind it off the front of a text.
std::optional<std::int64_t> takeNumber(std::string_view& text, char behind) {
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc{} || number <= 0 || text.front() == '0' || rest == end ||
        *rest != behind)
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(rest + 1 - text.data()));
    return number;
}

} // namespace

std::optional<PixelIdentity> parsePixelAnswer(std::string_view line) {
    const std::string_view digest = line.substr(0, digestLength);
    if (!isDigest(digest) || !line.substr(digestLength).starts_with(' ')) return std::nullopt;
    line.remove_prefix(digestLength + 1);
    const auto width = takeNumber(line, ' ');
    const auto height = width ? takeNumber(line, '\n') : std::nullopt;
    if (!height || !line.empty() || *width > pixelBudget / *height) return std::nullopt;
    return PixelIdentity{std::string(digest), *width, *height};
}

std::vector<std::filesystem::path> decoderCandidates(std::string_view program) {
    std::vector<std::filesystem::path> candidates;
    if (const auto executable = executablePath(::getpid())) {
        const std::filesystem::path folder = executable->parent_path();
        candidates.push_back(folder / program);
        candidates.push_back(folder.parent_path() / "libexec/sorvane" / program);
    }
    candidates.push_back(std::filesystem::path(SORVANE_LIBEXEC_DIR) / program);
    return candidates;
}

PixelChild::PixelChild(std::string_view program)
    : deadline_(ChildProcess::Clock::now() + timeLimit) {
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
                             std::vector{std::string(program), std::to_string(timeLimit.count())},
                             std::vector<std::string>{}, std::move(streams));
            socket_ = std::move(ours);
            return;
        } catch (const std::system_error&) {
            // Not to be had there: the next place, and at last no pixel identity.
        }
    }
}

void PixelChild::pour(std::string_view piece) {
    while (process_ && !piece.empty()) {
        const ssize_t count = sendQuietly(socket_, piece);
        if (count >= 0) {
            piece.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!waitFor(POLLOUT)) process_.reset();
        } else if (errno != EINTR) {
            return; // it takes no more: it has ended, perhaps with its answer given
        }
    }
}

std::optional<PixelIdentity> PixelChild::answer() {
    if (!process_) return std::nullopt;
    ::shutdown(socket_.get(), SHUT_WR);
    auto identity = parsePixelAnswer(receive());
    if (identity && !process_->succeeds(deadline_)) identity.reset();
    process_.reset();
    return identity;
}

bool PixelChild::waitFor(short event) const {
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

std::string PixelChild::receive() const {
    std::string line;
    std::array<char, answerLimit + 1> piece;
    while (line.size() <= answerLimit && waitFor(POLLIN)) {
        const ssize_t count = ::recv(socket_.get(), piece.data(), piece.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        line.append(piece.data(), static_cast<std::size_t>(count));
    }
    return line;
}

} // namespace sorvane
