// peaks INPUT COMMAND...: runs a command with INPUT on its standard input and writes a line for
// every process that comes of it, when it ends:
//     NAME PEAK
// the name as the system knows it (15 characters) and its own peak of memory in KiB. What `wait4`
// tells about a process includes whatever it has waited for; so each is stopped on its way out
// and asked itself.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned long watched = PTRACE_O_TRACEEXIT | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                                  PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;

pid_t start(char** arguments) {
    const pid_t process = ::fork();
    if (process != 0) return process;
    const int input = ::open(arguments[1], O_RDONLY);
    const int nothing = ::open("/dev/null", O_WRONLY);
    ::dup2(input, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
    ::execvp(arguments[2], arguments + 2);
    ::_exit(EXIT_FAILURE);
}

void tell(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string key;
    std::string name;
    long peak = 0;
    while (status >> key) {
        if (key == "Name:") status >> name;
        if (key == "VmHWM:") status >> peak;
    }
    std::printf("%s %ld\n", name.c_str(), peak);
}

// The signal that a stopped process was about to get; the watching's own stops are none.
int signalOf(int status) {
    const int signal = WSTOPSIG(status);
    const bool own = (status >> 16) != 0 || signal == SIGTRAP || signal == SIGSTOP;
    return own ? 0 : signal;
}

} // namespace

int main(int count, char** arguments) {
    if (count < 3) return EXIT_FAILURE;
    const pid_t first = start(arguments);
    int status = 0;
    ::waitpid(first, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, first, nullptr, watched);
    ::ptrace(PTRACE_CONT, first, nullptr, nullptr);
    for (pid_t process = 0; (process = ::waitpid(-1, &status, __WALL)) > 0;) {
        if (!WIFSTOPPED(status)) continue;
        if (status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8)) tell(process);
        ::ptrace(PTRACE_CONT, process, nullptr, static_cast<long>(signalOf(status)));
    }
    return EXIT_SUCCESS;
}
