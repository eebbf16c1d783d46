#include "tools/doctor/identity_text.h"

#include "support/json.h"

namespace sorvane::doctor {

std::string text(const nlohmann::json& object, std::string_view key) {
    return std::string(textMember(object, key).value_or(""));
}

std::string identityText(const nlohmann::json& identity) {
    if (const auto asset = textMember(identity, "assetID")) return "asset " + std::string(*asset);
    std::string words = "SHA-256 " + text(identity, "sha256");
    const auto width = integerMember(identity, "pixelWidth");
    const auto height = integerMember(identity, "pixelHeight");
    if (const auto hash = textMember(identity, "pixelHash"); hash && width && height)
        words += ", " + std::to_string(*width) + " x " + std::to_string(*height) + " pixels " +
                 std::string(*hash);
    return words;
}

} // namespace sorvane::doctor
