#include "hook/sorvane_hook.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/resource.h>

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
using test::ScopedLimit;
using test::ScopedSignal;
using Words = HookStage::Words;

static_assert(noexcept(SorvaneHook::main({})));

constexpr const char* identityRequired =
    "Sorvane: Invalid arguments: Agent identity is required.\n";

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

TEST_CASE("a prompt without images is let go on, answering the one agent that waits for it") {
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
