// The agent's own configuration: is the hook there, once, at the right event, with a command that
// the shell splits as it should, with time enough, and may it run.

#include <algorithm>
#include <cstdio>
#include <system_error>

#include "integration/agent_identifier.h"
#include "tools/doctor/checks.h"
#include "tools/doctor/codex_trust.h"
#include "tools/doctor/expected_entry.h"
#include "tools/doctor/hook_command.h"

namespace sorvane::doctor {

namespace {

using Entries = std::vector<const FoundEntry*>;

std::string locationOf(const FoundEntry& found) {
    return found.file.native() + " (" + found.entry.event + ")";
}

bool isCustom(std::string_view agent) { return agent.starts_with("custom-"); }

Entries entriesFor(const std::string& agent, const AgentConfiguration& configuration) {
    Entries entries;
    for (const FoundEntry& found : configuration.entries)
        if (configuration.agent.identifier == agent || found.namedAgent() == agent)
            entries.push_back(&found);
    return entries;
}

// Entries of agents that are registered as custom ones, for none that there can be.
Entries strayEntries(const AgentConfiguration& configuration) {
    Entries entries;
    if (!configuration.agent.identifier.empty()) return entries;
    for (const FoundEntry& found : configuration.entries)
        if (!AgentIdentifier::isValid(found.namedAgent())) entries.push_back(&found);
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
    constexpr auto check = "timeout";
    if (!found.entry.timeout)
        return {check, Status::ok,
                agent.defaultTimeout
                    ? "the agent's own, " + number(secondsOf(agent, *agent.defaultTimeout)) +
                          " seconds"
                    : "the agent's own"};
    const std::string key = '"' + std::string(agent.timeoutKey) + '"';
    const double seconds = secondsOf(agent, *found.entry.timeout);
    const std::string text = key + " in " + locationOf(found) + " gives the hook " +
                             number(seconds) + (seconds == 1 ? " second" : " seconds");
    const int needed = neededSeconds(agent);
    if (seconds >= needed) return {check, Status::ok, text};
    const int wanted = agent.timeoutUnit == TimeoutUnit::milliseconds ? needed * 1000 : needed;
    return {check, Status::failed, text + "; waiting for Sorvane may take " + number(needed),
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
                        " times: " + locationOf(*running_[0]) + " and " + locationOf(*running_[1]),
                    "Keep the first of these entries and take the others out: " + locations() +
                        "."};
        if (running_.size() == 1) return {"hook entry", Status::ok, locationOf(*running_.front())};
        if (!entries_.empty())
            return {"hook entry", Status::failed,
                    "the hook is at another event than a submitted prompt: " +
                        locationOf(*entries_.front()),
                    "In " + entries_.front()->file.native() + ", move the hook's entry from " +
                        entries_.front()->entry.event + " to " + event + "."};
        if (!configuration_.unreadable.empty())
            return {"hook entry",
                    Status::unknown,
                    unreadableText(),
                    "Repair that file, unless " + std::string(configuration_.agent.name) +
                        " reads it as it is, and see that it holds the hook's entry.",
                    "",
                    expected()};
        const std::string file = configuration_.mainFile.native();
        std::error_code ignored;
        return {"hook entry",
                Status::failed,
                "there is no hook entry in " + file,
                std::filesystem::exists(configuration_.mainFile, ignored)
                    ? "Merge this into " + file + ", and keep what is there."
                    : "Write this into a new file " + file + ".",
                "",
                expected()};
    }

    std::string locations() const {
        std::string text = locationOf(*running_.front());
        for (std::size_t index = 1; index < running_.size(); ++index)
            text += " and " + locationOf(*running_[index]);
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
                     locationOf(found),
                 "In " + found.file.native() + ", take \"async\" out of the hook's entry."});
        add(checkTimeout(configuration_.agent, found));
        if (configuration_.agent.trust == Trust::eachHook) add(checkTrust(configuration_, found));
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
    const auto lookAt = [&](const AgentConfiguration& configuration, const Entries& entries) {
        auto found = EntriesCheck(configuration, manifest, entries).findings();
        findings.insert(findings.end(), std::make_move_iterator(found.begin()),
                        std::make_move_iterator(found.end()));
    };
    for (const AgentConfiguration& configuration : configurations) {
        const Entries entries = entriesFor(agent, configuration);
        if (!entries.empty() || configuration.agent.identifier == agent)
            lookAt(configuration, entries);
    }
    if (!findings.empty()) return findings;
    if (isCustom(agent))
        for (const AgentConfiguration& configuration : configurations)
            if (const Entries entries = strayEntries(configuration); !entries.empty())
                lookAt(configuration, entries);
    if (findings.empty())
        findings.push_back({"hook entry", Status::unknown,
                            "no agent whose configuration is known here runs the hook for it",
                            "Look up your agent's entry in share/doc/sorvane-hook/agents.md, below "
                            "/usr or where else sorvane-hook is installed, and write it into the "
                            "agent's configuration."});
    return findings;
}

} // namespace sorvane::doctor
