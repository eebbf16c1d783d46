#include "hook/resolve_request.h"

#include <algorithm>
#include <utility>

#include "hook/hook_event.h"
#include "support/json.h"

namespace sorvane::resolveRequest {

namespace {

constexpr std::string_view header =
    "[Sorvane Tandem Link]\n\n"
    "The image attachments in this prompt map exactly to these full-quality local source assets:"
    "\n\n";

constexpr std::string_view footer = "\n\n"
                                    "Use these workspace files instead of chat preview images. "
                                    "They were copied without resize or recompression.";

std::string dimensions(const nlohmann::json& image) {
    const auto width = integerMember(image, "width");
    const auto height = integerMember(image, "height");
    if (!width || !height) return "Unknown dimensions";
    return std::to_string(*width) + " x " + std::to_string(*height);
}

} // namespace

nlohmann::json requestFields(std::vector<nlohmann::json> identities, std::string_view workspaceRoot,
                             const nlohmann::json& event) {
    using hookEvent::sessionKeys, hookEvent::turnKeys;
    nlohmann::json fields = {{"workspaceRoot", workspaceRoot}};
    fields["attachments"] = std::move(identities);
    if (const auto session = textMember(event, sessionKeys[0], sessionKeys[1]))
        fields["sessionID"] = *session;
    if (const auto turn = textMember(event, turnKeys[0], turnKeys[1])) fields["turnID"] = *turn;
    return fields;
}

const nlohmann::json* exactMatch(const nlohmann::json& answer, std::size_t identityCount) {
    const nlohmann::json* matched = anyMember(answer, "matched");
    if (matched == nullptr || *matched != true) return nullptr;
    const nlohmann::json* images = anyMember(answer, "images");
    if (images == nullptr || !images->is_array() || images->size() != identityCount) return nullptr;
    const bool objects = std::all_of(images->begin(), images->end(),
                                     [](const nlohmann::json& image) { return image.is_object(); });
    return objects ? images : nullptr;
}

std::optional<std::string> line(const nlohmann::json& image) {
    const auto path = textMember(image, "relativePath");
    const auto type = textMember(image, "uti");
    if (!path || !type) return std::nullopt;
    return "- " + std::string(*path) + " (" + dimensions(image) + ", " + std::string(*type) +
           ", bit-exact)";
}

std::optional<std::string> contextBlock(const nlohmann::json& images) {
    std::string block(header);
    for (const nlohmann::json& image : images) {
        const auto description = line(image);
        if (!description) return std::nullopt;
        if (block.size() > header.size()) block += '\n';
        block += *description;
    }
    block += footer;
    return block;
}

} // namespace sorvane::resolveRequest
