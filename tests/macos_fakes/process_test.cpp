// What a process knows of itself and gives its children.

#include <cerrno>

#include <doctest/doctest.h>

#include "identity/decoder_program.h"
#include "support/child_isolation.h"
#include "support/executable_path.h"
#include "tests/macos_fakes/world.h"

using namespace sorvane;
using test::macos::World;

TEST_CASE("the kernel's path of a process is asked for in an empty buffer of 4,096 bytes") {
    World world;
    world.processPath = "/usr/local/bin/agent";
    world.processPathLength = 20;
    CHECK(executablePath(4711) == "/usr/local/bin/agent");
    CHECK(world.calls == std::vector<std::string>{"proc_pidpath(4711, 4096)"});
}

TEST_CASE("of the kernel's path counts what the answer says, up to a NUL") {
    World world;
    world.processPath = "/bin/agent";
    world.processPathLength = 4;
    CHECK(executablePath(1) == "/bin");
    world.processPathLength = 100;
    CHECK(executablePath(1) == "/bin/agent");
    world.processPath = std::string(4096, 'a');
    world.processPathLength = 4096;
    CHECK(executablePath(1) == std::string(4096, 'a'));
}

TEST_CASE("a process that the kernel does not tell of has no path") {
    World world;
    world.processPath = "/bin/agent";
    for (const int length : {0, -1}) {
        world.processPathLength = length;
        CHECK_FALSE(executablePath(1));
    }
}

TEST_CASE("the first argument is what the process was started with") {
    World world;
    CHECK(argv0().empty());
    world.arguments = {"./agent", "mcp"};
    CHECK(argv0() == "./agent");
}

TEST_CASE("a child gets no descriptor that no action names") {
    posix_spawn_file_actions_t actions;
    REQUIRE(::posix_spawn_file_actions_init(&actions) == 0);
    CHECK(closeOtherDescriptors(actions) == POSIX_SPAWN_CLOEXEC_DEFAULT);
    ::posix_spawn_file_actions_destroy(&actions);
}

TEST_CASE("a descriptor is given its number, and one that has it already is named as inherited") {
    World world;
    posix_spawn_file_actions_t actions;
    REQUIRE(::posix_spawn_file_actions_init(&actions) == 0);
    CHECK(addConnection(actions, 5, 1) == 0);
    CHECK(world.calls == std::vector<std::string>{"adddup2(5, 1)"});
    CHECK(addConnection(actions, 1, 1) == 0);
    CHECK(world.calls == std::vector<std::string>{"adddup2(5, 1)", "addinherit(1)"});
    ::posix_spawn_file_actions_destroy(&actions);
}

TEST_CASE("a descriptor that cannot be given its number is told of") {
    World world;
    world.failing = {"adddup2", "addinherit"};
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
