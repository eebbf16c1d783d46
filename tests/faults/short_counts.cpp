// short_counts BYTES PROGRAM [ARGUMENT...]: runs a program and every child of it, and lets each
// read and write take at most so many bytes, as a pipe, a slow disk or a busy system may. The bytes
// that are moved are the right ones. Ends as the program does; 126: no call wanted more than that;
// 127: it could not be traced.

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>

#include <elf.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int untraceable = 127;
constexpr int nothingShortened = 126;
constexpr long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_TRACECLONE |
                         PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_EXITKILL;

// The third argument of a system call, in the registers of a stopped process.
std::uint64_t& thirdArgument(user_regs_struct& registers) {
#if defined(__x86_64__)
    return reinterpret_cast<std::uint64_t&>(registers.rdx);
#elif defined(__aarch64__)
    return reinterpret_cast<std::uint64_t&>(registers.regs[2]);
#else
#error "Name the register of the third argument here."
#endif
}

bool moves(std::uint64_t call) {
    return call == __NR_read || call == __NR_write || call == __NR_recvfrom || call == __NR_sendto;
}

// A process is left alone until its libraries are loaded, which the loader does in one read each.
class Shortener {
  public:
    explicit Shortener(std::uint64_t max) : max_(max) {}

    void begins(pid_t process) { loaded_.erase(process); }

    void enters(pid_t process, std::uint64_t call) {
        if (call == __NR_set_tid_address) loaded_.insert(process);
        if (!moves(call) || !loaded_.contains(process)) return;
        user_regs_struct registers{};
        iovec view{&registers, sizeof registers};
        if (::ptrace(PTRACE_GETREGSET, process, NT_PRSTATUS, &view) != 0) return;
        std::uint64_t& count = thirdArgument(registers);
        if (count <= max_) return;
        count = max_;
        hasShortened_ |= ::ptrace(PTRACE_SETREGSET, process, NT_PRSTATUS, &view) == 0;
    }

    bool hasShortened() const { return hasShortened_; }

  private:
    std::uint64_t max_;
    bool hasShortened_ = false;
    std::set<pid_t> loaded_;
};

// What the process is to be told when it goes on: a signal of its own, or none.
int settle(Shortener& shortener, pid_t process, int status) {
    const int signal = WSTOPSIG(status);
    if (signal == (SIGTRAP | 0x80)) {
        __ptrace_syscall_info info{};
        if (::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) > 0 &&
            info.op == PTRACE_SYSCALL_INFO_ENTRY)
            shortener.enters(process, info.entry.nr);
        return 0;
    }
    if (status >> 8 == (SIGTRAP | PTRACE_EVENT_EXEC << 8)) shortener.begins(process);
    return signal == SIGTRAP || signal == SIGSTOP ? 0 : signal;
}

[[noreturn]] void start(char** command) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
        ::raise(SIGSTOP);
        ::execv(command[0], command);
    }
    ::_exit(untraceable);
}

int endAs(int status) {
    if (WIFSIGNALED(status)) ::raise(WTERMSIG(status));
    return WEXITSTATUS(status);
}

} // namespace

int main(int count, char** arguments) {
    if (count < 3) return untraceable;
    Shortener shortener(std::strtoull(arguments[1], nullptr, 10));
    const pid_t program = ::fork();
    if (program == 0) start(arguments + 2);

    int status = 0;
    if (::waitpid(program, &status, 0) != program || !WIFSTOPPED(status)) return untraceable;
    if (::ptrace(PTRACE_SETOPTIONS, program, nullptr, options) != 0) return untraceable;
    ::ptrace(PTRACE_SYSCALL, program, nullptr, nullptr);
    int end = untraceable;
    while (true) {
        const pid_t process = ::waitpid(-1, &status, __WALL);
        if (process < 0 && errno == EINTR) continue;
        if (process < 0) return shortener.hasShortened() ? end : nothingShortened;
        if (WIFSTOPPED(status)) {
            const long signal = settle(shortener, process, status);
            ::ptrace(PTRACE_SYSCALL, process, nullptr, signal);
        } else if (process == program) {
            end = endAs(status);
        }
    }
}
