#include "support/date.h"

namespace sorvane {

ReferenceClock::time_point ReferenceClock::now() {
    using namespace std::chrono;
    return ReferenceClock::time_point(
        duration_cast<ReferenceClock::duration>(system_clock::now() - epoch));
}

} // namespace sorvane
