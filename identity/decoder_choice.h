#pragma once

#include <optional>
#include <string_view>

namespace sorvane {

/// The program that decodes a file whose first read gave these bytes; nothing when the file is no
/// picture and worth no child, as an empty one never is.
std::optional<std::string_view> decoderFor(std::string_view firstBytes);

} // namespace sorvane
