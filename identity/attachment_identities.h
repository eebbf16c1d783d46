#pragma once

#include <vector>

#include <nlohmann/json.hpp>

namespace sorvane::SorvaneHook {

/// The identities of the images that a hook event lists under "attachments", in its order: of files
/// by their bytes and pixels ("sha256", and the pixel members when there are any), of records by
/// what they carry ("assetID"; or "sha256" with or without the pixel members). All pictures
/// together are decoded within 20 seconds of the call, since the strictest agent gives its hook 30;
/// what has no pixels by then is known by its bytes alone. Never fails: an element that gives no
/// identity is dropped without a trace.
std::vector<nlohmann::json> attachmentIdentities(const nlohmann::json& event);

} // namespace sorvane::SorvaneHook
