#pragma once

#include <cstdint>
#include <vector>

#include <linux/audit.h>
#include <linux/filter.h>

namespace sorvane::decoder {

/// What a kind of machine is called, and the numbers of a decoder's system calls there.
struct MachineCalls {
    std::uint32_t architecture;
    int read;
    int write;
    int exit;
    int exitGroup;
    int brk;
    int munmap;
    int mmap;
    int mremap;
    int madvise;
    int getrandom;
    int futex;
};

inline constexpr MachineCalls x86_64Calls{
    AUDIT_ARCH_X86_64, 0, 1, 60, 231, 12, 11, 9, 25, 28, 318, 202};
inline constexpr MachineCalls arm64Calls{
    AUDIT_ARCH_AARCH64, 63, 64, 93, 94, 214, 215, 222, 216, 233, 278, 98};

/// The filter of such a machine, as a kernel runs it: system calls, and arguments of them, that
/// decoding from standard input to standard output needs, and death for every other.
std::vector<sock_filter> callFilter(const MachineCalls& machine);

/// Puts the process under the filter of this machine, for good. Wants that the process has
/// renounced new privileges. Throws std::system_error when the filter cannot be had.
void filterCalls();

} // namespace sorvane::decoder
