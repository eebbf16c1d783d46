#include "hook/hook_event.h"

#include <algorithm>
#include <string>

#include "hook/image_references.h"
#include "identity/attachment_identities.h"
#include "support/json.h"

namespace sorvane::hookEvent {

std::string_view prompt(const nlohmann::json& event) {
    return textMember(event, "prompt").value_or("");
}

std::vector<nlohmann::json> identities(const std::vector<std::string_view>& references,
                                       const nlohmann::json& event) {
    if (references.empty()) return SorvaneHook::attachmentIdentities(event);
    std::vector<nlohmann::json> identities;
    for (const std::string_view reference : references)
        if (const auto hash = ImageReferences::assetHash(reference))
            identities.push_back({{"assetID", *hash}});
    return identities;
}

std::optional<std::string_view> workspaceRoot(const nlohmann::json& event) {
    if (const auto directory = textMember(event, "cwd")) return directory;
    const nlohmann::json* roots = anyMember(event, "workspace_roots");
    if (roots == nullptr || !roots->is_array() || roots->empty()) return std::nullopt;
    const bool texts = std::all_of(roots->begin(), roots->end(),
                                   [](const nlohmann::json& root) { return root.is_string(); });
    if (!texts) return std::nullopt;
    return roots->front().get_ref<const std::string&>();
}

std::int64_t attachmentCount(const nlohmann::json& event) {
    const nlohmann::json* attachments = anyMember(event, "attachments");
    const bool isList = attachments != nullptr && attachments->is_array();
    return isList ? static_cast<std::int64_t>(attachments->size()) : 0;
}

} // namespace sorvane::hookEvent
