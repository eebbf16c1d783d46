// What the hook and the MCP server last left behind.

#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "broker/mcp_client_session.h"
#include "hook/prompt_hook_observation.h"
#include "support/helper_io.h"
#include "tools/doctor/checks.h"

namespace sorvane::doctor {

namespace {

// "2026-11-22 02:47:22 UTC"; a moment that no calendar holds as its number.
std::string moment(Date date) {
    const double seconds = date.time_since_epoch().count();
    constexpr double tenThousandYears = 3e11;
    if (!(std::abs(seconds) < tenThousandYears)) return std::to_string(seconds);
    const auto epoch = std::chrono::system_clock::to_time_t(ReferenceClock::epoch);
    const auto time = epoch + static_cast<std::time_t>(std::floor(seconds));
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
    {hookOutcome::matched, Status::ok, "Sorvane named the files of every image", ""},
    {hookOutcome::noImageIdentities, Status::ok,
     "the prompt carried no image that the hook could name", ""},
    {hookOutcome::workspaceUnavailable, Status::failed,
     "the agent did not say in which folder it works",
     "Start the agent in a project's folder and submit the prompt again."},
    {hookOutcome::resolving, Status::failed, "Sorvane was asked and did not answer, or said no",
     "When the socket above is ok, submit the prompt again."},
    {hookOutcome::noExactMatch, Status::failed, "Sorvane does not hold every image of the prompt",
     "Copy the image again while Sorvane runs, and submit the prompt with that one."},
};

std::string counted(std::int64_t count, const std::string& things) {
    return std::to_string(count) + ' ' + things + (count == 1 ? "" : "s");
}

Finding judged(const PromptHookObservation& observation) {
    const std::string when = moment(observation.observedAt) + ", " +
                             counted(observation.attachmentCount, "attachment") + ", " +
                             counted(observation.referenceCount, "reference") + ", ";
    for (const Meaning& meaning : meanings) {
        if (observation.outcome != meaning.outcome) continue;
        const bool lost = observation.outcome == hookOutcome::noImageIdentities &&
                          observation.attachmentCount > 0;
        return {"last prompt", lost ? Status::warning : meaning.status,
                when + observation.outcome + ": " + std::string(meaning.text),
                lost ? "Attach the image once more. If this line stays: put \"tee "
                       "/tmp/event.json |\" before the hook's command in its entry, submit the "
                       "prompt again, and run \"sorvane-doctor event /tmp/event.json\", which says "
                       "of each attachment why it is not named."
                     : std::string(meaning.remedy)};
    }
    return {"last prompt", Status::unknown, when + observation.outcome + ": no outcome known here",
            "Install the hook and the doctor of one release."};
}

// Whoever writes the record replaces it, unless it is no file.
Finding unreadable(const char* check, const std::filesystem::path& file,
                   const std::exception& failure, std::string remedy) {
    std::error_code ignored;
    const bool isFile = std::filesystem::is_regular_file(file, ignored);
    return {check, Status::unknown, std::string("its record cannot be read: ") + failure.what(),
            isFile ? std::move(remedy) : "Remove what is in its record's place.",
            isFile ? "" : "rm -r " + HelperIO::shellQuoted(file.native())};
}

constexpr auto submitAgain = "Submit a prompt to the agent, and look again.";
constexpr auto startAgain = "End the agent and start it again.";

bool isThere(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::exists(file, error) || error;
}

} // namespace

Finding checkObservation(const std::string& agent, const std::optional<AgentManifest>& manifest) {
    const auto file = PromptHookObservation::url(agent);
    if (!isThere(file))
        return {"last prompt", Status::unknown, "the hook has seen none yet", submitAgain};
    try {
        const auto observation = HelperIO::readJSON<PromptHookObservation>(file);
        if (manifest && observation.clientID != manifest->clientID)
            return {"last prompt", Status::unknown,
                    "the last one was that of an earlier installation", submitAgain};
        return judged(observation);
    } catch (const std::exception& failure) {
        return unreadable("last prompt", file, failure, submitAgain);
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
                    "running for an earlier installation: " + process, startAgain};
        return {"MCP session", Status::ok, "running: " + process};
    } catch (const std::exception& failure) {
        return unreadable("MCP session", file, failure, startAgain);
    }
}

} // namespace sorvane::doctor
