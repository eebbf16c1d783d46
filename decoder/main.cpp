// sorvane-pixels SECONDS: digests the picture on standard input and writes one line to standard
// output, "DIGEST WIDTH HEIGHT", with the size that the file declares. A picture that is rejected
// gives no line and another status than 0. Nothing is written to standard error, and after SECONDS
// (1 to 3600) the program ends in any case.
//
// sorvane-pixels SECONDS ORIENTATION: the same for a file that states its orientation only after
// its pixels. Without being told, the answer to such a file that is not upright is "orientation
// NUMBER".
//
// sorvane-pixels SECONDS explain: writes what becomes of the picture and why instead, in lines for
// the doctor (see `explanation`), or what the system refused of the confinement; everything else is
// as above.

#include <charconv>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <unistd.h>

#include "decoder/confinement/confinement.h"
#include "decoder/pixel_identity.h"
#include "identity/decoder_answer.h"

namespace {

using namespace sorvane;

constexpr int failure = 1;

std::optional<std::chrono::seconds> timeoutFrom(std::string_view text) {
    constexpr int maxSeconds = 3600;
    int seconds = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc{} || rest != end || seconds < 1 || seconds > maxSeconds)
        return std::nullopt;
    return std::chrono::seconds(seconds);
}

struct Task {
    std::chrono::seconds timeout;
    std::optional<LateOrientation> told;
    bool explains = false;
};

std::optional<Task> taskFrom(int count, char** arguments) {
    const auto timeout = count == 2 || count == 3 ? timeoutFrom(arguments[1]) : std::nullopt;
    if (!timeout) return std::nullopt;
    Task task{*timeout, std::nullopt};
    if (count == 2) return task;
    const std::string_view word = arguments[2];
    task.explains = word == "explain";
    task.told = parseLateOrientation(word);
    if (!task.explains && !task.told) return std::nullopt;
    return task;
}

// One write: whoever reads gets the whole answer or none of it.
bool answer(const std::string& text) {
    return ::write(STDOUT_FILENO, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// Confines the process. What the system refused of it, in words; nothing when it is confined. Only
// the file's first bytes are read before, to choose the limits of its format.
std::optional<std::string> confineFor(std::chrono::seconds timeout, decoder::ByteSource& file) {
    try {
        decoder::limitTime(timeout);
        decoder::prepareLibraries();
        decoder::confine(decoder::pixelIdentityMemory(file));
        return std::nullopt;
    } catch (const std::system_error& refused) {
        return refused.what();
    }
}

std::string refusalLine(const std::string& refused) {
    return "reason the decoder cannot be confined: " + refused + '\n';
}

// What the process has to say of the picture; empty: nothing.
std::string answerFor(decoder::ByteSource& file, const Task& task) {
    if (task.explains) return decoder::explanation(file);
    const auto answer = decoder::pixelIdentity(file, task.told);
    return answer ? decoderAnswer(*answer) : "";
}

} // namespace

int main(int count, char** arguments) {
    const auto task = taskFrom(count, arguments);
    if (!task) return failure;
    try {
        decoder::ByteSource file(STDIN_FILENO);
        const auto refused = confineFor(task->timeout, file);
        if (refused) return task->explains && answer(refusalLine(*refused)) ? 0 : failure;
        const std::string text = answerFor(file, *task);
        return !text.empty() && answer(text) ? 0 : failure;
    } catch (...) { // memory is short, or the system's own reader throws
        return failure;
    }
}
