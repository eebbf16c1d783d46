#include "hook/sorvane_hook.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/broker/fake_application.h"
#include "tests/hook/hook_stage.h"
#include "tests/pipe.h"
#include "tests/scoped_limit.h"
#include "tests/scoped_signal.h"

namespace sorvane {

namespace {

using nlohmann::json;
using test::agreeing;
using test::agreement;
using test::answering;
using test::Conversation;
using test::FakeApplication;
using test::Finished;
using test::HookStage;
using test::Pipe;
using test::ScopedLimit;
using test::ScopedSignal;
using Words = HookStage::Words;

static_assert(noexcept(SorvaneHook::main({})));

constexpr const char* identityRequired =
    "Sorvane: Invalid arguments: Agent identity is required.\n";
constexpr const char* notReachable =
    "Sorvane: Sorvane is not running or Tandem Link is unavailable.\n";

const std::string hash = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
const std::string upperHash = "ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789";
const std::string lowerHash = "abcdef0123456789abcdef0123456789abcdef0123456789abcdef0123456789";
const std::string reference = "sorvane://image/" + hash;

const json prompt = {{"prompt", "see " + reference}, {"cwd", "/project"}};

json changed(json object, const json& changes) {
    object.update(changes);
    return object;
}

json image(const std::string& path) {
    return {{"relativePath", path}, {"uti", "public.png"}, {"width", 800}, {"height", 600}};
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

json match(const std::vector<json>& images) { return {{"matched", true}, {"images", images}}; }

} // namespace

TEST_CASE(
    "the command line without one of the three options gives the one message and reads nothing") {
    const HookStage stage;
    const Words all = stage.commandLine("codex");
    std::vector<Words> lines = {{}, {"sorvane-hook"}, {""}};
    for (unsigned present = 0; present < 7; ++present) {
        Words words = {"sorvane-hook"};
        for (std::size_t option = 0; option < 3; ++option)
            if ((present >> option & 1U) != 0)
                words.insert(words.end(), {all[1 + 2 * option], all[2 + 2 * option]});
        lines.push_back(words);
    }
    lines.push_back({"sorvane-hook", "--agent", "codex", "--client-id"});
    lines.emplace_back(all.begin(), all.end() - 1);
    lines.emplace_back(all.begin() + 1, all.end());
    lines.push_back({"sorvane-hook", "--agent=codex", "--client-id=c", "--credential-file=f"});
    lines.push_back(
        {"sorvane-hook", "--Agent", "codex", "--client-id", "c", "--credential-file", "f"});
    for (const Words& words : lines) {
        CAPTURE(words);
        const Finished run = HookStage::runWith(words, prompt.dump());
        CHECK(run.error == identityRequired);
        CHECK(run.output.empty());
        CHECK(run.unread == prompt.dump());
    }
    CHECK(stage.outcome("codex") == "none");
}

TEST_CASE("the command line may have its options in any order and other words between them") {
    const HookStage stage;
    const std::string file = stage.credentialFile.native();
    for (const Words& words :
         {Words{"", "--credential-file", file, "--client-id", "client-1", "--agent", "cursor"},
          Words{"x", "--verbose", "--agent", "cursor", "y", "--credential-file", file, "--z",
                "--client-id", "client-1", "--last"},
          Words{"x", "--agent", "cursor", "--client-id", "client-1", "--credential-file", file,
                "--agent", "codex", "--client-id", "other", "--credential-file", "none"}}) {
        CAPTURE(words);
        CHECK(HookStage::runWith(words, "{}").output == "{\"continue\":true}\n");
    }
}

TEST_CASE("the command line takes whatever follows an option for its value") {
    const HookStage stage;
    const Finished run = HookStage::runWith(
        Words{"x", "--agent", "--client-id", "client-1", "--credential-file", "f"}, "{}");
    CHECK(run.error == "Sorvane: Invalid pairing request: Invalid agent identifier.\n");
    CHECK(HookStage::runWith(Words{"x", "--agent", "", "--client-id", "", "--credential-file", ""},
                             "{}")
              .error == "Sorvane: Invalid pairing request: Invalid agent identifier.\n");
}

TEST_CASE("the command line is repaired where it is not UTF-8") {
    const HookStage stage;
    stage.enrol("cursor", "client-\uFFFD\uFFFD");
    Words words = stage.commandLine("cursor");
    words[4] = "client-\xff\xc3";
    CHECK(HookStage::runWith(words, "{}").output == "{\"continue\":true}\n");
    CHECK(stage.observation("cursor")->at("clientID") == "client-\uFFFD\uFFFD");
}

TEST_CASE("a credential that is rejected leaves the input unread and no observation") {
    const HookStage stage;
    Words stranger = stage.commandLine("Cursor");
    Words other = stage.commandLine("cursor");
    other[4] = "client-2";
    Words missing = stage.commandLine("cursor");
    missing[6] = (stage.directory.path() / "missing").native();
    Words changedFile = stage.commandLine("cursor");
    changedFile[6] = (stage.directory.path() / "changed").native();
    test::putFile(changedFile[6], std::string(HookStage::credential) + "\n");
    Words directory = stage.commandLine("cursor");
    directory[6] = stage.directory.path().native();

    const std::string request = "Sorvane: Invalid pairing request: ";
    struct Row {
        Words words;
        std::string text;
    };
    for (const Row& row :
         {Row{stranger, request + "Invalid agent identifier.\n"},
          Row{other, request + "Client identity does not match the managed registration.\n"},
          Row{changedFile, request + "Client credential is invalid.\n"},
          Row{stage.commandLine("claude-code"), "claude-code.json"}, Row{missing, "missing"},
          Row{directory, "Sorvane: "}}) {
        CAPTURE(row.words);
        for (const std::string& event :
             {std::string(), std::string("[]"), std::string("{"), prompt.dump()}) {
            const Finished run = HookStage::runWith(row.words, event);
            CHECK(run.error.find(row.text) != std::string::npos);
            CHECK(run.output.empty());
            CHECK(run.unread == event);
        }
    }
    CHECK(stage.outcome("cursor") == "none");
    CHECK(stage.outcome("claude-code") == "none");
    CHECK(stage.outcome("Cursor") == "none");
}

TEST_CASE(
    "the credential may belong to a custom agent, and to the test agent only in testing mode") {
    const std::string custom = "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c";
    const HookStage stage{custom.c_str(), "test"};
    CHECK(stage.run(custom, "{}").isSilent());
    CHECK(stage.outcome(custom) == "no-image-identities");
    CHECK(stage.run("test", "{}").isSilent());
    CHECK(stage.outcome("test") == "no-image-identities");

    const test::ScopedEnvironment testing("SORVANE_TESTING", "0");
    CHECK(stage.run("test", "{}").error ==
          "Sorvane: Invalid pairing request: Invalid agent identifier.\n");
}

TEST_CASE("an event that is empty or a list ends the run without a trace") {
    const HookStage stage;
    for (const char* agent : {"codex", "cursor"})
        for (const char* event : {"", "[]", "[{}]", " [1, \"x\"] \n", "\xEF\xBB\xBF[]"}) {
            CAPTURE(event);
            const Finished run = stage.run(agent, std::string_view(event));
            CHECK(run.isSilent());
            CHECK(run.unread.empty());
            CHECK(stage.outcome(agent) == "none");
        }
}

TEST_CASE("an event that is no JSON gives the parser's line alone") {
    const HookStage stage;
    const std::string deep(513, '[');
    for (const std::string& event :
         {std::string(" "), std::string("\n"), std::string("{"), std::string("1"),
          std::string("null"), std::string("true"), std::string("\"text\""), std::string("{}x"),
          std::string("{}{}"), std::string("{\"a\":1,}"), std::string("{'a':1}"),
          std::string("{\"prompt\":\"\xff\"}"), std::string("{\"prompt\":\"\\udc00\"}"),
          std::string("{\"a\":\n\n?}"), std::string("\0", 1), std::string("{}\0", 3),
          deep + std::string(513, ']')}) {
        CAPTURE(event);
        for (const char* agent : {"codex", "cursor"}) {
            const Finished run = stage.run(agent, std::string_view(event));
            CHECK(run.output.empty());
            CHECK(run.error.size() > std::string_view("Sorvane: \n").size());
            CHECK(stage.outcome(agent) == "none");
        }
    }
}

TEST_CASE("an event that ends a run early leaves the observation of the run before") {
    const HookStage stage;
    stage.run("codex", "{}");
    for (const char* event : {"", "[]", "{", "1"}) {
        stage.run("codex", std::string_view(event));
        CHECK(stage.outcome("codex") == "no-image-identities");
    }
}

TEST_CASE("an event may begin with a byte-order mark and name a key twice") {
    const HookStage stage;
    CHECK(
        stage.run("cursor", "\xEF\xBB\xBF {\"attachments\":[1],\"attachments\":[1,2]}\n").output ==
        "{\"continue\":true}\n");
    CHECK(stage.observation("cursor")->at("attachmentCount") == 2);
}

TEST_CASE("an event may be larger than any pipe and come in pieces") {
    const HookStage stage;
    const json event = {{"prompt", std::string(3'000'000, 's') + " " + reference}};
    CHECK(stage.submit("codex", event).isSilent());
    CHECK(stage.observation("codex")->at("referenceCount") == 1);
    CHECK(stage.outcome("codex") == "workspace-unavailable");
}

TEST_CASE("an event from a stream that cannot be read is empty") {
    const HookStage stage;
    Pipe output;
    Pipe error;
    HookStage::play(stage.commandLine("cursor"), {-1, output.writer.get(), error.writer.get()});
    CHECK(output.content().empty());
    CHECK(error.content().empty());
    CHECK(stage.outcome("cursor") == "none");
}

TEST_CASE("a prompt without images is let go on, with a word for the one agent that waits for it") {
    const HookStage stage{"codex", "claude-code", "cursor"};
    for (const json& event :
         {json::object(), json{{"prompt", "hello"}, {"cwd", "/project"}},
          json{{"prompt", reference + "0"}}, json{{"prompt", 5}}, json{{"prompt", {reference}}},
          json{{"Prompt", reference}}, json{{"attachments", json::array()}},
          json{{"attachments", {"/no/such/file", 7, json::object()}}},
          json{{"attachments", {{"sha256", hash}}}}}) {
        CAPTURE(event.dump());
        CHECK(stage.submit("cursor", event).output == "{\"continue\":true}\n");
        CHECK(stage.submit("cursor", event).error.empty());
        CHECK(stage.submit("codex", event).isSilent());
        CHECK(stage.submit("claude-code", event).isSilent());
        for (const char* agent : {"cursor", "codex", "claude-code"})
            CHECK(stage.outcome(agent) == "no-image-identities");
    }
}

TEST_CASE("a prompt without images is observed with all attachments, usable or not") {
    const HookStage stage;
    struct Row {
        json attachments;
        int count;
    };
    for (const Row& row :
         {Row{json::array(), 0}, Row{json::array({1, nullptr, "/no/such/file"}), 3},
          Row{json::object({{"a", 1}, {"b", 2}}), 0}, Row{"text", 0}, Row{3, 0}, Row{nullptr, 0}}) {
        CAPTURE(row.attachments.dump());
        stage.submit("codex", {{"attachments", row.attachments}});
        const json observation = *stage.observation("codex");
        CHECK(observation.size() == 5);
        CHECK(observation.at("attachmentCount") == row.count);
        CHECK(observation.at("referenceCount") == 0);
        CHECK(observation.at("clientID") == "client-1");
    }
    stage.run("codex", "{}");
    CHECK(stage.observation("codex")->at("attachmentCount") == 0);
}

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

TEST_CASE("a run in bad surroundings goes on as ever when its observation cannot be written") {
    const HookStage stage;
    test::putFile(stage.observationFile("codex") / "inner", "in the way");
    test::putFile(stage.observationFile("cursor") / "inner", "in the way");
    FakeApplication application(stage.socket, agreeing(match({image("a.png")})));
    CHECK(stage.run("cursor", "{}").output == "{\"continue\":true}\n");
    CHECK(stage.submit("cursor", prompt).output == "{\"continue\":true}\n");
    const Finished run = stage.submit("codex", prompt);
    CHECK(run.output.find("- a.png") != std::string::npos);
    CHECK(run.error.empty());
}

TEST_CASE("a run in bad surroundings goes on as ever when its agents directory has gone for good") {
    for (const char* agent : {"codex", "cursor"}) {
        CAPTURE(agent);
        const HookStage stage;
        const auto integrations = stage.agents.parent_path();
        FakeApplication application(stage.socket, [&](Conversation& client) {
            const json request = client.request();
            std::filesystem::remove_all(integrations);
            test::putFile(integrations, "in the way");
            client.send(agreement(request, match({image("a.png")})).dump() + "\n");
        });
        const Finished run = stage.submit(agent, prompt);
        CHECK(run.error.empty());
        CHECK((agent == std::string("cursor") ? run.output == "{\"continue\":true}\n"
                                              : run.output.find("- a.png") != std::string::npos));
        CHECK(test::fileContent(integrations) == "in the way");
    }
}

TEST_CASE("a run in bad surroundings goes on as ever when the disk is full") {
    const HookStage stage;
    const ScopedSignal deadly(SIGXFSZ, SIG_DFL);
    FakeApplication application(stage.socket, agreeing(match({image("a.png")})));
    Finished run;
    {
        const ScopedLimit fullDisk(RLIMIT_FSIZE, 0);
        run = stage.submit("codex", prompt);
    }
    CHECK(run.output.find("- a.png") != std::string::npos);
    CHECK(run.error.empty());
    CHECK(stage.outcome("codex") == "none");
}

TEST_CASE("a run in bad surroundings ends quietly when nobody reads its streams") {
    const HookStage stage;
    const ScopedSignal deadly(SIGPIPE, SIG_DFL);
    for (const char* event : {"{}", "nonsense"}) {
        CAPTURE(event);
        Pipe input;
        Pipe output;
        Pipe error;
        HookStage::put(input, event);
        input.writer.reset();
        output.reader.reset();
        error.reader.reset();
        HookStage::play(stage.commandLine("cursor"),
                        {input.reader.get(), output.writer.get(), error.writer.get()});
    }
    CHECK(stage.outcome("cursor") == "no-image-identities");
}

TEST_CASE("a run in bad surroundings ends quietly when its streams are closed") {
    const HookStage stage;
    for (const char* event : {"{}", "nonsense"}) {
        Pipe input;
        HookStage::put(input, event);
        input.writer.reset();
        HookStage::play(stage.commandLine("cursor"), {input.reader.get(), -1, -1});
    }
    HookStage::play({"sorvane-hook"}, {-1, -1, -1});
    CHECK(stage.outcome("cursor") == "no-image-identities");
}

TEST_CASE("a run in bad surroundings keeps what it has to say to one stream") {
    const HookStage stage;
    for (const char* agent : {"codex", "cursor"})
        for (const char* event : {"{}", "[]", "{", ""}) {
            const Finished run = stage.run(agent, std::string_view(event));
            CHECK((run.output.empty() || run.error.empty()));
        }
}

} // namespace sorvane
