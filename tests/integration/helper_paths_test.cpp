#include "integration/helper_paths.h"

#include <filesystem>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <doctest/doctest.h>

#include "support/home_directory.h"
#include "tests/scoped_environment.h"

using namespace sorvane;
using test::ScopedEnvironment;

namespace {

// The two variables that a location depends on; by default the root is set, as in testing mode.
struct Environment {
    ScopedEnvironment testing;
    ScopedEnvironment appSupport;

    explicit Environment(const std::optional<std::string>& mode,
                         const std::optional<std::string>& root = "/tmp/x")
        : testing("SORVANE_TESTING", mode), appSupport("SORVANE_APP_SUPPORT", root) {}
};

std::string usualRoot() {
    return homeDirectory().native() + "/Library/Application Support/Sorvane";
}

} // namespace

TEST_CASE("testing mode is exactly the value 1") {
    for (const std::optional<std::string>& value :
         std::vector<std::optional<std::string>>{std::nullopt, "", "0", "true", "yes", "01", " 1",
                                                 "1 ", "11", "1\n", "1.0", "one", "\uFF11"}) {
        CAPTURE(value.value_or("(not set)"));
        const Environment environment(value);
        CHECK_FALSE(isTesting());
        CHECK(HelperPaths().appSupport.native() == usualRoot());
    }
    const Environment environment("1");
    CHECK(isTesting());
    CHECK(HelperPaths().appSupport.native() == "/tmp/x");
}

TEST_CASE("all locations lie below the root under their names") {
    const Environment environment("1", "/tmp/x");
    const HelperPaths paths;
    CHECK(paths.appSupport.native() == "/tmp/x");
    CHECK(paths.integrations.native() == "/tmp/x/Integrations");
    CHECK(paths.requests.native() == "/tmp/x/Integrations/PairingRequests");
    CHECK(paths.agents.native() == "/tmp/x/Integrations/Agents");
    CHECK(paths.database.native() == "/tmp/x/Database/history.sqlite");
    CHECK(paths.socket.native() == "/tmp/x/Runtime/sorvane.sock");
}

TEST_CASE("without another root in testing mode the usual one serves") {
    const Environment environment("1", std::nullopt);
    const ScopedEnvironment home("HOME", "/elsewhere");
    const HelperPaths paths;
    CHECK(paths.appSupport.native() == usualRoot());
    CHECK(paths.integrations.native() == usualRoot() + "/Integrations");
    CHECK(paths.requests.native() == usualRoot() + "/Integrations/PairingRequests");
    CHECK(paths.agents.native() == usualRoot() + "/Integrations/Agents");
    CHECK(paths.database.native() == usualRoot() + "/Database/history.sqlite");
    CHECK(paths.socket.native() == usualRoot() + "/Runtime/sorvane.sock");
}

TEST_CASE("the root is below the account's home directory whatever the environment says") {
    for (const std::optional<std::string>& home :
         std::vector<std::optional<std::string>>{std::nullopt, "", "/elsewhere"}) {
        const Environment environment(std::nullopt, "/tmp/x");
        const ScopedEnvironment scope("HOME", home);
        CHECK(HelperPaths().appSupport.native() == usualRoot());
    }
}

TEST_CASE("another root is taken exactly as given, and made absolute") {
    const std::string current = std::filesystem::current_path().native();
    struct Row {
        std::string root, appSupport, agents;
    };
    const std::vector<Row> rows = {
        {"/", "/", "/Integrations/Agents"},
        {"/tmp/x/", "/tmp/x/", "/tmp/x/Integrations/Agents"},
        {"/tmp//x/../y", "/tmp//x/../y", "/tmp//x/../y/Integrations/Agents"},
        {"/does not exist", "/does not exist", "/does not exist/Integrations/Agents"},
        {"", current, current + "/Integrations/Agents"},
        {"x", current + "/x", current + "/x/Integrations/Agents"},
        {"./x", current + "/./x", current + "/./x/Integrations/Agents"},
        {"~/x", current + "/~/x", current + "/~/x/Integrations/Agents"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.root);
        const Environment environment("1", row.root);
        const HelperPaths paths;
        CHECK(paths.appSupport.native() == row.appSupport);
        CHECK(paths.agents.native() == row.agents);
        CHECK(paths.socket.is_absolute());
        CHECK(paths.database.is_absolute());
    }
}

TEST_CASE("the environment is read anew at each construction, and never again") {
    const Environment first("1", "/tmp/x");
    const HelperPaths before;
    const Environment second("1", "/tmp/y");
    const HelperPaths after;
    const HelperPaths copy = before;
    CHECK(before.agents.native() == "/tmp/x/Integrations/Agents");
    CHECK(after.agents.native() == "/tmp/y/Integrations/Agents");
    CHECK(copy.agents == before.agents);
    static_assert(!std::is_copy_assignable_v<HelperPaths>);
}

TEST_CASE("an agent's file is its identifier and the suffix as they stand") {
    const Environment environment("1", "/tmp/x");
    const HelperPaths paths;
    CHECK(paths.agentFile("codex", ".json").native() == "/tmp/x/Integrations/Agents/codex.json");
    CHECK(paths.agentFile("codex", "-hook-state.json").native() ==
          "/tmp/x/Integrations/Agents/codex-hook-state.json");
    CHECK(paths.agentFile("custom-9B2F4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c", ".json").native() ==
          "/tmp/x/Integrations/Agents/custom-9B2F4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c.json");
}

TEST_CASE("an identifier that begins with a slash stays below the agents directory") {
    const Environment environment("1", "/tmp/x");
    CHECK(HelperPaths().agentFile("/etc/codex", ".json").native() ==
          "/tmp/x/Integrations/Agents//etc/codex.json");
    CHECK(HelperPaths().agentFile("", "/x").native() == "/tmp/x/Integrations/Agents//x");
}
