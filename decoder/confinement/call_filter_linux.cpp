#include "decoder/confinement/call_filter.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <map>
#include <vector>

#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/sched.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "decoder/confinement/requirements.h"

namespace sorvane::decoder {

namespace {

#if defined(__x86_64__)
constexpr MachineCalls thisMachine = x86_64Calls;
#elif defined(__aarch64__)
constexpr MachineCalls thisMachine = arm64Calls;
#else
#error "Name this machine's calls in the header and try the confinement's tests."
#endif

static_assert(thisMachine.read == __NR_read && thisMachine.write == __NR_write &&
              thisMachine.exit == __NR_exit && thisMachine.exitGroup == __NR_exit_group &&
              thisMachine.brk == __NR_brk && thisMachine.munmap == __NR_munmap &&
              thisMachine.mmap == __NR_mmap && thisMachine.mremap == __NR_mremap &&
              thisMachine.madvise == __NR_madvise && thisMachine.getrandom == __NR_getrandom &&
              thisMachine.futex == __NR_futex && thisMachine.clone == __NR_clone &&
              thisMachine.clone3 == __NR_clone3 && thisMachine.rtSigaction == __NR_rt_sigaction &&
              thisMachine.rtSigprocmask == __NR_rt_sigprocmask &&
              thisMachine.setRobustList == __NR_set_robust_list && thisMachine.rseq == __NR_rseq);

// Both machines are little-endian: an argument's lower half comes first. The upper halves of those
// that are looked at here mean nothing to the kernel.
constexpr std::size_t argumentOffset(int index) {
    return offsetof(seccomp_data, args) + static_cast<std::size_t>(index) * sizeof(std::uint64_t);
}

constexpr sock_filter load(std::size_t offset) {
    return {BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<std::uint32_t>(offset)};
}
constexpr sock_filter answer(std::uint32_t verdict) { return {BPF_RET | BPF_K, 0, 0, verdict}; }

// Skips so many instructions when the loaded value is another.
constexpr sock_filter unless(std::uint32_t value, std::size_t skipped) {
    return {BPF_JMP | BPF_JEQ | BPF_K, 0, static_cast<std::uint8_t>(skipped), value};
}

struct Argument {
    int index;
    std::uint32_t value;
};

/// A filter as the kernel's machine runs it, which jumps forward only; a call without a rule is
/// death. The rules are found by binary search: to install a filter the kernel runs it once for
/// every number of a call, and most have no rule.
class CallFilter {
  public:
    explicit CallFilter(std::uint32_t architecture) : architecture_(architecture) {}

    void allow(int call) { ruleOf(call) = {answer(SECCOMP_RET_ALLOW)}; }

    /// Only with these arguments, or with those of another rule for the call.
    void allow(int call, std::initializer_list<Argument> arguments) {
        std::size_t left = 2 * arguments.size() + 1; // instructions of this rule
        for (const auto& [index, value] : arguments) {
            left -= 2;
            append(ruleOf(call), {load(argumentOffset(index)), unless(value, left)});
        }
        append(ruleOf(call), {answer(SECCOMP_RET_ALLOW)});
    }

    /// It fails as on a system that does not have the call.
    void deny(int call) { ruleOf(call) = {answer(SECCOMP_RET_ERRNO | ENOSYS)}; }

    std::vector<sock_filter> program() const {
        Program whole = {load(offsetof(seccomp_data, arch)),
                         unless(architecture_, 1),
                         {BPF_JMP | BPF_JA, 0, 0, 1},
                         kill_,
                         load(offsetof(seccomp_data, nr))};
        append(whole, lookUp(rules_.begin(), rules_.size()));
        return whole;
    }

  private:
    using Program = std::vector<sock_filter>;
    using Rules = std::map<std::uint32_t, Program>;

    static constexpr sock_filter kill_ = answer(SECCOMP_RET_KILL_PROCESS);

    static void append(Program& program, const Program& more) {
        program.insert(program.end(), more.begin(), more.end());
    }

    // The verdict of `count` rules on the number that is loaded.
    static Program lookUp(Rules::const_iterator first, std::size_t count) {
        if (count == 1) {
            Program program = {unless(first->first, first->second.size())};
            append(program, first->second);
            append(program, {kill_});
            return program;
        }
        const auto middle = std::next(first, static_cast<std::ptrdiff_t>(count / 2));
        const Program lower = lookUp(first, count / 2);
        Program program = {
            {BPF_JMP | BPF_JGE | BPF_K, static_cast<std::uint8_t>(lower.size()), 0, middle->first}};
        append(program, lower);
        append(program, lookUp(middle, count - count / 2));
        return program;
    }

    Program& ruleOf(int call) { return rules_[static_cast<std::uint32_t>(call)]; }

    std::uint32_t architecture_;
    Rules rules_;
};

// What the C library asks for to start a thread on a given stack, and to wait for it.
void allowThreads(CallFilter& filter, const MachineCalls& machine) {
    constexpr std::uint32_t threadFlags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND |
                                          CLONE_THREAD | CLONE_SYSVSEM | CLONE_SETTLS |
                                          CLONE_PARENT_SETTID | CLONE_CHILD_CLEARTID;
    // By it the C library tells threads of a setuid; it takes it at the first thread.
    constexpr std::uint32_t setuidSignal = 33;
    // Its flags lie in memory, where no filter sees them; the C library falls back on `clone`.
    filter.deny(machine.clone3);
    filter.allow(machine.clone, {{0, threadFlags}});
    filter.allow(machine.rtSigaction, {{0, setuidSignal}});
    for (const int call : {machine.rtSigprocmask, machine.setRobustList, machine.rseq})
        filter.allow(call);
    // Locks, conditions, and a thread's end, which the kernel tells.
    for (const int wait : {FUTEX_WAIT_PRIVATE, FUTEX_WAIT_BITSET_PRIVATE,
                           FUTEX_WAIT_BITSET_PRIVATE | FUTEX_CLOCK_REALTIME,
                           FUTEX_WAIT_BITSET | FUTEX_CLOCK_REALTIME})
        filter.allow(machine.futex, {{1, static_cast<std::uint32_t>(wait)}});
}

} // namespace

std::vector<sock_filter> callFilter(const MachineCalls& machine) {
    CallFilter filter(machine.architecture);
    // The two streams, and the end.
    for (const int call : {machine.read, machine.write, machine.exit, machine.exitGroup})
        filter.allow(call);
    // Memory as malloc asks for it, new or as a block that grows: of this process alone, without a
    // file, never executable.
    filter.allow(machine.brk);
    filter.allow(machine.munmap);
    filter.allow(machine.mmap, {{2, PROT_READ | PROT_WRITE}, {3, MAP_PRIVATE | MAP_ANONYMOUS}});
    filter.allow(machine.mremap, {{3, MREMAP_MAYMOVE}});
    filter.allow(machine.madvise, {{2, MADV_DONTNEED}});
    // Where the C library asks for huge pages by itself.
    filter.allow(machine.madvise, {{2, MADV_HUGEPAGE}});
    // malloc's seed, drawn at its first call.
    filter.allow(machine.getrandom);
    // The end of an initialisation that others might wait for, at the run time's first exception.
    filter.allow(machine.futex, {{1, FUTEX_WAKE_PRIVATE}});
    allowThreads(filter, machine);
    return filter.program();
}

void filterCalls() {
    std::vector<sock_filter> filter = callFilter(thisMachine);
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    require(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0,
            "the seccomp filter cannot be installed");
}

} // namespace sorvane::decoder
