#include "integration/agent_identifier.h"

#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "tests/scoped_environment.h"

using namespace sorvane;
using namespace std::string_view_literals;

TEST_CASE("the built-in agents and custom ones with a UUID are agents") {
    for (const std::string_view identifier : {
             "codex",
             "claude-code",
             "cursor",
             "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
             "custom-9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C",
             "custom-9b2F4c1E-3a7D-4f5B-8c6E-2d1A0f9E8b7C",
             "custom-00000000-0000-0000-0000-000000000000",
         }) {
        CAPTURE(identifier);
        CHECK(AgentIdentifier::isValid(identifier));
    }
}

TEST_CASE("nothing else is an agent") {
    const std::vector<std::string_view> identifiers = {
        "",
        " ",
        "test",
        "Codex",
        "CODEX",
        "codex ",
        " codex",
        "codex\n",
        "codex\0"sv,
        "\0codex"sv,
        "code",
        "codexx",
        "Claude-code",
        "claude_code",
        "claude code",
        "claudecode",
        "claude-Code",
        "claude-code ",
        "claude\u2010code",
        "Cursor",
        "cursor/",
        "curs\u043Er",
        "custom",
        "custom-",
        "custom-abc",
        "custom-codex",
        "custom-9b2f4c1e3a7d4f5b8c6e2d1a0f9e8b7c",
        "Custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "CUSTOM-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "custom_9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "custom9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "custom--9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c0",
        "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7",
        "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7g",
        "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c ",
        "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c\n",
        "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c\0"sv,
        "custom- 9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "custom-{9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c}",
        "custom-urn:uuid:9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c/../codex",
        "custom-../x",
        "custom-../../../../../../../../etc/passwd12",
        "custom-/b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "../codex",
        "./codex",
        "/codex",
        "codex/../codex",
        "..",
        "\xFF",
    };
    for (const std::string_view identifier : identifiers) {
        CAPTURE(identifier);
        CHECK_FALSE(AgentIdentifier::isValid(identifier));
    }
}

TEST_CASE("the agent of tests is accepted in testing mode, and nothing else is accepted then") {
    const test::ScopedEnvironment testing("SORVANE_TESTING", "1");
    CHECK(AgentIdentifier::isAccepted("test"));
    CHECK(AgentIdentifier::isAccepted("codex"));
    CHECK_FALSE(AgentIdentifier::isAccepted("tests"));
    CHECK_FALSE(AgentIdentifier::isValid("test"));
    const test::ScopedEnvironment usual("SORVANE_TESTING", "0");
    CHECK_FALSE(AgentIdentifier::isAccepted("test"));
    CHECK(AgentIdentifier::isAccepted("codex"));
}
