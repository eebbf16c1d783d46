#pragma once

#include <csignal>
#include <stdexcept>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sorvane::test {

/// Plays `body`, which answers whether all was well, in a process of its own, for what would spoil
/// this one: changed limits, closed streams, a deadly signal. Gives the wait status; 0 is well.
template<class Body>
int inForkedChild(const Body& body) {
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error("no child process");
    if (child == 0) {
        const rlimit noCoreFile{0, 0};
        ::setrlimit(RLIMIT_CORE, &noCoreFile);
        std::signal(SIGABRT, SIG_DFL);
        try {
            ::_exit(body() ? 0 : 1);
        } catch (...) {
            ::_exit(2);
        }
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

} // namespace sorvane::test
