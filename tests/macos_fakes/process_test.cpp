// What a process knows of itself and gives its children.

#include <cerrno>

#include <doctest/doctest.h>

#include "identity/decoder_program.h"
#include "support/child_isolation.h"
#include "support/executable_path.h"
#include "tests/macos_fakes/fake_system.h"

using namespace sorvane;
using test::macos::FakeSystem;

TEST_CASE("the kernel's path of a process is asked for in an empty buffer of 4,096 bytes") {
    FakeSystem fake;
    fake.processPath = "/usr/local/bin/agent";
    fake.processPathLength = 20;
    CHECK(executablePath(4711) == "/usr/local/bin/agent");
    CHECK(fake.calls == std::vector<std::string>{"proc_pidpath(4711, 4096)"});
}

TEST_CASE("of the kernel's path counts what the answer says, up to a NUL") {
    FakeSystem fake;
    fake.processPath = "/bin/agent";
    fake.processPathLength = 4;
    CHECK(executablePath(1) == "/bin");
    fake.processPathLength = 100;
    CHECK(executablePath(1) == "/bin/agent");
    fake.processPath = std::string(4096, 'a');
    fake.processPathLength = 4096;
    CHECK(executablePath(1) == std::string(4096, 'a'));
}

TEST_CASE("a process that the kernel does not tell of has no path") {
    FakeSystem fake;
    fake.processPath = "/bin/agent";
    for (const int length : {0, -1}) {
        fake.processPathLength = length;
        CHECK_FALSE(executablePath(1));
    }
}

TEST_CASE("the first argument is what the process was started with") {
    FakeSystem fake;
    CHECK(argv0().empty());
    fake.arguments = {"./agent", "mcp"};
    CHECK(argv0() == "./agent");
}

TEST_CASE("a child gets no descriptor that no action names") {
    posix_spawn_file_actions_t actions;
    REQUIRE(::posix_spawn_file_actions_init(&actions) == 0);
    CHECK(closeOtherDescriptors(actions) == POSIX_SPAWN_CLOEXEC_DEFAULT);
    ::posix_spawn_file_actions_destroy(&actions);
}

TEST_CASE("a descriptor is given its number, and one that has it already is named as inherited") {
    FakeSystem fake;
    posix_spawn_file_actions_t actions;
    REQUIRE(::posix_spawn_file_actions_init(&actions) == 0);
    CHECK(addConnection(actions, 5, 1) == 0);
    CHECK(fake.calls == std::vector<std::string>{"adddup2(5, 1)"});
    CHECK(addConnection(actions, 1, 1) == 0);
    CHECK(fake.calls == std::vector<std::string>{"adddup2(5, 1)", "addinherit(1)"});
    ::posix_spawn_file_actions_destroy(&actions);
}

TEST_CASE("a descriptor that cannot be given its number is told of") {
    FakeSystem fake;
    fake.failing = {"adddup2", "addinherit"};
    posix_spawn_file_actions_t actions;
    REQUIRE(::posix_spawn_file_actions_init(&actions) == 0);
    CHECK(addConnection(actions, 5, 1) == ENOMEM);
    CHECK(addConnection(actions, 1, 1) == ENOMEM);
    ::posix_spawn_file_actions_destroy(&actions);
}

TEST_CASE("whatever is not empty may be a picture") {
    CHECK(decoderProgramFor("x") == "sorvane-pixels");
    CHECK_FALSE(decoderProgramFor(""));
}
