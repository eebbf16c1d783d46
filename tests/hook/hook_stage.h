#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "hook/sorvane_hook.h"
#include "identity/file_identity.h"
#include "tests/pipe.h"
#include "tests/scoped_environment.h"
#include "tests/temporary_directory.h"

namespace sorvane::test {

/// What a run has written, and left unread of its input.
struct Finished {
    std::string output;
    std::string error;
    std::string unread;

    bool isSilent() const { return output.empty() && error.empty(); }
};

inline const std::string hash = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
inline const std::string reference = "sorvane://image/" + hash;

/// An event that asks for the image of that digest.
inline const nlohmann::json prompt = {{"prompt", "see " + reference}, {"cwd", "/project"}};

/// An image as the application's answer describes it, and an answer with some.
inline nlohmann::json image(const std::string& path) {
    return {{"relativePath", path}, {"uti", "public.png"}, {"width", 800}, {"height", 600}};
}
inline nlohmann::json match(const std::vector<nlohmann::json>& images) {
    return {{"matched", true}, {"images", images}};
}

/// An application-support root of the test's own, in testing mode, with agents enrolled in it, and
/// whole runs of the hook played in this process.
class HookStage {
  public:
    using Words = std::vector<std::string>;

    static constexpr const char* clientID = "client-1";
    static constexpr const char* credential = "credential/of the client";

    explicit HookStage(std::initializer_list<const char*> agentNames = {"codex", "cursor"}) {
        putFile(credentialFile, credential);
        for (const char* agent : agentNames) enrol(agent);
    }

    void enrol(const std::string& agent, const std::string& client = clientID) const {
        const nlohmann::json manifest = {
            {"agent", agent},
            {"installedAt", 739'000'000.5},
            {"clientID", client},
            {"credentialHash", HelperIO::sha256(credential)},
            {"credentialPath", credentialFile.native()},
            {"mcpServerName", "sorvane"},
            {"mcpExecutablePath", "/opt/sorvane/mcp"},
            {"hookExecutablePath", "/opt/sorvane/hook"},
            {"managedEntries", nlohmann::json::array()},
            {"backupPaths", nlohmann::json::array()},
        };
        putFile(agents / (agent + ".json"), manifest.dump());
    }

    /// The command line of an enrolled agent.
    Words commandLine(const std::string& agent) const {
        return {"sorvane-hook",         "--agent", agent,
                "--client-id",          clientID,  "--credential-file",
                credentialFile.native()};
    }

    Finished run(const std::string& agent, std::string_view event) const {
        return runWith(commandLine(agent), event);
    }

    Finished submit(const std::string& agent, const nlohmann::json& event) const {
        return run(agent, event.dump());
    }

    /// Plays a run with these process arguments. Checks both output streams.
    static Finished runWith(Words words, std::string_view event) {
        Pipe input;
        Pipe output;
        Pipe error;
        std::thread feeder;
        if (event.size() <= pipeRoom) {
            put(input, event);
            input.writer.reset();
        } else {
            feeder = std::thread([event, writer = std::move(input.writer)]() mutable {
                for (std::size_t at = 0; at < event.size(); at += pipeRoom) {
                    const std::string_view piece = event.substr(at, pipeRoom);
                    if (::write(writer.get(), piece.data(), piece.size()) < 0) break;
                }
                writer.reset();
            });
        }
        play(std::move(words), {input.reader.get(), output.writer.get(), error.writer.get()});
        Finished finished{output.content(), error.content(), input.content()};
        if (feeder.joinable()) feeder.join();
        checkAtMostOneLine(finished.output, "");
        checkAtMostOneLine(finished.error, "Sorvane: ");
        return finished;
    }

    /// Puts what little a pipe takes at once into one.
    static void put(const Pipe& pipe, std::string_view text) {
        if (::write(pipe.writer.get(), text.data(), text.size()) !=
            static_cast<ssize_t>(text.size()))
            throw std::runtime_error("a pipe that takes no more");
    }

    /// Plays a run on streams of the caller's.
    static void play(Words words, SorvaneHook::Streams streams) {
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        SorvaneHook::main(arguments, streams);
    }

    std::filesystem::path observationFile(const std::string& agent) const {
        return agents / (agent + "-hook-state.json");
    }

    std::optional<nlohmann::json> observation(const std::string& agent) const {
        if (!std::filesystem::is_regular_file(observationFile(agent))) return std::nullopt;
        return std::make_optional(nlohmann::json::parse(fileContent(observationFile(agent))));
    }

    /// The outcome that stands in the agent's observation, or "none".
    std::string outcome(const std::string& agent) const {
        const auto content = observation(agent);
        return content ? content->at("outcome").get<std::string>() : "none";
    }

  private:
    static constexpr std::size_t pipeRoom = 4096; // what every system's pipe takes at once

    static void checkAtMostOneLine(const std::string& text, std::string_view beginning) {
        if (text.empty()) return;
        CAPTURE(text);
        CHECK(text.starts_with(beginning));
        CHECK(text.find('\n') == text.size() - 1);
        CHECK(text.find("of the client") == std::string::npos);
    }

  public:
    TemporaryDirectory directory;
    ScopedEnvironment testing{"SORVANE_TESTING", "1"};
    ScopedEnvironment support{"SORVANE_APP_SUPPORT", directory.path().native()};
    std::filesystem::path agents = directory.path() / "Integrations/Agents";
    std::filesystem::path credentialFile = directory.path() / "credential";
    std::filesystem::path socket = directory.path() / "Runtime/sorvane.sock";
};

} // namespace sorvane::test
