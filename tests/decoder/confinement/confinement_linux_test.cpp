#include "decoder/confinement/confinement.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <linux/futex.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "decoder/confinement/landlock.h"
#include "decoder/memory_limit.h"
#include "decoder/pixel_identity.h"
#include "decoder/threaded_sha256.h"
#include "support/sha256.h"
#include "tests/forked.h"
#include "tests/pipe.h"

using namespace sorvane;
using namespace std::chrono_literals;

namespace {

template<class Body>
int inConfinement(const Body& body) {
    return test::inForkedChild([&] {
        decoder::limitTime(5s);
        decoder::prepareLibraries();
        decoder::confine(decoder::maxMemory);
        return body();
    });
}

template<class Body>
bool isKilledFor(const Body& body) {
    const int status = inConfinement([&] {
        body();
        return true;
    });
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS;
}

} // namespace

TEST_CASE("a confined process reads, writes, and takes the memory that it may take") {
    CHECK(inConfinement([] {
              char byte = 0;
              const bool reads = ::read(-1, &byte, 1) < 0 && errno == EBADF;
              const bool writes = ::write(-1, &byte, 1) < 0 && errno == EBADF;
              void* volatile memory = ::operator new(decoder::maxMemory);
              return reads && writes && memory != nullptr;
          }) == 0);
}

TEST_CASE("a confined process digests a large picture on a second thread") {
    CHECK(inConfinement([] {
              const std::vector<std::uint8_t> pixels(3 * decoder::ThreadedSha256::minThreadedBytes);
              const std::string plain = Sha256::hexOf(std::string(pixels.begin(), pixels.end()));
              // What was a thread's serves the next.
              for (int i = 0; i < 3; ++i) {
                  decoder::ThreadedSha256 digest("", pixels.size());
                  digest.update(pixels.data(), pixels.size());
                  if (digest.hex() != plain) return false;
              }
              return true;
          }) == 0);
}

TEST_CASE("a confined process sorts much at once") {
    CHECK(inConfinement([] {
              std::array<int, 4096> numbers{};
              numbers[0] = 1;
              std::qsort(numbers.data(), numbers.size(), sizeof(int),
                         [](const void* one, const void* other) {
                             return *static_cast<const int*>(one) - *static_cast<const int*>(other);
                         });
              return numbers.back() == 1;
          }) == 0);
}

TEST_CASE("a confined process is refused more memory than that, by an exception") {
    CHECK(inConfinement([] {
              constexpr std::size_t baselineMemory = std::size_t{96} << 20;
              try {
                  ::operator delete(::operator new(decoder::maxMemory + baselineMemory));
                  return false;
              } catch (const std::bad_alloc&) {
                  return true;
              }
          }) == 0);
}

TEST_CASE("a confined process has its memory as malloc takes it") {
    CHECK(inConfinement([] {
              constexpr std::size_t size = std::size_t{1} << 20;
              constexpr int readWrite = PROT_READ | PROT_WRITE;
              void* block = ::mmap(nullptr, size, readWrite, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
              block = ::mremap(block, size, 2 * size, MREMAP_MAYMOVE);
              return block != MAP_FAILED && ::madvise(block, size, MADV_DONTNEED) == 0 &&
                     ::munmap(block, 2 * size) == 0;
          }) == 0);
}

TEST_CASE("a confined process that asks for memory in any other way is killed") {
    constexpr int readWrite = PROT_READ | PROT_WRITE;
    const auto isKilledForMap = [](int protection, int flags) {
        return isKilledFor(
            [=] { static_cast<void>(::mmap(nullptr, 4096, protection, flags, -1, 0)); });
    };
    constexpr int anonymous = MAP_PRIVATE | MAP_ANONYMOUS;
    CHECK(isKilledForMap(PROT_READ | PROT_EXEC, anonymous));
    CHECK(isKilledForMap(readWrite | PROT_EXEC, anonymous));
    CHECK(isKilledForMap(readWrite | PROT_GROWSDOWN, anonymous));
    CHECK(isKilledForMap(readWrite, MAP_SHARED | MAP_ANONYMOUS));
    CHECK(isKilledForMap(readWrite, anonymous | MAP_FIXED));
    CHECK(isKilledForMap(readWrite, anonymous | MAP_LOCKED));
    CHECK(isKilledForMap(readWrite, anonymous | MAP_HUGETLB));
    CHECK(isKilledForMap(readWrite, MAP_PRIVATE));
    alignas(4096) static std::array<char, 8192> pages{};
    CHECK(isKilledFor([] { ::mprotect(pages.data(), 4096, PROT_READ | PROT_EXEC); }));
    CHECK(isKilledFor([] {
        ::mremap(pages.data(), 4096, 4096, MREMAP_MAYMOVE | MREMAP_FIXED, pages.data() + 4096);
    }));
    for (const int advice : {MADV_NORMAL, MADV_WILLNEED, MADV_REMOVE, MADV_DONTFORK, MADV_MERGEABLE,
                             MADV_FREE, MADV_WIPEONFORK, MADV_PAGEOUT, MADV_HWPOISON}) {
        CAPTURE(advice);
        CHECK(isKilledFor([advice] { ::madvise(pages.data(), 4096, advice); }));
    }
    CHECK(isKilledFor([] { ::msync(pages.data(), 4096, MS_SYNC); }));
    CHECK(isKilledFor([] { ::mlock(pages.data(), 4096); }));
    CHECK(isKilledFor([] { ::memfd_create("x", 0); }));
}

TEST_CASE("a confined process that asks for a process, or a thread of any other kind, is killed") {
    constexpr long threadFlags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD |
                                 CLONE_SYSVSEM | CLONE_SETTLS | CLONE_PARENT_SETTID |
                                 CLONE_CHILD_CLEARTID;
    const auto isKilledForClone = [](long flags) {
        return isKilledFor([flags] { ::syscall(__NR_clone, flags, 0, 0, 0, 0); });
    };
    CHECK(isKilledFor([] { ::fork(); }));
    CHECK(isKilledForClone(SIGCHLD));
    CHECK(isKilledForClone(CLONE_VM | CLONE_VFORK | SIGCHLD));
    for (const long left : {CLONE_THREAD, CLONE_FILES, CLONE_SYSVSEM, CLONE_SETTLS}) {
        CAPTURE(left);
        CHECK(isKilledForClone(threadFlags & ~left));
    }
    for (const long more : {long{CLONE_NEWUSER}, long{CLONE_NEWNET}, long{CLONE_UNTRACED},
                            long{CLONE_PTRACE}, long{CLONE_IO}}) {
        CAPTURE(more);
        CHECK(isKilledForClone(threadFlags | more));
    }
    // Its flags lie in memory, where a filter cannot see them.
    CHECK(inConfinement([] { return ::syscall(__NR_clone3, nullptr, 0) < 0 && errno == ENOSYS; }) ==
          0);
}

TEST_CASE("a confined process wakes its own threads and waits for them alone") {
    static std::uint32_t word = 0;
    const auto futex = [](int operation) {
        return ::syscall(__NR_futex, &word, operation, 1, nullptr, nullptr, 0);
    };
    CHECK(inConfinement([&] { return futex(FUTEX_WAKE_PRIVATE) == 0; }) == 0);
    for (const int operation :
         {FUTEX_WAIT, FUTEX_WAKE, FUTEX_REQUEUE_PRIVATE, FUTEX_LOCK_PI_PRIVATE,
          FUTEX_CMP_REQUEUE_PI_PRIVATE, FUTEX_WAIT_BITSET}) {
        CAPTURE(operation);
        CHECK(isKilledFor([&] { futex(operation); }));
    }
}

TEST_CASE("a confined process that asks for anything else is killed") {
    CHECK(isKilledFor([] { ::open("/dev/null", O_RDONLY); }));
    CHECK(isKilledFor([] { ::unlink("/nowhere"); }));
    CHECK(isKilledFor([] { ::dup(0); }));
    CHECK(isKilledFor([] { ::ioctl(0, FIONREAD, nullptr); }));
    CHECK(isKilledFor([] { ::fcntl(0, F_GETFL); }));
    CHECK(isKilledFor([] { ::socket(AF_UNIX, SOCK_STREAM, 0); }));
    CHECK(isKilledFor([] { static_cast<void>(::connect(0, nullptr, 0)); }));
    CHECK(isKilledFor([] { ::send(0, "x", 1, 0); }));
    CHECK(isKilledFor([] {
        char* const none[] = {nullptr};
        ::execve("/bin/true", none, none);
    }));
    CHECK(isKilledFor([] { ::getppid(); }));
    CHECK(isKilledFor([] { ::kill(::getppid(), 0); }));
    CHECK(isKilledFor([] { ::ptrace(PTRACE_ATTACH, 1, nullptr, nullptr); }));
    CHECK(isKilledFor([] { ::process_vm_readv(1, nullptr, 0, nullptr, 0, 0); }));
    CHECK(isKilledFor([] { ::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0); }));
    CHECK(isKilledFor([] { ::prctl(PR_SET_PDEATHSIG, 0, 0, 0, 0); }));
    CHECK(isKilledFor([] { ::alarm(0); }));
    CHECK(isKilledFor([] { ::setuid(0); }));
    CHECK(isKilledFor([] { ::personality(0); }));
    CHECK(isKilledFor([] { ::pause(); }));
    CHECK(isKilledFor([] { std::signal(SIGALRM, SIG_IGN); }));
    CHECK(isKilledFor([] {
        const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
        ::setrlimit(RLIMIT_CPU, &none);
    }));
    for (const long call : {__NR_bpf, __NR_io_uring_setup, __NR_userfaultfd, __NR_unshare,
                            __NR_pidfd_open, __NR_keyctl, __NR_seccomp, __NR_perf_event_open}) {
        CAPTURE(call);
        CHECK(isKilledFor([call] { ::syscall(call, 0, 0, 0, 0, 0, 0); }));
    }
}

TEST_CASE("the second layer alone refuses files, TCP and signals, where the kernel has it") {
    const long version = ::syscall(__NR_landlock_create_ruleset, nullptr, 0, 1);
    if (version < 6) MESSAGE("the kernel's layer has version ", version);
    if (version < 1) return;
    CHECK(test::inForkedChild([version] {
              const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
              const sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
              const auto* generic = reinterpret_cast<const sockaddr*>(&address);
              ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
              decoder::forbidFilesAndNetwork();
              const bool noFile = ::open("/dev/null", O_RDONLY) < 0 && errno == EACCES;
              const bool noTcp =
                  version < 4 || (::bind(listener, generic, sizeof address) < 0 && errno == EACCES);
              const bool noSignal = version < 6 || (::kill(::getppid(), 0) < 0 && errno == EPERM);
              return noFile && noTcp && noSignal;
          }) == 0);
}

TEST_CASE("a process whose limits are lower than a confinement's keeps them") {
    CHECK(test::inForkedChild([] {
              const rlimit low{3, 4};
              ::setrlimit(RLIMIT_CPU, &low);
              decoder::limitTime(5s);
              rlimit limit{};
              ::getrlimit(RLIMIT_CPU, &limit);
              return limit.rlim_cur == 3 && limit.rlim_max == 4;
          }) == 0);
}

TEST_CASE("a confined process is the first to go when memory runs out") {
    if (::access("/proc/self/oom_score_adj", W_OK) != 0) {
        MESSAGE("not tried: /proc is read-only, as in a bare root");
        return;
    }
    test::Pipe ready;
    test::Pipe held;
    const pid_t child = ::fork();
    if (child == 0) {
        char byte = 0;
        decoder::confine(decoder::maxMemory);
        if (::write(ready.writer.get(), "x", 1) == 1 && ::read(held.reader.get(), &byte, 1) >= 0)
            ::_exit(0);
    }
    char byte = 0;
    CHECK(::read(ready.reader.get(), &byte, 1) == 1);
    std::ifstream file("/proc/" + std::to_string(child) + "/oom_score_adj");
    int score = 0;
    file >> score;
    CHECK(score == 1000);
    held.writer.reset();
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST_CASE("a confined process ends with its parent") {
    int sockets[2];
    REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) == 0);
    test::Pipe lives; // its writer is the decoder's alone
    const auto decodeForEver = [&] {
        ::dup2(sockets[1], STDIN_FILENO);
        decoder::limitTime(5s);
        decoder::confine(decoder::maxMemory);
        char byte = 'x';
        [[maybe_unused]] const auto told = ::write(lives.writer.get(), &byte, 1);
        while (::read(STDIN_FILENO, &byte, 1) > 0) continue;
    };
    const pid_t parent = ::fork();
    if (parent == 0) {
        if (::fork() == 0) decodeForEver();
        lives.writer.reset();
        ::pause();
        ::_exit(0);
    }
    lives.writer.reset();
    char byte = 0;
    REQUIRE(::read(lives.reader.get(), &byte, 1) == 1);
    const auto before = std::chrono::steady_clock::now();
    ::kill(parent, SIGKILL);
    ::waitpid(parent, nullptr, 0);
    CHECK(::read(lives.reader.get(), &byte, 1) == 0);
    CHECK(std::chrono::steady_clock::now() - before < 3s);
    ::close(sockets[0]);
    ::close(sockets[1]);
}

TEST_CASE("a process whose parent has gone is not confined, and decodes nothing") {
    const auto confinedAt = [](int input) {
        ::dup2(input, STDIN_FILENO);
        try {
            decoder::confine(decoder::maxMemory);
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    };
    CHECK(test::inForkedChild([&] {
              int sockets[2];
              ::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets);
              ::close(sockets[0]);
              return !confinedAt(sockets[1]);
          }) == 0);
    // One that has sent all of the file is still there, and a pipe tells of nobody.
    CHECK(test::inForkedChild([&] {
              int sockets[2];
              ::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets);
              ::shutdown(sockets[0], SHUT_WR);
              return confinedAt(sockets[1]);
          }) == 0);
    test::Pipe pipe;
    pipe.writer.reset();
    CHECK(test::inForkedChild([&] { return confinedAt(pipe.reader.get()); }) == 0);
}
