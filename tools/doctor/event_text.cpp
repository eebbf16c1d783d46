// The report of an event as lines of text.

#include <string_view>

#include "hook/prompt_hook_observation.h"
#include "support/json.h"
#include "support/utf8.h"
#include "tools/doctor/event_report.h"
#include "tools/doctor/identity_text.h"

namespace sorvane::doctor {

namespace {

using nlohmann::json;

constexpr std::size_t labelWidth = 16;

std::string line(std::string_view label, std::string_view text) {
    std::string result(label);
    result.resize(labelWidth, ' ');
    return result + utf8::oneLine(text) + '\n';
}

std::string attachmentLine(const json& report) {
    const json& attachment = report.at("attachment");
    const auto path = attachment.is_string() ? std::optional(attachment.get<std::string_view>())
                                             : textMember(attachment, "file_path");
    const std::string name = path ? std::string(*path) : jsonText(attachment);
    if (const json* identity = anyMember(report, "identity"))
        return line("attachment", name + ": " + identityText(*identity)) +
               (textMember(report, "reason")
                    ? line("", "no pixel digest: " + text(report, "reason"))
                    : "");
    return line("attachment", name + ": nothing, " + text(report, "reason"));
}

std::string keyedLine(std::string_view label, const json& report, std::string_view member) {
    const json* found = anyMember(report, member);
    if (found == nullptr) return line(label, "none");
    return line(label, text(*found, "value") + " (from \"" + text(*found, "key") + "\")");
}

std::string_view meaning(std::string_view outcome) {
    if (outcome == hookOutcome::noImageIdentities)
        return ": the prompt carries no image that can be named";
    if (outcome == hookOutcome::workspaceUnavailable)
        return ": the event does not say where the agent works";
    return ": Sorvane is asked for the images' files";
}

} // namespace

std::string eventText(const nlohmann::json& report) {
    std::string result = line("agent", text(report, "agent"));
    for (const json& reference : report.at("references"))
        result += line("reference", reference.get<std::string_view>());
    for (const json& miss : report.at("nearMisses"))
        result += line("near miss", text(miss, "text") + ": " + text(miss, "reason"));
    for (const json& attachment : report.at("attachments")) result += attachmentLine(attachment);
    if (report.at("attachmentsLookedAt") == false && !report.at("attachments").empty())
        result += line("", "the attachments are not asked about: the prompt's references are");
    result += keyedLine("workspace root", report, "workspaceRoot");
    result += keyedLine("session", report, "session") + keyedLine("turn", report, "turn");
    const std::string outcome = text(report, "outcome");
    result += line("outcome", outcome + std::string(meaning(outcome)));
    const json* request = anyMember(report, "request");
    result += line("request", request != nullptr ? jsonText(*request) : "none");
    const json* answer = anyMember(report, "answer");
    result += line("answer", answer == nullptr    ? "none"
                             : request == nullptr ? jsonText(*answer)
                                                  : jsonText(*answer) + ", if every image matches");
    return result;
}

} // namespace sorvane::doctor
