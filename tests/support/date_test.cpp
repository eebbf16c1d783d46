#include "support/date.h"

#include <chrono>

#include <doctest/doctest.h>

using namespace sorvane;

TEST_CASE("now is counted in seconds, with fraction, from the beginning of 2001") {
    // 31 years, 8 of them leap years.
    constexpr double epoch = 978'307'200;
    const auto unixTime = [] {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    // A double tells today's seconds to less than a microsecond.
    constexpr double rounding = 1e-6;
    const double before = unixTime() - epoch;
    const double now = ReferenceClock::now().time_since_epoch().count();
    const double after = unixTime() - epoch;
    CHECK(now >= before - rounding);
    CHECK(now <= after + rounding);
}

TEST_CASE("the fraction of a second is kept") {
    bool fraction = false;
    for (int time = 0; time < 100 && !fraction; ++time) {
        const double seconds = ReferenceClock::now().time_since_epoch().count();
        fraction = seconds != static_cast<double>(static_cast<long long>(seconds));
    }
    CHECK(fraction);
}
