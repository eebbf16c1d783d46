#include "tools/doctor/hook_command.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "identity/file_identity.h"
#include "integration/helper_paths.h"
#include "support/absolute_path.h"
#include "tools/doctor/checks.h"
#include "tools/doctor/expected_entry.h"

namespace sorvane::doctor {

namespace {

constexpr std::string_view check = "command";

std::string replacement(const Agent& agent, const FoundEntry& found) {
    const std::string file = "In " + found.file.native() + ", replace the ";
    if (agent.form == EntryForm::plugin)
        return file + "line that begins with \"" + std::string(pluginLine) + "\" by this one.";
    return file + "command of the hook's entry by this one.";
}

// The command as it stands in the file: its quotes escaped, so that it can be pasted.
std::string asWritten(const Agent& agent, const AgentManifest& manifest, const FoundEntry& found) {
    std::string command = expectedCommand(agent, manifest);
    if (agent.form == EntryForm::plugin) return command;
    return (found.file.extension() == ".toml" ? "command = " : "\"command\": ") +
           agentsJSON(command);
}

std::string ifItDoesNotRun(std::string remedy) {
    remedy.front() = 'i';
    return "If the hook does not run: " + remedy;
}

/// One look at a command: the first fault that stops the hook, or nothing.
class CommandCheck {
  public:
    CommandCheck(const Agent& agent, const AgentManifest& manifest, const FoundEntry& found)
        : agent_(agent),
          manifest_(manifest),
          found_(found),
          command_(found.entry.command),
          call_(*found.call) {}

    std::optional<Finding> fault() const {
        if (auto found = programFault()) return found;
        if (auto found = optionFault("--agent", manifest_.agent)) return found;
        if (auto found = optionFault("--client-id", manifest_.clientID)) return found;
        if (auto found = credentialFault()) return found;
        return endingFault();
    }

  private:
    Finding failed(std::string text) const {
        return {std::string(check),
                Status::failed,
                std::move(text),
                replacement(agent_, found_),
                "",
                asWritten(agent_, manifest_, found_)};
    }

    Finding unknown(std::string text) const {
        Finding finding = failed(std::move(text));
        finding.status = Status::unknown;
        finding.remedy = ifItDoesNotRun(std::move(finding.remedy));
        return finding;
    }

    // The words from one on as they would stand without the shell's splitting.
    static std::string joined(const ShellWords& words, std::size_t first, std::size_t last) {
        std::string text = words[first].text;
        for (std::size_t index = first + 1; index <= last; ++index) text += ' ' + words[index].text;
        return text;
    }

    std::optional<Finding> programFault() const {
        if (!call_.program.known) return unknown("the program is " + call_.program.text);
        ShellWords words = call_.before;
        words.push_back(call_.program);
        const std::string whole = joined(words, 0, words.size() - 1);
        std::error_code ignored;
        if (words.size() > 1 &&
            (whole == manifest_.hookExecutablePath || std::filesystem::exists(whole, ignored)))
            return failed(
                "the path of the program holds a space and is not quoted: the shell runs " +
                words.front().text);
        const std::string& program = call_.program.text;
        if (program.find('/') == program.npos)
            return unknown("the agent's PATH decides what " + program + " is");
        if (::access(program.c_str(), X_OK) != 0)
            return failed("there is no program " + program + " that may be executed");
        return std::nullopt;
    }

    std::optional<Finding> optionFault(std::string_view option, const std::string& wanted) const {
        const auto value = call_.value(option);
        if (!value) return failed(std::string(option) + " is missing");
        if (!value->known)
            return unknown("only the agent's shell knows what " + std::string(option) + " " +
                           value->text + " is");
        if (value->text == wanted) return std::nullopt;
        return failed(std::string(option) + " is " + value->text + ", and the manifest says " +
                      wanted);
    }

    std::optional<Finding> credentialFault() const {
        auto found = optionFault("--credential-file", manifest_.credentialPath);
        const auto value = call_.value("--credential-file");
        if (!found || !value || !value->known) return found;
        if (splitsCredentialPath(value->text))
            return failed("the path of the credential holds a space and is not quoted: the shell "
                          "hands over " +
                          value->text);
        if (isTesting() && holdsCredential(value->text)) return std::nullopt;
        if (!std::filesystem::path(value->text).is_absolute())
            return failed("--credential-file is " + value->text + ", and must be an absolute path");
        return found;
    }

    // In testing mode the hook takes any file with the right content.
    bool holdsCredential(const std::string& path) const try {
        return HelperIO::sha256(absolutePath(path)) == manifest_.credentialHash;
    } catch (const std::system_error&) {
        return false;
    }

    bool splitsCredentialPath(const std::string& value) const {
        const std::string& path = manifest_.credentialPath;
        return path.starts_with(value + ' ') && command_.find(path) != command_.npos;
    }

    std::optional<Finding> endingFault() const {
        const std::string_view ending = agent_.commandEnding;
        if (command_.find(ending) != command_.npos) return std::nullopt;
        const char operation = ending.front();
        if (command_.find(operation) != command_.npos)
            return unknown("the command goes on in a way of its own after the hook");
        Finding finding = failed("the command lacks its ending " + std::string(ending) +
                                 ", without which " + std::string(agent_.name) +
                                 (ending.starts_with("||") ? " blocks every prompt when the hook "
                                                             "is missing"
                                                           : " does not understand the answer"));
        if (ending.starts_with("||")) finding.status = Status::warning;
        return finding;
    }

    const Agent& agent_;
    const AgentManifest& manifest_;
    const FoundEntry& found_;
    const std::string& command_;
    const HookCall& call_;
};

} // namespace

Finding checkCommand(const Agent& agent, const AgentManifest& manifest, const FoundEntry& found) {
    if (!found.call)
        return {std::string(check),
                Status::unknown,
                "how the command runs the hook cannot be told from its text",
                ifItDoesNotRun(replacement(agent, found)),
                "",
                asWritten(agent, manifest, found)};
    if (auto fault = CommandCheck(agent, manifest, found).fault()) return *fault;
    return {std::string(check), Status::ok, "the shell hands over what the manifest says"};
}

} // namespace sorvane::doctor
