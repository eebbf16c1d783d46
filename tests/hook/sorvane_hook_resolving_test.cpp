#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/broker/fake_application.h"
#include "tests/hook/hook_stage.h"
#include "tests/pipe.h"

// What the hook asks the application, and what becomes of the answer.
namespace sorvane {

namespace {

using nlohmann::json;
using test::agreeing;
using test::agreement;
using test::answering;
using test::Conversation;
using test::FakeApplication;
using test::Finished;
using test::hash;
using test::HookStage;
using test::image;
using test::match;
using test::Pipe;
using test::prompt;
using test::reference;

constexpr const char* notReachable =
    "Sorvane: Sorvane is not running or Tandem Link is unavailable.\n";

const std::string upperHash = "ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789";
const std::string lowerHash = "abcdef0123456789abcdef0123456789abcdef0123456789abcdef0123456789";

json changed(json object, const json& changes) {
    object.update(changes);
    return object;
}

// Until the pipe takes nothing more; gives the number of bytes.
std::size_t fill(const Pipe& pipe) {
    std::size_t length = 0;
    ::fcntl(pipe.writer.get(), F_SETFL, O_NONBLOCK);
    const std::string page(4096, 'f');
    ssize_t count = 0;
    while ((count = ::write(pipe.writer.get(), page.data(), page.size())) > 0)
        length += static_cast<std::size_t>(count);
    ::fcntl(pipe.writer.get(), F_SETFL, 0);
    return length;
}

} // namespace

TEST_CASE("the workspace is unknown without a word, even for the agent that waits for one") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing());
    const std::vector<json> workspaces = {
        json::object(),
        {{"cwd", nullptr}},
        {{"cwd", 5}},
        {{"cwd", json::array({"/project"})}},
        {{"workspace_roots", json::array()}},
        {{"workspace_roots", "/project"}},
        {{"workspace_roots", nullptr}},
        {{"workspace_roots", {{"0", "/project"}}}},
        {{"workspace_roots", json::array({5})}},
        {{"workspace_roots", json::array({"/project", 5})}},
        {{"workspace_roots", json::array({"/project", nullptr})}},
        {{"workspace_roots", json::array({json::array({"/project"})})}},
        {{"cwd", true}, {"workspace_roots", json::array()}},
        {{"CWD", "/project"}},
    };
    for (const json& workspace : workspaces) {
        const json event = changed({{"prompt", reference}, {"attachments", {1, 2}}}, workspace);
        CAPTURE(event.dump());
        for (const char* agent : {"codex", "cursor"}) {
            CHECK(stage.submit(agent, event).isSilent());
            const json observation = *stage.observation(agent);
            CHECK(observation.at("outcome") == "workspace-unavailable");
            CHECK(observation.at("referenceCount") == 1);
            CHECK(observation.at("attachmentCount") == 2);
        }
    }
    CHECK(application.received().empty());
}

TEST_CASE(
    "the workspace is the current directory when that is a text, else the first of the roots") {
    struct Row {
        const char* workspace;
        const char* root;
    };
    for (const Row row :
         {Row{R"({"cwd":"/a"})", "/a"}, Row{R"({"cwd":""})", ""},
          Row{R"({"cwd":"/a","workspace_roots":["/b"]})", "/a"},
          Row{R"({"cwd":"","workspace_roots":["/b"]})", ""},
          Row{R"({"cwd":"/a","workspace_roots":[5]})", "/a"},
          Row{R"({"cwd":null,"workspace_roots":["/b"]})", "/b"},
          Row{R"({"cwd":1,"workspace_roots":["/b","/c"]})", "/b"},
          Row{R"({"workspace_roots":[""]})", ""}, Row{R"({"workspace_roots":["","/c"]})", ""},
          Row{R"({"cwd":"relative/\u00e4"})", "relative/\u00e4"}}) {
        CAPTURE(row.workspace);
        const HookStage stage;
        FakeApplication application(stage.socket, agreeing());
        stage.submit("codex", changed({{"prompt", reference}}, json::parse(row.workspace)));
        CHECK(application.request().at("workspaceRoot") == row.root);
    }
}

TEST_CASE("the question to the application carries who asks, what for and where") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing());
    stage.submit("codex", changed(prompt, {{"conversation_id", "c"},
                                           {"turn_id", "t"},
                                           {"session_id", 5},
                                           {"generation_id", "g"}}));
    json request = application.request();
    CHECK(request.erase("requestID") == 1);
    CHECK(request == json{{"version", 1},
                          {"operation", "resolve"},
                          {"agent", "codex"},
                          {"clientID", "client-1"},
                          {"credential", HookStage::credential},
                          {"attachments", json::array({{{"assetID", hash}}})},
                          {"workspaceRoot", "/project"},
                          {"sessionID", "c"},
                          {"turnID", "t"}});
}

TEST_CASE("the question to the application is about each reference, in order, in lower case") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing());
    stage.submit("codex", {{"prompt", "sorvane://image/" + upperHash + " " + reference + "." +
                                          reference + " " + reference + "0"},
                           {"cwd", "/"}});
    CHECK(application.request().at("attachments") ==
          json::array({{{"assetID", lowerHash}}, {{"assetID", hash}}, {{"assetID", hash}}}));
    CHECK(stage.observation("codex")->at("referenceCount") == 3);
}

TEST_CASE("the question to the application is not about attachments when there are references") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing());
    stage.submit("codex",
                 changed(prompt, {{"attachments",
                                   {stage.credentialFile.native(), {{"sha256", lowerHash}}, 7}}}));
    CHECK(application.request().at("attachments") == json::array({{{"assetID", hash}}}));
    CHECK(stage.observation("codex")->at("attachmentCount") == 3);
    CHECK(stage.observation("codex")->at("referenceCount") == 1);
}

TEST_CASE(
    "the question to the application is about the attachments when the prompt has no references") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing());
    test::putFile(stage.directory.path() / "note", "abc");
    stage.submit("codex", {{"cwd", "/"},
                           {"attachments",
                            {(stage.directory.path() / "note").native(),
                             "/no/such/file",
                             {{"asset_id", upperHash}},
                             {{"sha256", hash}}}}});
    CHECK(application.request().at("attachments") ==
          json::array({{{"sha256", "ba7816bf8f01cfea414140de5dae2223"
                                   "b00361a396177a9cb410ff61f20015ad"}},
                       {{"assetID", lowerHash}},
                       {{"sha256", hash}}}));
    CHECK(stage.observation("codex")->at("attachmentCount") == 4);
    CHECK(stage.observation("codex")->at("referenceCount") == 0);
}

TEST_CASE("the question to the application is observed before it is asked") {
    const HookStage stage;
    std::string during;
    FakeApplication application(stage.socket, [&](Conversation& client) {
        const json request = client.request();
        during = stage.outcome("codex");
        client.send(agreement(request, match({image("a.png")})).dump() + "\n");
    });
    stage.submit("codex", prompt);
    CHECK(application.received().size() == 1);
    CHECK(during == "resolving");
    CHECK(stage.outcome("codex") == "matched");
}

TEST_CASE(
    "the question to the application that nobody hears gives the link's line and stays open") {
    const HookStage stage;
    for (const char* agent : {"codex", "cursor"}) {
        const Finished run = stage.submit(agent, prompt);
        CHECK(run.output.empty());
        CHECK(run.error == notReachable);
        CHECK(stage.outcome(agent) == "resolving");
    }
}

TEST_CASE("the question to the application that is answered badly gives one line and stays open") {
    const std::string members = R"("version":1,"requestID":"$ID")";
    struct Row {
        std::string answer;
        std::string text;
    };
    for (const Row& row :
         {Row{"", "Tandem Link did not respond."},
          Row{"[]", "Sorvane returned an invalid broker response."},
          Row{"{" + members + "}", "Sorvane denied the request."},
          Row{"{" + members + R"(,"error":"Pair \u00e4gain."})", "Pair \u00e4gain."},
          Row{"{" + members + R"(,"error":""})", ""},
          Row{"{" + members + R"(,"error":"a\u0000b"})", std::string("a\0b", 3)}}) {
        CAPTURE(row.answer);
        for (const char* agent : {"codex", "cursor"}) {
            const HookStage stage;
            FakeApplication application(stage.socket, answering(row.answer));
            const Finished run = stage.submit(agent, prompt);
            CHECK(run.error == "Sorvane: " + row.text + "\n");
            CHECK(run.output.empty());
            CHECK(stage.outcome(agent) == "resolving");
        }
    }
}

TEST_CASE(
    "the question to the application that is answered with nonsense gives the parser's line") {
    const HookStage stage;
    FakeApplication application(stage.socket, answering("hello\n"));
    const Finished run = stage.submit("cursor", prompt);
    CHECK(run.output.empty());
    CHECK(run.error.size() > std::string_view("Sorvane: \n").size());
    CHECK(stage.outcome("cursor") == "resolving");
}

TEST_CASE("an exact match tells every agent but one which files to use") {
    const std::string custom = "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c";
    for (const std::string& agent : {std::string("codex"), std::string("claude-code"), custom}) {
        CAPTURE(agent);
        const HookStage stage{agent.c_str()};
        FakeApplication application(stage.socket, agreeing(match({image("in/a.png")})));
        const Finished run = stage.submit(agent, prompt);
        CHECK(run.error.empty());
        CHECK(stage.outcome(agent) == "matched");
        CHECK(run.output.find("in\\/a.png") != std::string::npos);
        CHECK(run.output.find(' ') == run.output.find(" Tandem Link]"));
        CHECK(json::parse(run.output) ==
              json{{"hookSpecificOutput",
                    {{"hookEventName", "UserPromptSubmit"},
                     {"additionalContext",
                      "[Sorvane Tandem Link]\n\nThe image attachments in this prompt map "
                      "exactly to these full-quality local source assets:\n\n"
                      "- in/a.png (800 x 600, public.png, bit-exact)\n\n"
                      "Use these workspace files instead of chat preview images. They were "
                      "copied without resize or recompression."}}}});
    }
}

TEST_CASE("an exact match only lets the agent go on that takes no context") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing(match({image("a.png")})));
    const Finished run = stage.submit("cursor", prompt);
    CHECK(run.output == "{\"continue\":true}\n");
    CHECK(run.error.empty());
    CHECK(stage.outcome("cursor") == "matched");
}

TEST_CASE("an exact match of several images tells of all, in the order of the answer") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing(match({image("b.png"), image("a.png")})));
    const Finished run = stage.submit(
        "codex",
        {{"prompt", reference + " " + reference}, {"cwd", "/"}, {"attachments", {1, 2, 3}}});
    const std::string block =
        json::parse(run.output).at("hookSpecificOutput").at("additionalContext");
    CHECK(block.find("\n\n- b.png (800 x 600, public.png, bit-exact)\n"
                     "- a.png (800 x 600, public.png, bit-exact)\n\n") != std::string::npos);
    const json observation = *stage.observation("codex");
    CHECK(observation.at("outcome") == "matched");
    CHECK(observation.at("referenceCount") == 2);
    CHECK(observation.at("attachmentCount") == 3);
    CHECK(observation.at("clientID") == "client-1");
}

TEST_CASE("an exact match with an image that cannot be described is silent for every agent") {
    json nameless = image("a.png");
    nameless.erase("uti");
    for (const char* agent : {"codex", "cursor"}) {
        const HookStage stage;
        FakeApplication application(stage.socket, agreeing(match({nameless})));
        CHECK(stage.submit(agent, prompt).isSilent());
        CHECK(stage.outcome(agent) == "matched");
    }
}

TEST_CASE("an exact match is observed before it is told") {
    const HookStage stage;
    FakeApplication application(stage.socket, agreeing(match({image("a.png")})));
    for (const char* agent : {"codex", "cursor"}) {
        CAPTURE(agent);
        Pipe input;
        Pipe output;
        HookStage::put(input, prompt.dump());
        input.writer.reset();
        const std::size_t filling = fill(output);
        std::thread run([&] {
            HookStage::play(stage.commandLine(agent),
                            {input.reader.get(), output.writer.get(), -1});
        });
        // As long as nobody reads, the run cannot get beyond telling.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
        while (stage.outcome(agent) != "matched" && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        CHECK(stage.outcome(agent) == "matched");
        std::string taken(filling, '\0');
        CHECK(::read(output.reader.get(), taken.data(), filling) == static_cast<ssize_t>(filling));
        run.join();
        CHECK(output.content().ends_with("}\n"));
    }
}

TEST_CASE("no exact match lets the prompt go on") {
    for (const json& members : {json::object(), json{{"matched", false}}, json{{"matched", true}},
                                match({}), match({image("a"), image("b")}), match({"a.png"}),
                                json{{"matched", "true"}, {"images", json::array({image("a")})}},
                                json{{"matched", 1}, {"images", json::array({image("a")})}}}) {
        CAPTURE(members.dump());
        const HookStage stage;
        FakeApplication application(stage.socket, agreeing(members));
        CHECK(stage.submit("codex", prompt).isSilent());
        CHECK(stage.outcome("codex") == "no-exact-match");
        const Finished run = stage.submit("cursor", prompt);
        CHECK(run.output == "{\"continue\":true}\n");
        CHECK(run.error.empty());
        CHECK(stage.outcome("cursor") == "no-exact-match");
    }
}

} // namespace sorvane
