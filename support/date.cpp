#include "support/date.h"

namespace sorvane {

ReferenceClock::time_point ReferenceClock::now() {
    using namespace std::chrono;
    constexpr sys_days epoch = 2001y / January / 1;
    return ReferenceClock::time_point(
        duration_cast<ReferenceClock::duration>(system_clock::now() - epoch));
}

} // namespace sorvane
