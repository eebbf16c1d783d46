#include "decoder/confinement/call_filter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sys/mman.h>

#include <doctest/doctest.h>

using namespace sorvane::decoder;

namespace {

constexpr std::array machines = {x86_64Calls, arm64Calls};

/// What a filter answers to a call, after how many steps: the kernel's machine, as far as the
/// filter uses it.
std::uint32_t verdict(const std::vector<sock_filter>& program, const seccomp_data& call,
                      std::size_t* steps = nullptr) {
    std::uint32_t loaded = 0;
    for (std::size_t at = 0; at < program.size(); ++at) {
        if (steps != nullptr) ++*steps;
        const sock_filter& step = program[at];
        switch (step.code) {
        case BPF_LD | BPF_W | BPF_ABS:
            REQUIRE(step.k + sizeof loaded <= sizeof call);
            std::memcpy(&loaded, reinterpret_cast<const char*>(&call) + step.k, sizeof loaded);
            break;
        case BPF_JMP | BPF_JA:
            at += step.k;
            break;
        case BPF_JMP | BPF_JEQ | BPF_K:
            at += loaded == step.k ? step.jt : step.jf;
            break;
        case BPF_JMP | BPF_JGE | BPF_K:
            at += loaded >= step.k ? step.jt : step.jf;
            break;
        case BPF_RET | BPF_K:
            return step.k;
        default:
            FAIL("an instruction that no filter of ours has");
        }
    }
    FAIL("the filter has no end");
    return 0;
}

bool allowsFrom(std::uint32_t architecture, const MachineCalls& machine, int number,
                std::array<std::uint64_t, 6> arguments = {}) {
    seccomp_data call{};
    call.nr = number;
    call.arch = architecture;
    std::ranges::copy(arguments, call.args);
    const std::uint32_t answer = verdict(callFilter(machine), call);
    const bool missing = number == machine.clone3 && answer == (SECCOMP_RET_ERRNO | ENOSYS);
    CHECK((answer == SECCOMP_RET_ALLOW || answer == SECCOMP_RET_KILL_PROCESS || missing));
    return answer == SECCOMP_RET_ALLOW;
}

bool allows(const MachineCalls& machine, int number, std::array<std::uint64_t, 6> arguments = {}) {
    return allowsFrom(machine.architecture, machine, number, arguments);
}

constexpr std::uint64_t memory = 0x7F00'0000'0000;
constexpr std::uint64_t noFile = ~std::uint64_t{0};
constexpr std::uint64_t setuidSignal = 33;
// As the C library gives them, on both machines.
constexpr std::uint64_t threadFlags = 0x3D0F00;

} // namespace

TEST_CASE("the filter allows what decoders were seen to call, under each machine's numbers") {
    constexpr std::uint64_t ofThisProcess = MAP_PRIVATE | MAP_ANONYMOUS;
    for (const MachineCalls& machine : machines) {
        CAPTURE(machine.architecture);
        const bool arm = machine.architecture == AUDIT_ARCH_AARCH64;
        CHECK(allows(machine, arm ? 63 : 0, {0, memory, 65'536}));
        CHECK(allows(machine, arm ? 64 : 1, {1, memory, 70}));
        CHECK(allows(machine, arm ? 214 : 12, {memory}));
        CHECK(allows(machine, arm ? 222 : 9,
                     {0, 135'168, PROT_READ | PROT_WRITE, ofThisProcess, noFile, 0}));
        CHECK(allows(machine, arm ? 215 : 11, {memory, 135'168}));
        CHECK(allows(machine, arm ? 216 : 25, {memory, 135'168, 270'336, MREMAP_MAYMOVE}));
        CHECK(allows(machine, arm ? 233 : 28, {memory, 4096, MADV_DONTNEED}));
        CHECK(allows(machine, arm ? 278 : 318, {memory, 8, 1}));
        CHECK(allows(machine, arm ? 98 : 202, {memory, FUTEX_WAKE_PRIVATE, 0x7FFF'FFFF}));
        CHECK(allows(machine, arm ? 134 : 13, {setuidSignal, memory, 0, 8}));
        CHECK(allows(machine, arm ? 135 : 14, {SIG_BLOCK, memory, memory, 8}));
        CHECK(allows(machine, arm ? 220 : 56, {threadFlags, memory, memory, memory, memory}));
        CHECK(allows(machine, arm ? 293 : 334, {memory, 32, 0, 0x5305'3053}));
        CHECK(allows(machine, arm ? 99 : 273, {memory, 24}));
        for (const std::uint64_t wait : {0x80U, 0x89U, 0x189U, 0x109U})
            CHECK(allows(machine, arm ? 98 : 202, {memory, wait, 0}));
        CHECK(allows(machine, arm ? 93 : 60));
        CHECK(allows(machine, arm ? 94 : 231));
    }
}

TEST_CASE("the filter allows ten calls alone whatever their arguments") {
    for (const MachineCalls& machine : machines) {
        CAPTURE(machine.architecture);
        const std::array free = {machine.read,      machine.write,         machine.exit,
                                 machine.exitGroup, machine.brk,           machine.munmap,
                                 machine.getrandom, machine.rtSigprocmask, machine.setRobustList,
                                 machine.rseq};
        for (int number = -1; number < 1024; ++number) {
            CAPTURE(number);
            CHECK(allows(machine, number) == (std::ranges::find(free, number) != free.end()));
        }
    }
}

TEST_CASE("the filter allows no memory that is shared or executable, nor another's") {
    for (const MachineCalls& machine : machines) {
        CAPTURE(machine.architecture);
        const auto maps = [&](std::uint64_t protection, std::uint64_t flags) {
            return allows(machine, machine.mmap, {0, 4096, protection, flags, noFile, 0});
        };
        CHECK_FALSE(maps(PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS));
        CHECK_FALSE(maps(PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS));
        CHECK_FALSE(maps(PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS));
        CHECK_FALSE(maps(PROT_READ | PROT_WRITE, MAP_PRIVATE));
        CHECK_FALSE(maps(PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED));
        CHECK_FALSE(
            allows(machine, machine.mremap, {memory, 1, 2, MREMAP_MAYMOVE | MREMAP_FIXED, memory}));
        CHECK_FALSE(allows(machine, machine.madvise, {memory, 4096, MADV_REMOVE}));
    }
}

TEST_CASE("the filter allows threads of this process alone, which wait for one another") {
    for (const MachineCalls& machine : machines) {
        CAPTURE(machine.architecture);
        for (int bit = 0; bit < 32; ++bit) {
            CAPTURE(bit);
            CHECK_FALSE(allows(machine, machine.clone, {threadFlags ^ std::uint64_t{1} << bit}));
        }
        CHECK_FALSE(allows(machine, machine.clone, {SIGCHLD}));
        CHECK_FALSE(allows(machine, machine.clone3, {memory, 88}));
        CHECK_FALSE(allows(machine, machine.rtSigaction, {SIGALRM, memory, 0, 8}));
        CHECK_FALSE(allows(machine, machine.futex, {memory, FUTEX_LOCK_PI_PRIVATE}));
        CHECK_FALSE(allows(machine, machine.futex, {memory, FUTEX_WAIT}));
        CHECK_FALSE(allows(machine, machine.futex, {memory, FUTEX_WAKE}));
    }
}

TEST_CASE("a call without a rule meets few instructions") {
    for (const MachineCalls& machine : machines) {
        const std::vector<sock_filter> program = callFilter(machine);
        for (int number = -1; number < 1024; ++number) {
            CAPTURE(number);
            if (allows(machine, number)) continue;
            seccomp_data call{};
            call.nr = number;
            call.arch = machine.architecture;
            std::size_t steps = 0;
            verdict(program, call, &steps);
            CHECK(steps <= 24);
        }
    }
}

TEST_CASE("the filter allows nothing to another machine's calls") {
    const auto [one, other] = machines;
    CHECK_FALSE(allowsFrom(other.architecture, one, one.read));
    CHECK_FALSE(allowsFrom(one.architecture, other, other.read));
    CHECK_FALSE(allowsFrom(AUDIT_ARCH_I386, one, one.read));
}
