#include "tools/doctor/expected_entry.h"

#include <nlohmann/json.hpp>

#include "support/helper_io.h"
#include "tools/doctor/hook_entries.h"

namespace sorvane::doctor {

namespace {

// Quoted where a shell needs it, for people read these.
std::string shellWord(const std::string& text) {
    const bool plain = !text.empty() &&
                       text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                              "0123456789@%_+=:,./-") == text.npos;
    return plain ? text : HelperIO::shellQuoted(text);
}

} // namespace

std::string expectedCommand(const Agent& agent, const AgentManifest& manifest) {
    if (agent.form == EntryForm::plugin)
        return std::string(pluginLine) + ' ' +
               agentsJSON({manifest.hookExecutablePath, "--agent", manifest.agent, "--client-id",
                           manifest.clientID, "--credential-file", manifest.credentialPath});
    std::string command = shellWord(manifest.hookExecutablePath) + " --agent " +
                          shellWord(manifest.agent) + " --client-id " +
                          shellWord(manifest.clientID) + " --credential-file " +
                          shellWord(manifest.credentialPath);
    if (!agent.commandEnding.empty()) command += ' ' + std::string(agent.commandEnding);
    return command;
}

std::string expectedConfiguration(const Agent& agent, const AgentManifest& manifest) {
    nlohmann::json entry = {{"type", "command"}, {"command", expectedCommand(agent, manifest)}};
    nlohmann::json configuration = nlohmann::json::object();
    if (agent.form == EntryForm::flat) {
        configuration["version"] = 1;
        configuration["hooks"][std::string(agent.event)] = nlohmann::json::array({entry});
    } else {
        // What this agent shows in its list of hooks.
        if (agent.event == "BeforeAgent") entry["name"] = "sorvane";
        const nlohmann::json group = {{"hooks", nlohmann::json::array({entry})}};
        configuration["hooks"][std::string(agent.event)] = nlohmann::json::array({group});
    }
    return agentsJSON(configuration);
}

} // namespace sorvane::doctor
