#include "decoder/confinement/confinement.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sorvane::decoder {

namespace {

#if defined(__x86_64__)
constexpr std::uint32_t auditArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t auditArchitecture = AUDIT_ARCH_AARCH64;
#else
#error "Name this machine's audit architecture here and try the confinement's tests."
#endif

// The process itself, a colour profile, and what allocations are rounded up to.
constexpr rlim_t baselineMemory = rlim_t{96} << 20;

constexpr sock_filter statement(std::uint16_t code, std::uint32_t value) {
    return {code, 0, 0, value};
}
constexpr sock_filter jump(std::uint16_t test, std::uint32_t value, std::uint8_t ifTrue,
                           std::uint8_t ifFalse) {
    return {static_cast<std::uint16_t>(BPF_JMP | test | BPF_K), ifTrue, ifFalse, value};
}
constexpr sock_filter load(std::size_t offset) {
    return statement(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}
constexpr sock_filter answer(std::uint32_t verdict) { return statement(BPF_RET | BPF_K, verdict); }

constexpr sock_filter allow = answer(SECCOMP_RET_ALLOW);
constexpr sock_filter kill = answer(SECCOMP_RET_KILL_PROCESS);
constexpr sock_filter unlessCall(std::uint32_t number) { return jump(BPF_JEQ, number, 0, 1); }

// Both machines are little-endian: an argument's lower half comes first.
constexpr std::size_t protectionArgument = offsetof(seccomp_data, args) + 2 * sizeof(std::uint64_t);

// Everything that a decoder may ask of the system: its two streams, memory that is not executable,
// the end. `getrandom` is malloc's seed, drawn at its first call; `futex` ends the initialisation
// at the run time's first exception.
constexpr std::array allowedCalls = {
    load(offsetof(seccomp_data, arch)),
    jump(BPF_JEQ, auditArchitecture, 1, 0),
    kill,
    load(offsetof(seccomp_data, nr)),
    unlessCall(__NR_read),
    allow,
    unlessCall(__NR_write),
    allow,
    unlessCall(__NR_brk),
    allow,
    unlessCall(__NR_munmap),
    allow,
    unlessCall(__NR_mremap),
    allow,
    unlessCall(__NR_madvise),
    allow,
    unlessCall(__NR_getrandom),
    allow,
    unlessCall(__NR_futex),
    allow,
    unlessCall(__NR_exit),
    allow,
    unlessCall(__NR_exit_group),
    allow,
    jump(BPF_JEQ, __NR_mmap, 1, 0),
    kill,
    load(protectionArgument),
    jump(BPF_JSET, PROT_EXEC, 0, 1),
    kill,
    allow,
};

void limitResource(__rlimit_resource_t resource, rlim_t max) {
    const rlimit limit{max, max};
    ::setrlimit(resource, &limit);
}

// The C library's first sort of more than a kilobyte asks how much memory there is, and keeps the
// answer. Otherwise that would be libtiff's sort of its tags, when the question is a forbidden
// call.
void sortOnce() {
    std::array<std::array<char, 1024>, 2> blocks{};
    std::qsort(blocks.data(), blocks.size(), sizeof blocks[0],
               [](const void*, const void*) { return 0; });
}

void filterCalls() {
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return;
    // The kernel's interface lacks a `const`; it only reads the filter.
    std::array<sock_filter, allowedCalls.size()> copy = allowedCalls;
    const sock_fprog program{copy.size(), copy.data()};
    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0);
}

} // namespace

void confine(std::uint64_t memory) {
    // Some libraries write there about every damaged file, and nobody reads it.
    ::close(STDERR_FILENO);
    limitResource(RLIMIT_AS, memory + baselineMemory);
    limitResource(RLIMIT_NOFILE, 0);
    limitResource(RLIMIT_FSIZE, 0);
    limitResource(RLIMIT_CORE, 0);
    // A crash report would hold somebody's picture; some systems write one whatever the limit.
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    // Out of memory, malloc would try a second heap, and ask how many processors there are.
    ::mallopt(M_ARENA_MAX, 1);
    sortOnce();
    filterCalls();
}

} // namespace sorvane::decoder
