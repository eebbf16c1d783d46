#pragma once

#include <filesystem>
#include <string_view>

namespace sorvane {

/// The path that a text names: a relative or empty text is made absolute against the current
/// directory; nothing else is changed. No tilde is expanded, no link resolved, nothing normalised.
/// Never fails: without a current directory a relative text stays as it is.
std::filesystem::path absolutePath(std::string_view text);

} // namespace sorvane
