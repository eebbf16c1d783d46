// What only this system's own means can show: which system calls are made, a process that can be
// looked at but not signalled, and a program that is not on the disk any more.

#include "broker/mcp_client_session.h"

#include <array>
#include <filesystem>

#include <linux/capability.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/executable_path.h"
#include "support/resolved_path.h"
#include "tests/broker/session_stage.h"
#include "tests/forked.h"
#include "tests/started_process.h"

using namespace sorvane;

namespace {

MCPClientSession sessionOf(std::int32_t process) {
    return {"client-1", process, executablePath(::getpid()).value().native(), "name", Date{}};
}

bool giveUp(unsigned capability) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> sets{};
    if (::syscall(SYS_capget, &header, sets.data()) != 0) return false;
    sets[0].effective &= ~(1U << capability);
    return ::syscall(SYS_capset, &header, sets.data()) == 0;
}

} // namespace

TEST_CASE("an id that no process can have is judged without a system call") {
    const std::array<MCPClientSession, 3> sessions{sessionOf(0), sessionOf(-1),
                                                   sessionOf(-::getpid())};
    // From there on any call but the last ends the child with a signal.
    CHECK(test::inForkedChild([&sessions] {
              if (::prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0) return true;
              long running = 0;
              for (const MCPClientSession& session : sessions) running += session.isRunning();
              ::syscall(SYS_exit, running);
              return false;
          }) == 0);
}

TEST_CASE("a process that can be looked at but not signalled is not running") {
    if (::geteuid() != 0) {
        MESSAGE("only the administrator can give up the right to signal others: not tried");
        return;
    }
    CHECK(
        test::inForkedChild([] {
            const test::StartedProcess other(
                "sh", {"sh", "-c", "exec setpriv --reuid 65534 --clear-groups cat"});
            other.write("up\n");
            if (other.line() != "up") return false;
            const auto path = executablePath(other.id());
            if (!path) return true; // this administrator may not even look
            const MCPClientSession session{"client-1", other.id(), path->native(), "name", Date{}};
            if (!session.isRunning() || !giveUp(CAP_KILL)) return false;
            return executablePath(other.id()).has_value() && !session.isRunning();
        }) == 0);
}

// Other kernels may go on reporting the path that the program had.
TEST_CASE("a process whose program was replaced on the disk is not the recorded one") {
    const test::SessionStage stage;
    const auto program = resolvedPath(stage.directory()) / "server";
    std::filesystem::copy_file(stage.recorder(), program);
    const test::StartedProcess process(program, {program.native(), "codex", "client-1", "name"});
    REQUIRE(process.line() == "recorded");
    REQUIRE(stage.session("codex").isRunning());
    std::filesystem::remove(program);
    CHECK_FALSE(stage.session("codex").isRunning());
}
