#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// References to clipboard images that a user pasted into a prompt as text.
namespace sorvane::ImageReferences {

inline constexpr std::string_view prefix = "sorvane://image/";

/// The references in a prompt, in order of appearance, as they are written, repeated ones repeated:
/// the prefix and exactly 64 hexadecimal digits of either case, not followed by an ASCII letter or
/// digit. One that begins or ends inside a grapheme, for example because a combining mark follows
/// it, does not count. The views last as long as the prompt.
std::vector<std::string_view> inPrompt(std::string_view prompt);

/// The asset digest of one reference, 64 lower-case hexadecimal digits; absent when the text is
/// anything but the prefix and 64 hexadecimal digits.
std::optional<std::string> assetHash(std::string_view reference);

} // namespace sorvane::ImageReferences
