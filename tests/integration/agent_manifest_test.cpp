#include "integration/agent_manifest.h"

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/json.h"

using namespace sorvane;
using nlohmann::json;

namespace {

AgentManifest manifest(std::optional<std::string> registrationID = std::nullopt) {
    return {"codex",
            Date(Date::duration(770000000.5)),
            "client-1",
            std::string(64, 'a'),
            "/credentials/codex",
            "sorvane",
            "/opt/sorvane-mcp",
            "/opt/sorvane-hook",
            {"hooks.UserPromptSubmit", "mcp.sorvane"},
            {"/home/a/config.backup"},
            std::move(registrationID)};
}

std::string textOf(const AgentManifest& value) {
    std::string text;
    record::append(text, value);
    return text;
}

json complete() { return parseJSON(textOf(manifest("r-1"))); }

AgentManifest decoded(const json& value) { return record::decode<AgentManifest>(value); }

const std::vector<std::string> requiredKeys = {
    "agent",         "installedAt",       "clientID",           "credentialHash", "credentialPath",
    "mcpServerName", "mcpExecutablePath", "hookExecutablePath", "managedEntries", "backupPaths"};

} // namespace

static_assert(record::isComplete<AgentManifest>());
static_assert(!std::is_copy_assignable_v<AgentManifest>);

TEST_CASE("a manifest is written with its fields in order") {
    CHECK(textOf(manifest("r-1")) ==
          R"({"agent":"codex","installedAt":770000000.5,"clientID":"client-1",)"
          R"("credentialHash":")" +
              std::string(64, 'a') +
              R"(","credentialPath":"\/credentials\/codex","mcpServerName":"sorvane",)"
              R"("mcpExecutablePath":"\/opt\/sorvane-mcp",)"
              R"("hookExecutablePath":"\/opt\/sorvane-hook",)"
              R"("managedEntries":["hooks.UserPromptSubmit","mcp.sorvane"],)"
              R"("backupPaths":["\/home\/a\/config.backup"],"registrationID":"r-1"})");
}

TEST_CASE("a manifest without a registration has no such key") {
    json without = complete();
    without.erase("registrationID");
    CHECK(decoded(without) == manifest());
    CHECK(textOf(decoded(without)).find("registrationID") == std::string::npos);
    without["registrationID"] = nullptr;
    CHECK(decoded(without) == manifest());
    CHECK(textOf(decoded(without)).find("registrationID") == std::string::npos);
}

TEST_CASE("a manifest that was written is read back the same") {
    CHECK(decoded(complete()) == manifest("r-1"));
    CHECK(decoded(parseJSON(textOf(manifest()))) == manifest());
}

TEST_CASE("lists may be empty") {
    json value = complete();
    value["managedEntries"] = json::array();
    value["backupPaths"] = json::array();
    CHECK(decoded(value).managedEntries.empty());
    CHECK(textOf(decoded(value)).find(R"("managedEntries":[],"backupPaths":[])") !=
          std::string::npos);
}

TEST_CASE("a manifest without one of its required fields is not read") {
    for (const std::string& key : requiredKeys) {
        CAPTURE(key);
        json value = complete();
        value.erase(key);
        CHECK_THROWS_AS(decoded(value), record::DecodingError);
        value[key] = nullptr;
        CHECK_THROWS_AS(decoded(value), record::DecodingError);
    }
}

TEST_CASE("a manifest with a field of another kind is not read") {
    for (const std::string& key : requiredKeys) {
        CAPTURE(key);
        json value = complete();
        for (const json& other : {json(true), json::object(), json::array({1})}) {
            value[key] = other;
            CHECK_THROWS_AS(decoded(value), record::DecodingError);
        }
        value[key] = key == "installedAt" ? json("2025-05-27T12:26:40Z") : json(1);
        CHECK_THROWS_AS(decoded(value), record::DecodingError);
    }
    json value = complete();
    value["registrationID"] = 1;
    CHECK_THROWS_AS(decoded(value), record::DecodingError);
}

TEST_CASE("keys that a manifest does not know are ignored") {
    json value = complete();
    value["colour"] = "red";
    value["Agent"] = 1;
    CHECK(decoded(value) == manifest("r-1"));
}

TEST_CASE("the date may be any number of seconds") {
    json value = complete();
    value["installedAt"] = 0;
    CHECK(decoded(value).installedAt == Date());
    value["installedAt"] = -1.5;
    CHECK(decoded(value).installedAt == Date(Date::duration(-1.5)));
}
