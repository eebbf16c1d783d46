#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

/// The hook's side of the operation "resolve": what it asks, how it judges the answer, and what it
/// tells the agent. Malformed answers are never errors: they are no match, or nothing to tell.
namespace sorvane::resolveRequest {

/// The fields of the request: the identities in their order, the workspace root, and the session
/// and the turn when the event names them.
nlohmann::json requestFields(std::vector<nlohmann::json> identities, std::string_view workspaceRoot,
                             const nlohmann::json& event);

/// The images of an answer that matches exactly: "matched" is true and "images" lists as many
/// objects as identities were sent. Otherwise null. The result lasts as long as the answer.
const nlohmann::json* exactMatch(const nlohmann::json& answer, std::size_t identityCount);

/// The line that describes one image, or nothing when the entry lacks its path or type.
std::optional<std::string> line(const nlohmann::json& image);

/// The text that tells the agent which local files to use, or nothing when one of the images has no
/// line.
std::optional<std::string> contextBlock(const nlohmann::json& images);

} // namespace sorvane::resolveRequest
