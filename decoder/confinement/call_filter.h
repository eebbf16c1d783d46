#pragma once

#include <cstdint>
#include <vector>

#include <linux/audit.h>
#include <linux/filter.h>

namespace sorvane::decoder {

/// An architecture, and its numbers of the system calls that a decoder makes.
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
    int clone;
    int clone3;
    int rtSigaction;
    int rtSigprocmask;
    int setRobustList;
    int rseq;
};

inline constexpr MachineCalls x86_64Calls{.architecture = AUDIT_ARCH_X86_64,
                                          .read = 0,
                                          .write = 1,
                                          .exit = 60,
                                          .exitGroup = 231,
                                          .brk = 12,
                                          .munmap = 11,
                                          .mmap = 9,
                                          .mremap = 25,
                                          .madvise = 28,
                                          .getrandom = 318,
                                          .futex = 202,
                                          .clone = 56,
                                          .clone3 = 435,
                                          .rtSigaction = 13,
                                          .rtSigprocmask = 14,
                                          .setRobustList = 273,
                                          .rseq = 334};
inline constexpr MachineCalls arm64Calls{.architecture = AUDIT_ARCH_AARCH64,
                                         .read = 63,
                                         .write = 64,
                                         .exit = 93,
                                         .exitGroup = 94,
                                         .brk = 214,
                                         .munmap = 215,
                                         .mmap = 222,
                                         .mremap = 216,
                                         .madvise = 233,
                                         .getrandom = 278,
                                         .futex = 98,
                                         .clone = 220,
                                         .clone3 = 435,
                                         .rtSigaction = 134,
                                         .rtSigprocmask = 135,
                                         .setRobustList = 99,
                                         .rseq = 293};

/// The seccomp program for such a machine. It allows the system calls, with the arguments, that
/// decoding from standard input to standard output on two threads needs; clone3 fails with ENOSYS,
/// so that the C library falls back on clone; every other call kills the process. It cannot count
/// threads.
std::vector<sock_filter> callFilter(const MachineCalls& machine);

/// Puts the process under the filter of this machine, for good. The process must have renounced new
/// privileges. Throws std::system_error when the filter cannot be had.
void filterCalls();

} // namespace sorvane::decoder
