#include "decoder/confinement/call_filter.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "decoder/confinement/requirements.h"

namespace sorvane::decoder {

namespace {

#if defined(__x86_64__)
constexpr std::uint32_t auditArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t auditArchitecture = AUDIT_ARCH_AARCH64;
#else
#error "Name this machine's audit architecture here and try the confinement's tests."
#endif

// Both machines are little-endian: an argument's lower half comes first. The upper halves of those
// that are looked at here mean nothing to the kernel.
constexpr std::size_t argumentOffset(int index) {
    return offsetof(seccomp_data, args) + static_cast<std::size_t>(index) * sizeof(std::uint64_t);
}

constexpr sock_filter load(std::size_t offset) {
    return {BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<std::uint32_t>(offset)};
}
constexpr sock_filter answer(std::uint32_t verdict) { return {BPF_RET | BPF_K, 0, 0, verdict}; }

// Leaves out so many instructions when what is loaded has another value.
constexpr sock_filter unless(std::uint32_t value, std::size_t leftOut) {
    return {BPF_JMP | BPF_JEQ | BPF_K, 0, static_cast<std::uint8_t>(leftOut), value};
}

constexpr sock_filter unlessCall(int number, std::size_t leftOut) {
    return unless(static_cast<std::uint32_t>(number), leftOut);
}

struct Argument {
    int index;
    std::uint32_t value;
};

/// A filter as the kernel's machine runs it, which jumps forward only. Between two rules the call's
/// number is loaded; a call that no rule allows meets the end.
class CallFilter {
  public:
    CallFilter()
        : program_{load(offsetof(seccomp_data, arch)),
                   unless(auditArchitecture, 1),
                   {BPF_JMP | BPF_JA, 0, 0, 1},
                   kill_,
                   load(offsetof(seccomp_data, nr))} {}

    void allow(int call) {
        program_.insert(program_.end(), {unlessCall(call, 1), answer(SECCOMP_RET_ALLOW)});
    }

    /// Only with these arguments.
    void allow(int call, std::initializer_list<Argument> arguments) {
        std::size_t left = 2 * arguments.size() + 2; // instructions of this rule
        program_.push_back(unlessCall(call, left));
        for (const auto& [index, value] : arguments) {
            left -= 2;
            program_.insert(program_.end(), {load(argumentOffset(index)), unless(value, left - 1)});
        }
        program_.insert(program_.end(),
                        {answer(SECCOMP_RET_ALLOW), load(offsetof(seccomp_data, nr))});
    }

    void install() {
        program_.push_back(kill_);
        const sock_fprog program{static_cast<unsigned short>(program_.size()), program_.data()};
        require(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0,
                "filter of system calls");
    }

  private:
    static constexpr sock_filter kill_ = answer(SECCOMP_RET_KILL_PROCESS);

    std::vector<sock_filter> program_;
};

} // namespace

void filterCalls() {
    CallFilter filter;
    // The two streams, and the end.
    for (const int call : {__NR_read, __NR_write, __NR_exit, __NR_exit_group}) filter.allow(call);
    // Memory as malloc asks for it, new or as a block that grows: of this process alone, without a
    // file, never executable.
    filter.allow(__NR_brk);
    filter.allow(__NR_munmap);
    filter.allow(__NR_mmap, {{2, PROT_READ | PROT_WRITE}, {3, MAP_PRIVATE | MAP_ANONYMOUS}});
    filter.allow(__NR_mremap, {{3, MREMAP_MAYMOVE}});
    filter.allow(__NR_madvise, {{2, MADV_DONTNEED}});
    // Where the C library asks for huge pages by itself.
    filter.allow(__NR_madvise, {{2, MADV_HUGEPAGE}});
    // malloc's seed, drawn at its first call.
    filter.allow(__NR_getrandom);
    // The end of an initialisation that others might wait for, at the run time's first exception.
    filter.allow(__NR_futex, {{1, FUTEX_WAKE_PRIVATE}});
    filter.install();
}

} // namespace sorvane::decoder
