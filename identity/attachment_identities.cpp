#include "identity/attachment_identities.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "identity/file_identity.h"
#include "support/absolute_path.h"
#include "support/graphemes.h"
#include "support/json.h"
#include "support/sha256.h"

namespace sorvane::SorvaneHook {

namespace {

using Clock = std::chrono::steady_clock;

// The strictest agent ends its hook after 30 seconds. This leaves it some to digest the files and
// to ask the application.
constexpr std::chrono::seconds decodingTimeout{20};

// Agents write digests in either case, and sometimes something else of that length: only the length
// is checked, in graphemes.
std::optional<std::string> digestMember(const nlohmann::json& record, std::string_view key) {
    const auto text = textMember(record, key);
    if (!text || graphemes::count(*text) != Sha256::textLength) return std::nullopt;
    return graphemes::lowercased(*text);
}

std::optional<nlohmann::json> fileIdentity(std::string_view path, Clock::time_point deadline) {
    try {
        return std::make_optional(HelperIO::attachmentIdentity(absolutePath(path), deadline));
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

std::optional<nlohmann::json> digestIdentity(const nlohmann::json& record) {
    const auto sha256 = digestMember(record, "sha256");
    if (!sha256) return std::nullopt;
    nlohmann::json identity = {{"sha256", *sha256}};
    const bool snakeCase = textMember(record, "pixel_hash").has_value();
    const auto pixelHash = digestMember(record, snakeCase ? "pixel_hash" : "pixelHash");
    const auto width = integerMember(record, "pixel_width", "pixelWidth");
    const auto height = integerMember(record, "pixel_height", "pixelHeight");
    if (pixelHash && width && height) {
        identity["pixelHash"] = *pixelHash;
        identity["pixelWidth"] = *width;
        identity["pixelHeight"] = *height;
    }
    return std::make_optional(std::move(identity));
}

std::optional<nlohmann::json> identity(const nlohmann::json& attachment,
                                       Clock::time_point deadline) {
    if (attachment.is_string())
        return fileIdentity(attachment.get_ref<const std::string&>(), deadline);
    if (!attachment.is_object()) return std::nullopt;
    if (const auto path = textMember(attachment, "file_path")) return fileIdentity(*path, deadline);
    if (const auto assetID = digestMember(attachment, "asset_id"))
        return std::make_optional<nlohmann::json>({{"assetID", *assetID}});
    return digestIdentity(attachment);
}

} // namespace

std::vector<nlohmann::json> attachmentIdentities(const nlohmann::json& event) {
    std::vector<nlohmann::json> identities;
    const nlohmann::json* attachments = anyMember(event, "attachments");
    if (attachments == nullptr || !attachments->is_array()) return identities;
    const Clock::time_point deadline = Clock::now() + decodingTimeout;
    for (const nlohmann::json& attachment : *attachments)
        if (auto one = identity(attachment, deadline)) identities.push_back(std::move(*one));
    return identities;
}

} // namespace sorvane::SorvaneHook
