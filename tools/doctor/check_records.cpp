// What the hook and the MCP server last left behind.

#include <cerrno>
#include <cmath>
#include <csignal>
#include <ctime>
#include <exception>
#include <system_error>

#include "broker/mcp_client_session.h"
#include "hook/prompt_hook_observation.h"
#include "support/helper_io.h"
#include "tools/doctor/checks.h"

namespace sorvane::doctor {

namespace {

// The reference clock's beginning, 2001-01-01, in the system's seconds.
constexpr double referenceEpoch = 978'307'200;

// "2026-11-22 02:47:22 UTC"; a moment that no calendar holds as its number.
std::string moment(Date date) {
    const double seconds = date.time_since_epoch().count();
    constexpr double tenThousandYears = 3e11;
    if (!(std::abs(seconds) < tenThousandYears)) return std::to_string(seconds);
    const auto time = static_cast<std::time_t>(std::floor(seconds + referenceEpoch));
    std::tm parts{};
    char text[64];
    if (::gmtime_r(&time, &parts) == nullptr) return std::to_string(seconds);
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts)};
}

struct Meaning {
    std::string_view outcome;
    Status status;
    std::string_view text;
    std::string_view remedy;
};

constexpr Meaning meanings[] = {
    {"matched", Status::ok, "Sorvane named the files of every image", ""},
    {"no-image-identities", Status::ok, "the prompt carried no image that the hook could name", ""},
    {"workspace-unavailable", Status::failed, "the agent did not say in which folder it works",
     "Start the agent in a project's folder and submit the prompt again."},
    {"resolving", Status::failed, "Sorvane was asked and did not answer, or said no",
     "See that the socket above is well, and submit the prompt again."},
    {"no-exact-match", Status::failed, "Sorvane does not hold every image of the prompt",
     "Copy the image again while Sorvane runs, and submit the prompt with that one."},
};

Finding judged(const PromptHookObservation& observation) {
    const std::string when = moment(observation.observedAt) + ", " +
                             std::to_string(observation.attachmentCount) + " attachments, " +
                             std::to_string(observation.referenceCount) + " references, ";
    for (const Meaning& meaning : meanings) {
        if (observation.outcome != meaning.outcome) continue;
        const bool lost =
            observation.outcome == "no-image-identities" && observation.attachmentCount > 0;
        return {"last prompt", lost ? Status::warning : meaning.status,
                when + observation.outcome + ": " + std::string(meaning.text),
                lost ? "Give the agent's event to \"sorvane-doctor event\": it says of each "
                       "attachment why it is not named."
                     : std::string(meaning.remedy)};
    }
    return {"last prompt", Status::unknown, when + observation.outcome + ": no outcome known here"};
}

Finding unreadable(const char* check, const std::exception& failure) {
    return {check, Status::unknown, std::string("its record cannot be read: ") + failure.what()};
}

bool isThere(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::exists(file, error) || error;
}

} // namespace

Finding checkObservation(const std::string& agent, const std::optional<AgentManifest>& manifest) {
    const auto file = PromptHookObservation::url(agent);
    if (!isThere(file))
        return {"last prompt", Status::unknown, "the hook has seen none yet",
                "Submit a prompt to the agent, and look again."};
    try {
        const auto observation = HelperIO::readJSON<PromptHookObservation>(file);
        if (manifest && observation.clientID != manifest->clientID)
            return {"last prompt", Status::unknown,
                    "the last one was that of an earlier installation",
                    "Submit a prompt to the agent, and look again."};
        return judged(observation);
    } catch (const std::exception& failure) {
        return unreadable("last prompt", failure);
    }
}

Finding checkSession(const std::string& agent, const std::optional<AgentManifest>& manifest) {
    const auto file = MCPClientSession::url(agent);
    if (!isThere(file)) return {"MCP session", Status::ok, "none recorded"};
    try {
        const auto session = HelperIO::readJSON<MCPClientSession>(file);
        const std::string process = "process " + std::to_string(session.processID) + ", since " +
                                    moment(session.initializedAt) + ", for " + session.clientName;
        if (!session.isRunning()) {
            const bool lives =
                session.processID > 0 && (::kill(session.processID, 0) == 0 || errno == EPERM);
            return {"MCP session", Status::ok,
                    lives ? "gone; its number is another program's now: " + process
                          : "gone: " + process};
        }
        if (manifest && session.clientID != manifest->clientID)
            return {"MCP session", Status::warning,
                    "running for an earlier installation: " + process,
                    "End the agent and start it again."};
        return {"MCP session", Status::ok, "running: " + process};
    } catch (const std::exception& failure) {
        return unreadable("MCP session", failure);
    }
}

} // namespace sorvane::doctor
