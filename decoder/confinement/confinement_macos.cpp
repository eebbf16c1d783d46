// The system's own reader opens libraries, colour profiles and connections to other services as it
// needs them, and maps far more memory than it uses: descriptors and address space are left to it.
// The pixel budget bounds what a picture may take. There is no sandbox: the calls that would enter
// one are deprecated without a successor; what is left, an entitlement in a code signature, is for
// whoever signs the program.

#include "decoder/confinement/confinement.h"

#include <csignal>

#include <sys/resource.h>

namespace sorvane::decoder {

namespace {

void forbid(auto resource) {
    const rlimit nothing{0, 0};
    ::setrlimit(resource, &nothing);
}

} // namespace

void confine(std::uint64_t /*memory*/) {
    forbid(RLIMIT_NPROC);
    // A core file would hold somebody's picture. The crash reporter obeys no limit; what it writes
    // down are stacks and registers.
    forbid(RLIMIT_CORE);
    // A library's cache that cannot be written is no reason to die.
    std::signal(SIGXFSZ, SIG_IGN);
    forbid(RLIMIT_FSIZE);
}

} // namespace sorvane::decoder
