// stopwatch INPUT COMMAND...: runs a command with INPUT on its standard input and its standard
// output thrown away, waits for it and writes one line about it and all that it started:
//     WALL CPU PEAK STATUS
// microseconds of wall and of processor time, the largest peak of memory of one process in KiB, the
// exit status. It is small and does nothing else: a process begins its life with the peak of the
// one that starts it, and the time to start it grows with that one's size.

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

extern "C" char** environ; // NOLINT(readability-redundant-declaration): macOS declares it nowhere

using Clock = std::chrono::steady_clock;

constexpr int firstOfCommand = 2;

long microseconds(Clock::duration time) {
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

long microseconds(timeval time) {
    constexpr long second = 1'000'000;
    return time.tv_sec * second + time.tv_usec;
}

pid_t start(char** arguments) {
    posix_spawn_file_actions_t streams;
    ::posix_spawn_file_actions_init(&streams);
    ::posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, arguments[1], O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&streams, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    char** command = arguments + firstOfCommand;
    if (::posix_spawnp(&process, *command, &streams, nullptr, command, environ) != 0) {
        std::fprintf(stderr, "stopwatch: cannot start %s\n", *command);
        std::exit(EXIT_FAILURE);
    }
    return process;
}

} // namespace

int main(int count, char** arguments) {
    if (count <= firstOfCommand) return EXIT_FAILURE;
    const auto begun = Clock::now();
    const pid_t process = start(arguments);
    int status = 0;
    rusage usage{};
    while (::wait4(process, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    const auto wall = Clock::now() - begun;
    std::printf("%ld %ld %ld %d\n", microseconds(wall),
                microseconds(usage.ru_utime) + microseconds(usage.ru_stime), usage.ru_maxrss,
                WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    return EXIT_SUCCESS;
}
