#include <unistd.h>

#include <doctest/doctest.h>

#include "decoder/confinement/confinement.h"
#include "tests/forked.h"

using namespace sorvane;
using namespace std::chrono_literals;

TEST_CASE("a process that waits past its time is killed") {
    int status = test::inForkedChild([] {
        decoder::limitTime(1s);
        ::pause();
        return true;
    });
    CHECK(WIFSIGNALED(status));
    CHECK(WTERMSIG(status) == SIGALRM);
}

TEST_CASE("a process that computes past its time is killed, though it ignores the alarm") {
    int status = test::inForkedChild([] {
        std::signal(SIGALRM, SIG_IGN);
        decoder::limitTime(1s);
        for (volatile bool forever = true; forever;) continue;
        return true;
    });
    CHECK(WIFSIGNALED(status));
}
