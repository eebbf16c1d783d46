#include "tools/doctor/agents.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "integration/agent_identifier.h"
#include "support/json.h"
#include "tests/temporary_directory.h"
#include "tools/doctor/expected_entry.h"
#include "tools/doctor/hook_call.h"
#include "tools/doctor/hook_entries.h"

using namespace sorvane;
using namespace sorvane::doctor;

namespace {

std::string source(const std::string& file) {
    return test::fileContent(std::filesystem::path(SORVANE_SOURCES) / file);
}

std::string seconds(int count) { return std::to_string(count) + " seconds"; }

std::string identifierText(const Agent& agent) {
    return agent.identifier.empty() ? "custom-UUID" : std::string(agent.identifier);
}

std::string fileText(const Agent& agent) {
    const ConfigurationFile& file = agent.files.front();
    std::string name(file.name);
    if (name.starts_with('*')) name.replace(0, 1, "sorvane");
    return "~/" + std::string(file.directory) + '/' + name;
}

std::string timeoutText(const Agent& agent) {
    if (agent.form == EntryForm::plugin)
        return "the plugin's own; " + seconds(*agent.defaultTimeout / 1000);
    const auto unit = [&] {
        switch (agent.timeoutUnit) {
        case TimeoutUnit::seconds:
            return "seconds";
        case TimeoutUnit::milliseconds:
            return "milliseconds";
        case TimeoutUnit::secondsBelowThousand:
            break;
        }
        return "seconds, from 1000 on milliseconds";
    };
    return '`' + std::string(agent.timeoutKey) + "`, " + unit() + "; " +
           (agent.defaultTimeout ? std::to_string(*agent.defaultTimeout) : "not known");
}

std::string attachmentsText(const Agent& agent) {
    switch (agent.attachments) {
    case Attachments::none:
        return "no";
    case Attachments::files:
        return "files";
    case Attachments::digests:
        break;
    }
    return "digests";
}

std::string trustText(const Agent& agent) {
    switch (agent.trust) {
    case Trust::none:
        return "none";
    case Trust::eachHook:
        return "each hook";
    case Trust::theDirectory:
        return "the folder";
    case Trust::notKnown:
        break;
    }
    return "not known";
}

std::string rowOf(const Agent& agent) {
    return "| " + std::string(agent.name) + " | `" + identifierText(agent) + "` | `" +
           fileText(agent) + "` | `" + std::string(agent.event) + "` | " + timeoutText(agent) +
           " | " + attachmentsText(agent) + " | " + trustText(agent) + " |";
}

// The manifest that the entries of the documents are made for.
AgentManifest sampleManifest(const Agent& agent) {
    return {.agent = identifierText(agent),
            .installedAt = Date{},
            .clientID = "ID",
            .credentialHash = "",
            .credentialPath = agent.form == EntryForm::plugin
                                  ? "FILE"
                                  : "/Users/ada/Library/Application Support/FILE",
            .mcpServerName = "",
            .mcpExecutablePath = "",
            .hookExecutablePath = "/usr/local/bin/sorvane-hook",
            .managedEntries = {},
            .backupPaths = {},
            .registrationID = {}};
}

std::vector<nlohmann::json> samplesIn(const std::string& page) {
    const std::string begin = "```json\n";
    std::vector<nlohmann::json> samples;
    for (std::size_t found = page.find(begin); found != page.npos;
         found = page.find(begin, found)) {
        found += begin.size();
        samples.push_back(parseJSON(page.substr(found, page.find("```", found) - found)));
    }
    return samples;
}

} // namespace

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
        CHECK_FALSE(agent.files.front().name.empty());
    }
    CHECK(identifiers == std::set<std::string>{"claude-code", "codex", "cursor"});
}

TEST_CASE("the page of the agents has the table's rows, and no others") {
    std::vector<std::string> expected;
    for (const Agent& agent : agents) expected.push_back(rowOf(agent));
    std::vector<std::string> rows;
    std::istringstream lines(source("docs/agents.md"));
    for (std::string line; std::getline(lines, line) && (rows.empty() || line.starts_with('|'));)
        if (line.starts_with('|')) rows.push_back(line);
    REQUIRE(rows.size() > 2);
    rows.erase(rows.begin(), rows.begin() + 2);
    CHECK(rows == expected);
}

TEST_CASE("the page and the manual name every variable that moves an agent's folder") {
    const std::string page = source("docs/agents.md");
    const std::string manual = source("packaging/man/sorvane-doctor.1");
    for (const Agent& agent : agents)
        for (const ConfigurationFile& file : agent.files) {
            const std::string variable(file.directoryVariable);
            if (variable.empty()) continue;
            CAPTURE(variable);
            CHECK(page.find('`' + variable + '`') != page.npos);
            CHECK(manual.find(".Ev " + variable) != manual.npos);
        }
}

TEST_CASE("the page names the timeouts that are too short") {
    const std::string page = source("docs/agents.md");
    for (const Agent& agent : agents)
        CHECK(page.find("below " + seconds(neededSeconds(agent))) != page.npos);
}

TEST_CASE("the entries of the documents are those that the doctor asks for") {
    std::vector<nlohmann::json> expected;
    for (const Agent& agent : agents)
        if (agent.form != EntryForm::plugin)
            expected.push_back(parseJSON(expectedConfiguration(agent, sampleManifest(agent))));
    const auto samples = samplesIn(source("docs/agents.md"));
    CHECK(std::ranges::is_permutation(samples, expected));
    const auto few = samplesIn(source("README.md"));
    CHECK(few.size() == 2);
    for (const nlohmann::json& sample : few) {
        CAPTURE(sample.dump());
        CHECK(std::ranges::find(samples, sample) != samples.end());
    }
}

TEST_CASE("the plugin holds the line that the doctor reads and asks for") {
    const Agent& agent = agents.back();
    REQUIRE(agent.form == EntryForm::plugin);
    const std::string plugin = source("packaging/opencode/sorvane.js");
    const std::string line = expectedCommand(agent, sampleManifest(agent));
    CHECK(plugin.find('\n' + line + '\n') != plugin.npos);
    const auto read = readHookConfiguration(agent, "sorvane.js", plugin);
    REQUIRE(read.entries.size() == 1);
    CHECK(read.entries.front().event == agent.event);
    const auto call = hookCall(read.entries.front().command, "/home/ada");
    REQUIRE(call);
    CHECK(call->program.text == "/usr/local/bin/sorvane-hook");
    CHECK(call->value("--credential-file")->text == "FILE");
    CHECK(plugin.find("timeout: 30_000") != plugin.npos);
    CHECK(*agent.defaultTimeout == 30'000);
}
