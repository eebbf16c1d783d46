#pragma once

#include <chrono>
#include <ratio>

namespace sorvane {

/// The clock of all records: seconds since 2001-01-01 00:00:00 UTC, with fraction.
struct ReferenceClock {
    using rep = double;
    using period = std::ratio<1>;
    using duration = std::chrono::duration<rep, period>;
    using time_point = std::chrono::time_point<ReferenceClock>;
    static constexpr bool is_steady = false;

    /// The clock's beginning, by the system's clock.
    static constexpr std::chrono::sys_days epoch = std::chrono::year(2001) / 1 / 1;

    static time_point now();
};

/// A moment. In JSON it is the number of seconds, `time_since_epoch().count()`.
using Date = ReferenceClock::time_point;

} // namespace sorvane
