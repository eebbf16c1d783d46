#include "tools/doctor/event_report.h"

#include <string>

#include <doctest/doctest.h>

#include "support/json.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace sorvane::doctor;
using nlohmann::json;

namespace {

const std::string hash(64, 'a');
const std::string reference = "sorvane://image/" + hash;

} // namespace

TEST_CASE("an event with a reference becomes the request that the hook would send") {
    const json event = {{"prompt", "look at " + reference},
                        {"workspace_roots", {"/projects/a", "/b"}},
                        {"session_id", 7},
                        {"conversation_id", "c1"}};
    const json report = eventReport(event, "codex");
    CHECK(report["outcome"] == "resolving");
    CHECK(report["references"] == json::array({reference}));
    CHECK(report["workspaceRoot"] == json{{"key", "workspace_roots"}, {"value", "/projects/a"}});
    CHECK(report["session"] == json{{"key", "conversation_id"}, {"value", "c1"}});
    CHECK_FALSE(report.contains("turn"));
    const json& request = report["request"];
    CHECK(request["operation"] == "resolve");
    CHECK(request["credential"] == "(credential)");
    CHECK(request["attachments"] == json::array({{{"assetID", hash}}}));
    CHECK(report["answer"]["hookSpecificOutput"]["hookEventName"] == "UserPromptSubmit");
    CHECK(eventReport(event, "cursor")["answer"] == json{{"continue", true}});
}

TEST_CASE("an event without a workspace is not asked about, and without an image neither") {
    const json noRoot = eventReport({{"prompt", reference}}, "cursor");
    CHECK(noRoot["outcome"] == "workspace-unavailable");
    CHECK_FALSE(noRoot.contains("request"));
    CHECK_FALSE(noRoot.contains("answer"));
    const json noImage = eventReport(json::object(), "cursor");
    CHECK(noImage["outcome"] == "no-image-identities");
    CHECK(noImage["answer"] == json{{"continue", true}});
    CHECK_FALSE(eventReport(json::object(), "codex").contains("answer"));
}

TEST_CASE("every attachment has its identity or the reason why it has none") {
    const test::TemporaryDirectory directory;
    test::putFile(directory.path() / "text", "no picture");
    const json event = {{"cwd", "/home/ada/shop"},
                        {"attachments",
                         {(directory.path() / "text").native(),
                          (directory.path() / "none").native(),
                          7,
                          {{"asset_id", "short"}},
                          {{"sha256", "short"}},
                          {{"filePath", "/x"}},
                          json::object(),
                          {{"asset_id", hash}},
                          {{"sha256", hash}}}}};
    const json report = eventReport(event, "codex");
    const json& attachments = report["attachments"];
    REQUIRE(attachments.size() == 9);
    CHECK(attachments[0].contains("identity"));
    CHECK(attachments[0].contains("reason"));
    for (std::size_t index = 1; index < 7; ++index) {
        CAPTURE(index);
        CHECK_FALSE(attachments[index].contains("identity"));
        CHECK_FALSE(attachments[index]["reason"].get<std::string>().empty());
    }
    CHECK(attachments[7]["identity"] == json{{"assetID", hash}});
    CHECK_FALSE(attachments[7].contains("reason"));
    CHECK(attachments[8].contains("reason"));
    CHECK(report["request"]["attachments"].size() == 3);
}

TEST_CASE("the text of a report has a line for every part, and no line of the event's making") {
    const json event = {{"prompt", reference + " sorvane://image/12\n\x1b[2J"}, {"cwd", "/a\nb"}};
    const std::string text = eventText(eventReport(event, "codex"));
    CHECK(text.find('\x1b') == std::string::npos);
    CHECK(text.find("workspace root  /a?b (from \"cwd\")\n") != std::string::npos);
    CHECK(text.find("near miss       sorvane://image/12: 2 hexadecimal digits") !=
          std::string::npos);
}
