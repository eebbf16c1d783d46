#include "decoder/confinement/confinement.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "decoder/confinement/call_filter.h"
#include "decoder/confinement/landlock.h"
#include "decoder/confinement/requirements.h"

namespace sorvane::decoder {

namespace {

// The process itself, a colour profile, and what allocations are rounded up to.
constexpr rlim_t baselineMemory = rlim_t{96} << 20;

// The kernel ends the process with the highest score when memory runs out; a picture is worth less
// than anything else of the user's. Where /proc is missing it decides for itself.
void raiseOomScore() {
    constexpr std::string_view highestScore = "1000";
    const int file = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file < 0) return;
    [[maybe_unused]] const auto count = ::write(file, highestScore.data(), highestScore.size());
    ::close(file);
}

// A parent that ended before the signal was asked for has closed its end of the socket, which poll
// tells. Only sockets are asked: a decoder started by hand may read a pipe whose writer has ended.
void endWithParent() {
    require(::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0,
            "the parent-death signal cannot be set");
    int type = 0;
    socklen_t length = sizeof type;
    if (::getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &length) != 0) return;
    pollfd input{STDIN_FILENO, 0, 0};
    const bool alone = ::poll(&input, 1, 0) > 0 && (input.revents & POLLHUP) != 0;
    if (alone) errno = ESRCH;
    require(!alone, "the parent has ended");
}

// The C library's first sort of more than a kilobyte asks how much memory there is, and keeps the
// answer. libtiff sorts its tags so, when the question is a forbidden call.
void warmUpSort() {
    std::array<std::array<char, 1024>, 2> blocks{};
    std::qsort(blocks.data(), blocks.size(), sizeof blocks[0],
               [](const void*, const void*) { return 0; });
}

void limitResources(std::uint64_t memory) {
    limitResource(RLIMIT_AS, memory + baselineMemory, "RLIMIT_AS cannot be set");
    limitResource(RLIMIT_NOFILE, 0, "RLIMIT_NOFILE cannot be set");
    limitResource(RLIMIT_FSIZE, 0, "RLIMIT_FSIZE cannot be set");
    limitResource(RLIMIT_CORE, 0, "RLIMIT_CORE cannot be set");
    // A crash report would hold somebody's picture; some systems write one whatever the limit.
    require(::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0, "the dumpable attribute cannot be cleared");
}

} // namespace

void confine(std::uint64_t memory) {
    // Some libraries write there about every damaged file, and nobody reads it.
    ::close(STDERR_FILENO);
    raiseOomScore();
    endWithParent();
    // Out of memory, malloc would try a second heap, and ask how many processors there are.
    ::mallopt(M_ARENA_MAX, 1);
    warmUpSort();
    require(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no_new_privs cannot be set");
    forbidFilesAndNetwork();
    limitResources(memory);
    filterCalls();
}

} // namespace sorvane::decoder
