// The agent's own configuration: is the hook there, once, at the right event, with a command that
// the shell splits as it should, with time enough, and may it run.

#include <algorithm>
#include <cstdio>

#include "integration/agent_identifier.h"
#include "tools/doctor/checks.h"
#include "tools/doctor/codex_trust.h"
#include "tools/doctor/hook_command.h"

namespace sorvane::doctor {

namespace {

// The link waits 2 seconds for the application to take the request and 2 for its answer; decoding
// the pictures of a prompt may take 20 on top of that.
constexpr int linkSeconds = 4;
constexpr int decodingSeconds = 20;

using Entries = std::vector<const FoundEntry*>;

std::string place(const FoundEntry& found) {
    return found.file.native() + " (" + found.entry.event + ")";
}

bool concerns(const FoundEntry& found, std::string_view agent) {
    const auto named = found.call ? found.call->value("--agent") : std::nullopt;
    return named && named->text == agent;
}

Entries entriesFor(const std::string& agent, const AgentConfiguration& configuration) {
    Entries entries;
    for (const FoundEntry& found : configuration.entries)
        if (configuration.agent.identifier == agent || concerns(found, agent))
            entries.push_back(&found);
    return entries;
}

double secondsOf(const Agent& agent, double timeout) {
    const bool inMilliseconds =
        agent.timeoutUnit == TimeoutUnit::milliseconds ||
        (agent.timeoutUnit == TimeoutUnit::secondsBelowThousand && timeout >= 1000);
    return inMilliseconds ? timeout / 1000 : timeout;
}

std::string number(double value) {
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%.15g", value);
    return {text, static_cast<std::size_t>(length)};
}

Finding checkTimeout(const Agent& agent, const FoundEntry& found) {
    const int needed = linkSeconds + (agent.sendsAttachments ? decodingSeconds : 0);
    const std::string key = "\"" + std::string(agent.timeoutKey) + "\"";
    if (!found.entry.timeout)
        return {"time-out", Status::ok,
                agent.defaultTimeout
                    ? "the agent's own, " + number(secondsOf(agent, *agent.defaultTimeout)) +
                          " seconds"
                    : "the agent's own"};
    const double seconds = secondsOf(agent, *found.entry.timeout);
    const std::string text = key + " in " + place(found) + " gives the hook " + number(seconds) +
                             (seconds == 1 ? " second" : " seconds");
    if (seconds >= needed) return {"time-out", Status::ok, text};
    const double wanted = agent.timeoutUnit == TimeoutUnit::milliseconds ? needed * 1000 : needed;
    return {"time-out", Status::failed, text + "; waiting for Sorvane may take " + number(needed),
            "In " + found.file.native() + ", set " + key + " of the hook's entry to " +
                number(wanted) + " or more, or take it out."};
}

Finding checkTrust(const AgentConfiguration& configuration, const FoundEntry& found) {
    const std::string ask = "Start " + std::string(configuration.agent.program) +
                            ", type /hooks, choose UserPromptSubmit, and trust the hook that runs "
                            "sorvane-hook.";
    switch (codexTrust(configuration.states, found.file, found.entry)) {
    case CodexTrust::trusted:
        return {"trust", Status::ok, "the hook is trusted as it stands"};
    case CodexTrust::changed:
        return {"trust", Status::warning,
                "the hook was trusted, but has been changed since, as far as can be told; Codex "
                "does not run it then, and says nothing",
                ask};
    case CodexTrust::disabled:
        return {"trust", Status::failed, "the hook is switched off in Codex",
                "Start codex, type /hooks, choose UserPromptSubmit, and switch the hook on."};
    case CodexTrust::untrusted:
        break;
    }
    return {"trust", Status::failed,
            "the hook is not trusted: Codex does not run it, and says nothing", ask};
}

/// The findings about one agent's entries in one agent's files.
class EntriesCheck {
  public:
    EntriesCheck(const AgentConfiguration& configuration,
                 const std::optional<AgentManifest>& manifest, const Entries& entries)
        : configuration_(configuration), manifest_(manifest), entries_(entries) {}

    std::vector<Finding> findings() {
        std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(running_),
                     [this](const FoundEntry* found) {
                         return found->entry.event == configuration_.agent.event;
                     });
        add(presence());
        for (const FoundEntry* found : running_) lookAt(*found);
        if (configuration_.switchedOffIn)
            add({"hooks", Status::failed,
                 "all hooks are switched off in " + configuration_.switchedOffIn->native(),
                 "In " + configuration_.switchedOffIn->native() +
                     (configuration_.switchedOffIn->extension() == ".toml"
                          ? ", take \"hooks\" out of the table \"features\"."
                          : ", take \"disableAllHooks\" out.")});
        return std::move(findings_);
    }

  private:
    void add(Finding finding) { findings_.push_back(std::move(finding)); }

    std::string expected() const {
        return manifest_ ? expectedConfiguration(configuration_.agent, *manifest_) : "";
    }

    Finding presence() const {
        const std::string event(configuration_.agent.event);
        if (running_.size() > 1)
            return {"hook entry", Status::failed,
                    "the hook is there " + std::to_string(running_.size()) +
                        " times: " + place(*running_[0]) + " and " + place(*running_[1]),
                    "Keep the first of these entries and take the others out: " + places() + "."};
        if (running_.size() == 1) return {"hook entry", Status::ok, place(*running_.front())};
        if (!entries_.empty())
            return {"hook entry", Status::failed,
                    "the hook is at another event than a submitted prompt: " +
                        place(*entries_.front()),
                    "In " + entries_.front()->file.native() + ", move the hook's entry from " +
                        entries_.front()->entry.event + " to " + event + "."};
        if (!configuration_.unreadable.empty())
            return {"hook entry", Status::unknown, unreadableText(),
                    "Look whether the agent itself can read that file."};
        return {"hook entry",
                Status::failed,
                "there is no hook entry in " + configuration_.mainFile.native(),
                "Merge this into " + configuration_.mainFile.native() + ".",
                "",
                expected()};
    }

    std::string places() const {
        std::string text = place(*running_.front());
        for (std::size_t index = 1; index < running_.size(); ++index)
            text += " and " + place(*running_[index]);
        return text;
    }

    std::string unreadableText() const {
        const UnreadableFile& first = configuration_.unreadable.front();
        const std::string name = first.file.native();
        return first.reason.find(name) == std::string::npos ? name + ": " + first.reason
                                                            : first.reason;
    }

    void lookAt(const FoundEntry& found) {
        if (manifest_) add(checkCommand(configuration_.agent, *manifest_, found));
        if (found.entry.inBackground)
            add({"answer", Status::failed,
                 "the agent does not wait for the hook's answer: \"async\" is set in " +
                     place(found),
                 "In " + found.file.native() + ", take \"async\" out of the hook's entry."});
        add(checkTimeout(configuration_.agent, found));
        if (configuration_.agent.mustBeTrusted) add(checkTrust(configuration_, found));
    }

    const AgentConfiguration& configuration_;
    const std::optional<AgentManifest>& manifest_;
    const Entries& entries_;
    Entries running_;
    std::vector<Finding> findings_;
};

} // namespace

std::vector<Finding> checkConfiguration(const std::string& agent,
                                        const std::optional<AgentManifest>& manifest,
                                        const std::vector<AgentConfiguration>& configurations) {
    std::vector<Finding> findings;
    for (const AgentConfiguration& configuration : configurations) {
        const Entries entries = entriesFor(agent, configuration);
        if (entries.empty() && configuration.agent.identifier != agent) continue;
        auto found = EntriesCheck(configuration, manifest, entries).findings();
        findings.insert(findings.end(), std::make_move_iterator(found.begin()),
                        std::make_move_iterator(found.end()));
    }
    if (findings.empty())
        findings.push_back({"hook entry", Status::unknown,
                            "no agent whose configuration is known here runs the hook for it",
                            "Look into the agent's own configuration; docs/agents.md shows the "
                            "entries that are known."});
    return findings;
}

} // namespace sorvane::doctor
