#include "broker/session_notification.h"

#include <doctest/doctest.h>

#include "tests/macos_fakes/fake_system.h"

using namespace sorvane;
using test::macos::FakeSystem;

TEST_CASE("a session's change is told at once, with the agent and nothing else") {
    FakeSystem fake;
    postSessionChanged("claude-code");
    REQUIRE(fake.notifications.size() == 1);
    CHECK(fake.notifications[0].name == "com.sorvane.client-session-changed");
    CHECK(fake.notifications[0].object == "claude-code");
    CHECK_FALSE(fake.notifications[0].hasUserInfo);
    CHECK(fake.notifications[0].immediate);
}

TEST_CASE("a notification that cannot be written is not posted") {
    FakeSystem fake;
    postSessionChanged("\xff");
    fake.failing = {"CFStringCreateWithBytes"};
    postSessionChanged("codex");
    CHECK(fake.notifications.empty());
}
