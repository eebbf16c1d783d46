#include "tools/doctor/identity_text.h"

#include "support/json.h"

namespace sorvane::doctor {

std::string identityText(const nlohmann::json& identity) {
    if (const auto asset = textMember(identity, "assetID")) return "asset " + std::string(*asset);
    std::string text = "SHA-256 " + std::string(textMember(identity, "sha256").value_or(""));
    const auto width = integerMember(identity, "pixelWidth");
    const auto height = integerMember(identity, "pixelHeight");
    if (const auto hash = textMember(identity, "pixelHash"); hash && width && height)
        text += ", " + std::to_string(*width) + " x " + std::to_string(*height) + " pixels " +
                std::string(*hash);
    return text;
}

} // namespace sorvane::doctor
