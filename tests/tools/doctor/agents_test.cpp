#include "tools/doctor/agents.h"

#include <set>
#include <string>

#include <doctest/doctest.h>

#include "integration/agent_identifier.h"

using namespace sorvane;
using namespace sorvane::doctor;

TEST_CASE("every built-in agent has one row, and every other row is a custom agent's") {
    std::set<std::string> identifiers;
    std::set<std::string> names;
    for (const Agent& agent : agents) {
        CAPTURE(agent.name);
        if (!agent.identifier.empty()) {
            CHECK(AgentIdentifier::isValid(agent.identifier));
            CHECK(identifiers.insert(std::string(agent.identifier)).second);
        }
        CHECK(names.insert(std::string(agent.name)).second);
        CHECK_FALSE(agent.event.empty());
        CHECK((agent.form == EntryForm::plugin) == agent.files.front().name.empty());
    }
    CHECK(identifiers == std::set<std::string>{"claude-code", "codex", "cursor"});
}
