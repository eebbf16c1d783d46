#pragma once

#include <filesystem>

#include <nlohmann/json.hpp>

namespace sorvane::doctor {

/// A file's attachment identity as the hook computes it, under "identity", and what the decoder
/// says of the picture: "format", "width", "height", "orientation", "colour"; "reason" when there
/// is no pixel digest. Throws std::system_error when the file cannot be read.
nlohmann::json explainFile(const std::filesystem::path& file);

} // namespace sorvane::doctor
