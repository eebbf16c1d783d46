#include "tools/doctor/examination.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <system_error>

#include "integration/agent_identifier.h"
#include "tools/doctor/checks.h"

namespace sorvane::doctor {

namespace {

std::set<std::string> registeredAgents(const HelperPaths& paths) {
    std::set<std::string> found;
    std::error_code error;
    for (std::filesystem::directory_iterator file(paths.agents, error), end; !error && file != end;
         file.increment(error))
        if (file->path().extension() == ".json" &&
            AgentIdentifier::isAccepted(file->path().stem().native()))
            found.insert(file->path().stem().native());
    return found;
}

std::set<std::string> configuredAgents(const std::vector<AgentConfiguration>& configurations) {
    std::set<std::string> found;
    for (const AgentConfiguration& configuration : configurations)
        for (const FoundEntry& entry : configuration.entries) {
            if (!configuration.agent.identifier.empty())
                found.insert(std::string(configuration.agent.identifier));
            else if (AgentIdentifier::isAccepted(entry.namedAgent()))
                found.insert(entry.namedAgent());
        }
    return found;
}

// A custom agent is told by the configuration in which it was found.
std::string titleOf(const std::string& agent,
                    const std::vector<AgentConfiguration>& configurations) {
    for (const AgentConfiguration& configuration : configurations)
        if (configuration.agent.identifier.empty())
            for (const FoundEntry& entry : configuration.entries)
                if (entry.namedAgent() == agent)
                    return std::string(configuration.agent.name) + " (" + agent + ")";
    return displayName(agent);
}

void append(std::vector<Finding>& findings, std::vector<Finding> more) {
    findings.insert(findings.end(), std::make_move_iterator(more.begin()),
                    std::make_move_iterator(more.end()));
}

void examineAgent(const std::string& agent, const HelperPaths& paths,
                  const std::vector<AgentConfiguration>& configurations, Report& report) {
    Section section{titleOf(agent, configurations), {}};
    auto [manifest, findings] = checkManifest(paths, agent);
    append(section.findings, std::move(findings));
    if (manifest) {
        auto [finding, secret] = checkCredential(*manifest);
        report.conceal(std::move(secret));
        section.findings.push_back(std::move(finding));
    }
    append(section.findings, checkConfiguration(agent, manifest, configurations));
    section.findings.push_back(checkObservation(agent, manifest));
    section.findings.push_back(checkSession(agent, manifest));
    report.add(section);
}

} // namespace

Report examine(const std::optional<std::string>& agent,
               const std::optional<std::filesystem::path>& workspace) {
    const HelperPaths paths;
    const auto configurations = searchConfigurations(workspace);
    Report report;
    Section application{"Sorvane", {checkRoot(paths), checkSocket(paths)}};
    std::set<std::string> all = registeredAgents(paths);
    all.merge(configuredAgents(configurations));
    if (agent) all = {*agent};
    if (all.empty())
        application.findings.push_back(
            {"agents", Status::failed, "no agent has a manifest or a hook entry",
             "In Sorvane's settings, install the integration into your agent."});
    report.add(application);
    for (const std::string& one : all) examineAgent(one, paths, configurations, report);
    report.add({"Decoders", checkDecoders()});
    return report;
}

} // namespace sorvane::doctor
