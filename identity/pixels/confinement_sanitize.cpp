// The confinement of the sanitizer builds: time alone. AddressSanitizer reserves terabytes of
// address space, and opens files and starts processes to report what it found.

#include "identity/pixels/confinement.h"
#include "identity/pixels/time_limit.h"

namespace sorvane::pixels {

void confine(std::chrono::seconds limit) { limitTime(limit); }

} // namespace sorvane::pixels
