#include "tools/doctor/codex_trust.h"

#include <string>

#include <doctest/doctest.h>

using namespace sorvane::doctor;

namespace {

const std::string key = "/home/ada/.codex/hooks.json:user_prompt_submit:0:1";

// Three entries and the digests that codex 0.169 itself gives them.
const HookEntry plain{"UserPromptSubmit",        0, 1, "echo toml", std::nullopt, false,
                      {{"command", "echo toml"}}};
const std::string plainHash =
    "sha256:9627fadf8d7a4b92bc0db49b238c3a96dec2f58d44ce4f9f719e62dfdf27988f";
const HookEntry told{"UserPromptSubmit",       0, 1, "echo \xc3\xa9/\"x\"", 30, false,
                     {{"statusMessage", "hi"}}};
const std::string toldHash =
    "sha256:4b287e4eea80c428d6370df86304a3484329c90adf2bee6e6e8bb49de9a98606";

CodexTrust trust(const HookEntry& entry, const nlohmann::json& state) {
    return codexTrust({{key, state}}, "/home/ada/.codex/hooks.json", entry);
}

} // namespace

TEST_CASE("a hook is trusted by the digest that codex gives its entry") {
    CHECK(trust(plain, {{"trusted_hash", plainHash}}) == CodexTrust::trusted);
    CHECK(trust(told, {{"trusted_hash", toldHash}}) == CodexTrust::trusted);
    CHECK(trust(plain, {{"trusted_hash", toldHash}}) == CodexTrust::changed);
}

TEST_CASE("a hook without a digest is not trusted, and one that is switched off does not run") {
    CHECK(trust(plain, nlohmann::json::object()) == CodexTrust::untrusted);
    CHECK(trust(plain, {{"trusted_hash", 1}}) == CodexTrust::untrusted);
    CHECK(trust(plain, "x") == CodexTrust::untrusted);
    CHECK(trust(plain, {{"trusted_hash", plainHash}, {"enabled", false}}) == CodexTrust::disabled);
    CHECK(codexTrust(nlohmann::json::object(), "/x", plain) == CodexTrust::untrusted);
}

TEST_CASE("a timeout of any size has a digest") {
    for (const double timeout : {-1.0, 0.0, 0.5, 1e300}) {
        HookEntry entry = plain;
        entry.timeout = timeout;
        CHECK(trust(entry, {{"trusted_hash", plainHash}}) == CodexTrust::changed);
    }
}
