// A decoder for tests, which behaves as its own name says. It is linked under each name in the list
// in CMakeLists.txt; one that the table below does not know ends with a signal.

#include "tests/identity/fake_decoder.h"

#include <csignal>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace {

using sorvane::test::FakePicture;

int argumentCount = 0;
char** arguments = nullptr;

FakePicture pictureOf(std::size_t maxBytes) {
    FakePicture picture;
    char piece[4096];
    ssize_t count = 0;
    for (std::size_t total = 0; total < maxBytes; total += static_cast<std::size_t>(count)) {
        count = ::read(STDIN_FILENO, piece, sizeof piece);
        if (count <= 0) break;
        picture.add({piece, static_cast<std::size_t>(count)});
    }
    return picture;
}

std::string answerFor(std::size_t maxBytes) { return pictureOf(maxBytes).answer(); }
std::string answer() { return answerFor(SIZE_MAX); }
std::string digest() { return pictureOf(SIZE_MAX).digest(); }

void say(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count <= 0) std::_Exit(1);
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

[[noreturn]] void hang() {
    while (true) ::pause();
}

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; }

bool isNullDevice(int descriptor) {
    struct stat status {};
    struct stat device {};
    return ::fstat(descriptor, &status) == 0 && ::stat("/dev/null", &device) == 0 &&
           status.st_rdev == device.st_rdev;
}

bool isDefault(int signal) {
    struct sigaction action {};
    ::sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_DFL;
}

// Whether a decoder finds what it is promised: its name and time, and no access to a secret.
bool surroundingsAreRight() {
    if (argumentCount != 2 || std::string_view(arguments[1]) != "10") return false;
    if (*environ != nullptr) return false;
    for (int descriptor = 3; descriptor < 1024; ++descriptor)
        if (isOpen(descriptor)) return false;
    return isDefault(SIGPIPE) && isDefault(SIGTERM) && isNullDevice(STDERR_FILENO);
}

const std::map<std::string_view, std::function<int()>> behaviours = {
    {"answers_right",
     [] {
         say(answer() + "\n");
         return 0;
     }},
    {"answers_in_pieces",
     [] {
         for (const char character : answer() + "\n") say({&character, 1});
         return 0;
     }},
    {"answers_when_surroundings_are_right",
     [] {
         if (surroundingsAreRight()) say(answer() + "\n");
         return 0;
     }},
    {"answers_early",
     [] {
         say(answerFor(1) + "\n");
         return 0;
     }},
    {"answers_7500_by_8000",
     [] {
         say(digest() + " 7500 8000\n");
         return 0;
     }},
    {"answers_8000_by_8000",
     [] {
         say(digest() + " 8000 8000\n");
         return 0;
     }},
    {"answers_60000001_by_1",
     [] {
         say(digest() + " 60000001 1\n");
         return 0;
     }},
    {"answers_nothing",
     [] {
         answer();
         return 0;
     }},
    {"answers_nonsense",
     [] {
         answer();
         say("no picture\n");
         return 0;
     }},
    {"answers_without_line_feed",
     [] {
         say(answer());
         return 0;
     }},
    {"answers_twice",
     [] {
         const std::string line = answer() + "\n";
         say(line + line);
         return 0;
     }},
    {"answers_too_long",
     [] {
         const std::string line = answer();
         say(line + std::string(1'000'000, '0') + "\n");
         return 0;
     }},
    {"answers_without_end",
     [] {
         answer();
         while (true) say("0000000000000000");
         return 0;
     }},
    {"answers_and_exits_3",
     [] {
         say(answer() + "\n");
         return 3;
     }},
    {"answers_and_is_killed",
     [] {
         say(answer() + "\n");
         std::raise(SIGKILL);
         return 0;
     }},
    {"answers_and_hangs",
     [] {
         say(answer() + "\n");
         hang();
         return 0;
     }},
    {"answers_closes_and_hangs",
     [] {
         say(answer() + "\n");
         ::close(STDIN_FILENO);
         ::close(STDOUT_FILENO);
         hang();
         return 0;
     }},
    {"answers_its_seconds",
     [] {
         say(digest() + " " + arguments[1] + " 1\n");
         return 0;
     }},
    {"closes_and_hangs",
     [] {
         ::close(STDIN_FILENO);
         ::close(STDOUT_FILENO);
         hang();
         return 0;
     }},
    {"is_killed_at_once",
     [] {
         std::raise(SIGKILL);
         return 0;
     }},
    {"ends_at_once", [] { return 0; }},
    {"never_answers",
     [] {
         answer();
         hang();
         return 0;
     }},
    {"never_reads",
     [] {
         hang();
         return 0;
     }},
};

} // namespace

int main(int count, char** texts) {
    argumentCount = count;
    arguments = texts;
    const std::string_view path = texts[0];
    const auto behaviour = behaviours.find(path.substr(path.rfind('/') + 1));
    if (behaviour == behaviours.end()) std::abort();
    return behaviour->second();
}
