#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

namespace sorvane::doctor {

/// What is taken of a decoder's explanation of a picture, in bytes: it has six short lines.
inline constexpr std::size_t maxExplanation = 4096;

/// The reason in such an explanation; empty when it has none.
std::string reasonIn(const std::string& explanation);

/// A file's attachment identity as the hook computes it, under "identity", and what the decoder
/// says of the picture: "format", "width", "height", "orientation", "colour"; "reason" when there
/// is no pixel digest. Throws std::system_error when the file cannot be read.
nlohmann::json explainFile(const std::filesystem::path& file);

/// Why a file whose identity is known has no pixel digest in it. Throws as above.
std::string missingPixelsReason(const std::filesystem::path& file);

} // namespace sorvane::doctor
