#include "broker/mcp_client_session.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/executable_path.h"
#include "support/resolved_path.h"
#include "tests/broker/session_stage.h"
#include "tests/forked.h"
#include "tests/record_trials.h"

using namespace sorvane;
using nlohmann::json;
using test::decoded;
using test::encoded;
using test::Kind;
using test::required;
using test::ScopedEnvironment;
using test::SessionStage;
using test::StartedProcess;

namespace {

static_assert(test::isImmutable<MCPClientSession>());

const std::string complete =
    R"({"clientID":"8d0f-codex","processID":4711,"executablePath":"\/usr\/local\/bin\/mcp",)"
    R"("clientName":"codex-mcp-client","initializedAt":816919895.25})";

MCPClientSession sessionOf(std::int32_t process, const std::filesystem::path& executable) {
    return {"client-1", process, executable.native(), "name", Date{}};
}

// Everything below a directory, by its name alone.
std::size_t filesBelow(const std::filesystem::path& directory) {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& file :
         std::filesystem::recursive_directory_iterator(directory))
        ++count;
    return count;
}

/// A running recorder that has recorded its session.
class Recorder : public StartedProcess {
  public:
    Recorder(const std::filesystem::path& program, const std::string& ownName,
             const std::filesystem::path& directory = "/")
        : StartedProcess(program, {ownName, "codex", "client-1", "an agent's tools"}, directory) {
        REQUIRE(line() == "recorded");
    }
};

} // namespace

TEST_CASE("a session is written with its members in order") {
    const MCPClientSession session{"8d0f-codex", 4711, "/usr/local/bin/mcp", "codex-mcp-client",
                                   Date(Date::duration(816919895.25))};
    CHECK(encoded(session) == complete);
    CHECK(decoded<MCPClientSession>(complete) == session);
}

TEST_CASE("every member of a session is held to its kind") {
    test::tryMembers<MCPClientSession>(parseJSON(complete), "",
                                       {{"clientID", Kind::text, required},
                                        {"processID", Kind::integer32, required},
                                        {"executablePath", Kind::text, required},
                                        {"clientName", Kind::text, required},
                                        {"initializedAt", Kind::date, required}});
}

TEST_CASE("a process id has 32 bits and a sign") {
    for (const std::int32_t id : {std::numeric_limits<std::int32_t>::max(),
                                  std::numeric_limits<std::int32_t>::min(), -1, 0}) {
        json session = parseJSON(complete);
        session["processID"] = id;
        CHECK(record::decode<MCPClientSession>(session).processID == id);
        CHECK(parseJSON(encoded(record::decode<MCPClientSession>(session))) == session);
    }
}

TEST_CASE("a session lies in the agents directory under its agent's name") {
    const SessionStage stage;
    for (const char* agent : {"codex", "claude-code", "cursor"})
        CHECK(MCPClientSession::url(agent) ==
              stage.root() / "Integrations/Agents" / (std::string(agent) + "-mcp-session.json"));
    CHECK_FALSE(std::filesystem::exists(stage.root()));

    const ScopedEnvironment elsewhere("SORVANE_APP_SUPPORT", "/elsewhere");
    CHECK(MCPClientSession::url("codex") ==
          "/elsewhere/Integrations/Agents/codex-mcp-session.json");
}

TEST_CASE("a process records itself") {
    const SessionStage stage;
    const Date before = ReferenceClock::now();
    stage.record("claude-code");
    const Date after = ReferenceClock::now();

    const MCPClientSession session = stage.session("claude-code");
    CHECK(session.clientID == "client-1");
    CHECK(session.processID == ::getpid());
    CHECK(session.clientName == "an agent's tools");
    CHECK(session.initializedAt >= before);
    CHECK(session.initializedAt <= after);
    CHECK(session.executablePath == executablePath(::getpid())->native());
    CHECK(session.isRunning());
}

TEST_CASE("a session's file is its owner's alone, and the only one") {
    const SessionStage stage;
    test::putFile(stage.file("codex"), "an old session");
    ::chmod(stage.file("codex").c_str(), 0644);
    stage.record("codex");
    struct stat status {};
    REQUIRE(::stat(stage.file("codex").c_str(), &status) == 0);
    CHECK((status.st_mode & 07777) == 0600);
    CHECK(filesBelow(stage.agents()) == 1);
    CHECK(stage.session("codex").processID == ::getpid());
}

TEST_CASE("each agent has a session of its own") {
    const SessionStage stage;
    stage.record("codex");
    stage.record("cursor");
    CHECK(filesBelow(stage.agents()) == 2);
}

TEST_CASE("nothing is recorded while diagnosing") {
    const SessionStage stage;
    const ScopedEnvironment diagnostic("SORVANE_DIAGNOSTIC", "1");
    stage.record("codex");
    CHECK_FALSE(std::filesystem::exists(stage.root()));

    test::putFile(stage.file("codex"), "as it was");
    stage.record("codex");
    CHECK(test::fileContent(stage.file("codex")) == "as it was");
    CHECK(filesBelow(stage.agents()) == 1);
}

TEST_CASE("only an exact 1 is diagnosing") {
    for (const std::string value : {"true", "0", "", "11", "01", "1 ", " 1", "yes"}) {
        CAPTURE(value);
        const SessionStage stage;
        const ScopedEnvironment diagnostic("SORVANE_DIAGNOSTIC", value);
        stage.record("codex");
        CHECK(std::filesystem::exists(stage.file("codex")));
    }
}

TEST_CASE("an agents directory that cannot be written is no failure") {
    const SessionStage stage;
    stage.blockAgents();
    stage.record("codex");
    CHECK(filesBelow(stage.root()) == 1);
}

TEST_CASE("a client name without a text form leaves no file, and no failure") {
    const SessionStage stage;
    MCPClientSession::record({"codex", "client-1", "secret"}, "name \xff");
    CHECK_FALSE(std::filesystem::exists(stage.file("codex")));
}

TEST_CASE("a process started through a symbolic link records its program and is running") {
    const SessionStage stage;
    const auto link = stage.directory() / "server";
    std::filesystem::create_symlink(stage.recorder(), link);
    Recorder process(link, link.native());

    const MCPClientSession session = stage.session("codex");
    CHECK(session.executablePath == stage.recorder());
    CHECK(session.processID == process.id());
    CHECK(session.clientID == "client-1");
    CHECK(session.clientName == "an agent's tools");
    CHECK(session.isRunning());

    process.closeInput();
    process.awaitEnd();
    CHECK_FALSE(session.isRunning()); // not even while nobody has asked for its status
    process.reap();
    CHECK_FALSE(session.isRunning());
}

TEST_CASE("a chain of links in the directories above is followed too") {
    const SessionStage stage;
    std::filesystem::create_directory_symlink(stage.recorder().parent_path(),
                                              stage.directory() / "first");
    std::filesystem::create_directory_symlink("first", stage.directory() / "second");
    const auto program = stage.directory() / "second/./" / stage.recorder().filename();
    const Recorder process(program, program.native());
    CHECK(stage.session("codex").executablePath == stage.recorder());
    CHECK(stage.session("codex").isRunning());
}

TEST_CASE("a process started by a relative path records an absolute one") {
    const SessionStage stage;
    std::filesystem::create_symlink(stage.recorder(), stage.directory() / "server");
    const Recorder process("./server", "./server", stage.directory());
    CHECK(stage.session("codex").executablePath == stage.recorder());
    CHECK(stage.session("codex").isRunning());
}

TEST_CASE("the path under which a process was started is recorded, not the kernel's own") {
    const SessionStage stage;
    test::putFile(stage.directory() / "alias", "");
    const Recorder process(stage.recorder(), "alias", stage.directory());
    const auto directory = resolvedPath(stage.directory());
    CHECK(stage.session("codex").executablePath == directory / "alias");
    CHECK_FALSE(stage.session("codex").isRunning());
}

TEST_CASE("a path that leads nowhere is recorded as far as it leads") {
    const SessionStage stage;
    const Recorder process(stage.recorder(), "no such/server", stage.directory());
    CHECK(stage.session("codex").executablePath ==
          resolvedPath(stage.directory() / "no such/server"));
}

TEST_CASE("a path that is not UTF-8 is recorded and compared with its bytes replaced") {
    const SessionStage stage;
    const std::string name = "bin \xff";
    if (!test::takesName(stage.directory(), name)) {
        MESSAGE("names are UTF-8 here: not tried");
        return;
    }
    const auto directory = stage.directory() / name;
    std::filesystem::create_directory(directory);
    std::filesystem::copy_file(stage.recorder(), directory / "server");
    const Recorder process(directory / "server", (directory / "server").native());
    const auto parent = resolvedPath(stage.directory());
    const auto shown = parent / "bin \xef\xbf\xbd" / "server";
    CHECK(sessionOf(process.id(), shown).isRunning());
    REQUIRE(std::filesystem::exists(stage.file("codex")));
    CHECK(stage.session("codex").executablePath == shown);
    CHECK(stage.session("codex").isRunning());
}

TEST_CASE("the recorded path is compared to the letter") {
    const SessionStage stage;
    const auto own = executablePath(::getpid()).value();
    const auto link = stage.directory() / "link";
    std::filesystem::create_symlink(own, link);
    REQUIRE(sessionOf(::getpid(), own).isRunning());
    for (const std::filesystem::path& other :
         {link, own.parent_path() / "." / own.filename(), std::filesystem::path("/" + own.native()),
          std::filesystem::path(own.native() + "/"), own.parent_path(), own.filename(),
          std::filesystem::path()}) {
        CAPTURE(other.native());
        CHECK_FALSE(sessionOf(::getpid(), other).isRunning());
    }
}

TEST_CASE("an id that no process can have is not running") {
    const auto own = executablePath(::getpid()).value();
    for (const std::int32_t id : {0, -1, -::getpid(), std::numeric_limits<std::int32_t>::min(),
                                  std::numeric_limits<std::int32_t>::max()}) {
        CAPTURE(id);
        CHECK_FALSE(sessionOf(id, own).isRunning());
    }
}

TEST_CASE("an id that belongs to another program by now is not running") {
    const SessionStage stage;
    StartedProcess process("cat", {"cat"});
    process.write("up\n");
    REQUIRE(process.line() == "up");
    const auto cat = executablePath(process.id()).value();
    CHECK(sessionOf(process.id(), cat).isRunning());
    CHECK_FALSE(sessionOf(process.id(), stage.recorder()).isRunning());
}

TEST_CASE("a process that becomes another program is not running any more") {
    StartedProcess process("sh", {"sh", "-c", "echo up; read line; exec cat"});
    REQUIRE(process.line() == "up");
    const MCPClientSession session = sessionOf(process.id(), executablePath(process.id()).value());
    CHECK(session.isRunning());
    process.write("go on\nand answer\n");
    REQUIRE(process.line() == "and answer");
    CHECK_FALSE(session.isRunning());
}

TEST_CASE("a process that this user may not signal is not running") {
    const auto own = executablePath(::getpid()).value();
    const MCPClientSession session = sessionOf(::getpid(), own);
    REQUIRE(session.isRunning());
    if (::geteuid() != 0) {
        MESSAGE("only the administrator can try a process of somebody else; the first one serves");
        CHECK_FALSE(sessionOf(1, "/sbin/init").isRunning());
        return;
    }
    constexpr uid_t nobody = 65534;
    CHECK(test::inForkedChild([&session] {
              return ::setgid(nobody) == 0 && ::setuid(nobody) == 0 && !session.isRunning();
          }) == 0);
}
