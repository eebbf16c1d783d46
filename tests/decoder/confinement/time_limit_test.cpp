#include <unistd.h>

#include <doctest/doctest.h>

#include "decoder/confinement/confinement.h"
#include "tests/forked.h"

using namespace sorvane;
using namespace std::chrono_literals;

#ifdef __linux__
constexpr int endingSignal = SIGKILL;
#else
constexpr int endingSignal = SIGALRM;
#endif

TEST_CASE("a process that waits past its time is killed") {
    int status = test::inForkedChild([] {
        decoder::limitTime(1s);
        ::pause();
        return true;
    });
    CHECK(WIFSIGNALED(status));
    CHECK(WTERMSIG(status) == endingSignal);
}

#ifdef __linux__
TEST_CASE("a process that waits past its time is killed, though it blocks every signal") {
    int status = test::inForkedChild([] {
        sigset_t all;
        ::sigfillset(&all);
        ::sigprocmask(SIG_SETMASK, &all, nullptr);
        decoder::limitTime(1s);
        ::pause();
        return true;
    });
    CHECK(WIFSIGNALED(status));
}
#endif

TEST_CASE("a process that computes past its time is killed, though it ignores the alarm") {
    int status = test::inForkedChild([] {
        std::signal(SIGALRM, SIG_IGN);
        decoder::limitTime(1s);
        for (volatile bool forever = true; forever;) continue;
        return true;
    });
    CHECK(WIFSIGNALED(status));
}
