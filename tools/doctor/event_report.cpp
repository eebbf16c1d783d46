// What the hook would do with an event: said by the hook's own functions, and where they keep
// silent, by looking again.

#include "tools/doctor/event_report.h"

#include <array>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "broker/broker_client.h"
#include "hook/hook_answer.h"
#include "hook/hook_event.h"
#include "hook/image_references.h"
#include "hook/prompt_hook_observation.h"
#include "hook/resolve_request.h"
#include "identity/attachment_identities.h"
#include "integration/agent_manifest.h"
#include "integration/helper_paths.h"
#include "support/absolute_path.h"
#include "support/file_reader.h"
#include "support/helper_io.h"
#include "support/json.h"
#include "support/uuid.h"
#include "tools/doctor/file_explanation.h"
#include "tools/doctor/near_misses.h"

namespace sorvane::doctor {

namespace {

using nlohmann::json;

// Each is looked at by itself, and nobody reads more.
constexpr std::size_t maxAttachments = 1000;

std::string fileFault(std::string_view path) {
    try {
        FileReader reader(absolutePath(path));
        return "the file can be read now, and could not a moment ago";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

// Why an attachment gives no identity.
std::string attachmentFault(const json& attachment) {
    if (attachment.is_string()) return fileFault(attachment.get_ref<const std::string&>());
    if (!attachment.is_object()) return "neither a path nor a record";
    if (const auto path = textMember(attachment, "file_path")) return fileFault(*path);
    if (textMember(attachment, "filePath")) return "\"filePath\" is not read, \"file_path\" is";
    if (textMember(attachment, "asset_id"))
        return "\"asset_id\" is not 64 characters long, and there is no usable \"sha256\"";
    if (textMember(attachment, "sha256")) return "\"sha256\" is not 64 characters long";
    return "no text under \"file_path\", \"asset_id\" or \"sha256\"";
}

// Why an identity has no pixel digest; nothing when it has one or needs none.
std::optional<json> pixelFault(const json& attachment, const json& identity) {
    if (anyMember(identity, "sha256") == nullptr || anyMember(identity, "pixelHash") != nullptr)
        return std::nullopt;
    const auto path = attachment.is_string() ? std::optional(attachment.get<std::string_view>())
                                             : textMember(attachment, "file_path");
    if (!path) return "the record lacks a pixel digest of 64 characters, or its width or height";
    try {
        return missingPixelsReason(absolutePath(*path));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

json attachmentReport(const json& attachment) {
    const auto identities =
        SorvaneHook::attachmentIdentities({{"attachments", json::array({attachment})}});
    if (!identities.empty()) {
        json report = {{"attachment", attachment}, {"identity", identities.front()}};
        if (auto reason = pixelFault(attachment, identities.front())) report["reason"] = *reason;
        return report;
    }
    return {{"attachment", attachment}, {"reason", attachmentFault(attachment)}};
}

json attachmentsReport(const json& event) {
    json reports = json::array();
    const json* attachments = anyMember(event, "attachments");
    if (attachments == nullptr || !attachments->is_array()) return reports;
    if (attachments->size() > maxAttachments)
        throw std::runtime_error("the event has more than " + std::to_string(maxAttachments) +
                                 " attachments");
    for (const json& attachment : *attachments) reports.push_back(attachmentReport(attachment));
    return reports;
}

// Not asked for again: every picture would be decoded twice.
std::vector<json> identitiesOf(const json& attachments) {
    std::vector<json> identities;
    for (const json& report : attachments)
        if (const json* identity = anyMember(report, "identity")) identities.push_back(*identity);
    return identities;
}

json nearMissReports(std::string_view prompt) {
    json reports = json::array();
    for (const NearMiss& miss : nearMisses(prompt))
        reports.push_back({{"text", miss.text}, {"reason", miss.reason}});
    return reports;
}

// A text of the event, and the key it came from.
std::optional<json> keyed(const json& event, const std::array<std::string_view, 2>& keys) {
    for (const std::string_view key : keys)
        if (const auto text = textMember(event, key))
            return std::make_optional<json>({{"key", key}, {"value", *text}});
    return std::nullopt;
}

// A manifest's client, so that the request looks as it would; or a word in its place.
std::string clientID(const std::string& agent) {
    try {
        return HelperIO::readJSON<AgentManifest>(HelperPaths().agentFile(agent, ".json")).clientID;
    } catch (const std::exception&) {
        return "(of the command line)";
    }
}

json request(const std::string& agent, std::vector<json> identities, std::string_view root,
             const json& event) {
    const BrokerIdentity identity{agent, clientID(agent), "(credential)"};
    return brokerRequest(identity, "resolve", Uuid::random().lowerText(),
                         resolveRequest::requestFields(std::move(identities), root, event));
}

// The block for pictures that the application alone could name.
json matchedAnswer(const std::string& agent, std::size_t count) {
    const json image = {{"relativePath", "(path in the workspace)"}, {"uti", "(type)"}};
    const auto block = resolveRequest::contextBlock(json(count, image));
    return hookAnswer::context(agent, block.value_or(""));
}

} // namespace

nlohmann::json eventReport(const nlohmann::json& event, const std::string& agent) {
    const std::string_view prompt = hookEvent::prompt(event);
    const auto references = ImageReferences::inPrompt(prompt);
    json report = {{"agent", agent},
                   {"references", references},
                   {"nearMisses", nearMissReports(prompt)},
                   {"attachments", attachmentsReport(event)},
                   {"attachmentsLookedAt", references.empty()}};
    const auto root = hookEvent::workspaceRoot(event);
    if (root)
        report["workspaceRoot"] = {{"key", textMember(event, "cwd") ? "cwd" : "workspace_roots"},
                                   {"value", *root}};
    if (auto session = keyed(event, hookEvent::sessionKeys)) report["session"] = *session;
    if (auto turn = keyed(event, hookEvent::turnKeys)) report["turn"] = *turn;

    auto identities = references.empty() ? identitiesOf(report["attachments"])
                                         : hookEvent::identities(references, event);
    report["outcome"] = identities.empty() ? hookOutcome::noImageIdentities
                        : root             ? hookOutcome::resolving
                                           : hookOutcome::workspaceUnavailable;
    if (!identities.empty() && root) {
        report["answer"] = matchedAnswer(agent, identities.size());
        report["request"] = request(agent, std::move(identities), *root, event);
    } else if (const auto answer = hookAnswer::continuation(agent); answer && identities.empty()) {
        report["answer"] = *answer;
    }
    return report;
}

} // namespace sorvane::doctor
