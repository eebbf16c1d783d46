#include "hook/prompt_hook_observation.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <limits>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/helper_io.h"
#include "tests/scoped_environment.h"
#include "tests/scoped_mask.h"
#include "tests/temporary_directory.h"

namespace sorvane {

namespace {

using nlohmann::json;
using test::ScopedMask;
namespace fs = std::filesystem;

static_assert(noexcept(PromptHookObservation::record(std::string_view(), std::string_view(), 0, 0,
                                                     std::string_view())));

/// A root of the test's own, and what the hook leaves there.
struct Root {
    test::TemporaryDirectory directory;
    test::ScopedEnvironment testing{"SORVANE_TESTING", "1"};
    test::ScopedEnvironment support{"SORVANE_APP_SUPPORT", directory.path().native()};
    fs::path agents = directory.path() / "Integrations/Agents";
    fs::path file = agents / "codex-hook-state.json";

    static void record(std::string_view outcome) {
        PromptHookObservation::record("client-1", "codex", 3, 2, outcome);
    }

    json content() const { return json::parse(test::fileContent(file)); }

    std::size_t filesInAgents() const {
        const fs::directory_iterator files(agents);
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }
};

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    REQUIRE(::stat(path.c_str(), &status) == 0);
    return status.st_mode & 07777;
}

} // namespace

TEST_CASE("an observation lies in the agents directory under the agent's name") {
    const Root root;
    CHECK(PromptHookObservation::url("codex") == root.agents / "codex-hook-state.json");
    CHECK(PromptHookObservation::url("custom-9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C") ==
          root.agents / "custom-9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C-hook-state.json");
    CHECK_FALSE(fs::exists(root.agents));
}

TEST_CASE("an observation lies where the environment of the moment says") {
    const Root first;
    const fs::path before = PromptHookObservation::url("codex");
    const Root second;
    CHECK(PromptHookObservation::url("codex") != before);
    CHECK(PromptHookObservation::url("codex") == second.file);
}

TEST_CASE("an observation holds its five members in their order, compact, without a line feed") {
    const Root root;
    Root::record("matched");
    const std::string text = test::fileContent(root.file);
    const json content = json::parse(text);
    REQUIRE(content.size() == 5);
    CHECK(content.at("clientID") == "client-1");
    CHECK(content.at("observedAt").is_number());
    CHECK(content.at("attachmentCount") == 3);
    CHECK(content.at("referenceCount") == 2);
    CHECK(content.at("outcome") == "matched");
    CHECK(text == R"({"clientID":"client-1","observedAt":)" + content["observedAt"].dump() +
                      R"(,"attachmentCount":3,"referenceCount":2,"outcome":"matched"})");
}

TEST_CASE("an observation holds the moment in seconds since the beginning of 2001") {
    constexpr std::int64_t unixTimeOf2001 = 978'307'200;
    const Root root;
    const auto before = static_cast<double>(std::time(nullptr) - unixTimeOf2001);
    Root::record("matched");
    const auto after = static_cast<double>(std::time(nullptr) - unixTimeOf2001);
    const double observed = root.content().at("observedAt");
    CHECK(observed >= before);
    CHECK(observed < after + 1);
}

TEST_CASE("an observation holds counts and texts of any size and kind") {
    const Root root;
    const std::string client = "a/\"\\\n\x01\u00e4\U0001F600" + std::string(10'000, 'x');
    PromptHookObservation::record(client, "codex", std::numeric_limits<std::int64_t>::max(),
                                  std::numeric_limits<std::int64_t>::min(), "");
    const json content = root.content();
    CHECK(content.at("clientID") == client);
    CHECK(content.at("attachmentCount") == std::numeric_limits<std::int64_t>::max());
    CHECK(content.at("referenceCount") == std::numeric_limits<std::int64_t>::min());
    CHECK(content.at("outcome") == "");
    CHECK(test::fileContent(root.file).find("a\\/") != std::string::npos);
}

TEST_CASE("an observation can be read back as a record") {
    const Root root;
    Root::record("resolving");
    const auto observation = HelperIO::readJSON<PromptHookObservation>(root.file);
    const json content = root.content();
    CHECK(observation == PromptHookObservation{"client-1",
                                               Date(Date::duration(content["observedAt"])), 3, 2,
                                               "resolving"});
}

TEST_CASE("an observation makes its directory and is for its owner only") {
    const ScopedMask open(0);
    const Root root;
    REQUIRE_FALSE(fs::exists(root.directory.path() / "Integrations"));
    Root::record("resolving");
    CHECK(modeOf(root.file) == 0600);
    CHECK(root.filesInAgents() == 1);
}

TEST_CASE("an observation can be written by its owner even where new files cannot") {
    const Root root;
    fs::create_directories(root.agents);
    {
        const ScopedMask closed(0777);
        Root::record("resolving");
    }
    CHECK(modeOf(root.file) == 0600);
}

TEST_CASE("an observation replaces the one before, its mode included") {
    const Root root;
    test::putFile(root.file, std::string(5000, 'x'));
    fs::permissions(root.file, fs::perms(0644));
    Root::record("resolving");
    CHECK(root.content().at("outcome") == "resolving");
    CHECK(modeOf(root.file) == 0600);
    Root::record("matched");
    CHECK(root.content().at("outcome") == "matched");
    CHECK(root.filesInAgents() == 1);
}

TEST_CASE("an observation replaces a symbolic link and leaves what it names alone") {
    const Root root;
    const fs::path other = root.directory.path() / "other";
    test::putFile(other, "kept");
    fs::create_directories(root.agents);
    fs::create_symlink(other, root.file);
    Root::record("matched");
    CHECK(test::fileContent(other) == "kept");
    CHECK_FALSE(fs::is_symlink(root.file));
    CHECK(root.content().at("outcome") == "matched");
}

TEST_CASE("an observation of one agent leaves another's alone") {
    const Root root;
    Root::record("matched");
    PromptHookObservation::record("client-2", "cursor", 0, 0, "no-image-identities");
    CHECK(root.content().at("clientID") == "client-1");
    CHECK(root.filesInAgents() == 2);
}

TEST_CASE("an observation is dropped when the agents directory is a file") {
    const Root root;
    test::putFile(root.agents, "a file");
    Root::record("matched");
    CHECK(test::fileContent(root.agents) == "a file");
}

TEST_CASE("an observation is dropped when the agents directory would lie under a file") {
    const Root root;
    test::putFile(root.directory.path() / "Integrations", "a file");
    Root::record("matched");
    CHECK(test::fileContent(root.directory.path() / "Integrations") == "a file");
}

TEST_CASE("an observation is dropped without a trace when a directory has its name") {
    const Root root;
    test::putFile(root.file / "inner", "kept");
    Root::record("matched");
    CHECK(test::fileContent(root.file / "inner") == "kept");
    CHECK(root.filesInAgents() == 1);
}

TEST_CASE("an observation leaves the one before when a text has no JSON form") {
    const Root root;
    Root::record("resolving");
    PromptHookObservation::record("\xff", "codex", 0, 0, "matched");
    CHECK(root.content().at("outcome") == "resolving");
    CHECK(root.filesInAgents() == 1);
}

TEST_CASE("an observation is dropped when no file may have its name") {
    const Root root;
    PromptHookObservation::record("client-1", std::string(300, 'a'), 0, 0, "matched");
    CHECK(root.filesInAgents() == 0);
}

} // namespace sorvane
