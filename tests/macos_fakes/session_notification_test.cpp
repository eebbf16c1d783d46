#include "broker/session_notification.h"

#include <doctest/doctest.h>

#include "tests/macos_fakes/world.h"

using namespace sorvane;
using test::macos::World;

TEST_CASE("a session's change is told at once, with the agent and nothing else") {
    World world;
    postSessionChanged("claude-code");
    REQUIRE(world.notifications.size() == 1);
    CHECK(world.notifications[0].name == "com.sorvane.client-session-changed");
    CHECK(world.notifications[0].object == "claude-code");
    CHECK_FALSE(world.notifications[0].hasUserInfo);
    CHECK(world.notifications[0].immediate);
}

TEST_CASE("a notification that cannot be written is not posted") {
    World world;
    postSessionChanged("\xff");
    world.failing = {"CFStringCreateWithBytes"};
    postSessionChanged("codex");
    CHECK(world.notifications.empty());
}
