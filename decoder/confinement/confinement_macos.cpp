// The system's own reader opens libraries, colour profiles and connections to other services as it
// needs them, and maps far more memory than it uses: descriptors and address space are left to it.
// The pixel budget bounds what a picture may take. There is no sandbox: the calls that would enter
// one are deprecated without a successor; what is left, an entitlement in a code signature, is for
// whoever signs the program. The system does not tell a process of its parent's end: a decoder
// whose hook is gone finds the end of its input, and its time bounds the rest.

#include "decoder/confinement/confinement.h"

#include <csignal>

#include "decoder/confinement/requirements.h"

namespace sorvane::decoder {

void confine(std::uint64_t /*memory*/) {
    limitResource(RLIMIT_NPROC, 0, "RLIMIT_NPROC cannot be set");
    // A core file would hold somebody's picture. The crash reporter obeys no limit; what it writes
    // down are stacks and registers.
    limitResource(RLIMIT_CORE, 0, "RLIMIT_CORE cannot be set");
    // A library's cache that cannot be written is no reason to die.
    std::signal(SIGXFSZ, SIG_IGN);
    limitResource(RLIMIT_FSIZE, 0, "RLIMIT_FSIZE cannot be set");
}

} // namespace sorvane::decoder
