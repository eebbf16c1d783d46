#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Graphemes: what a reader takes for one character, Unicode's extended grapheme clusters. A letter
/// with a combining accent is one, and so is a family emoji joined from several people. Texts are
/// UTF-8; text that is only ASCII never reaches the Unicode tables.
namespace sorvane::graphemes {

/// The number of graphemes in a text.
std::size_t count(std::string_view text);

/// The full Unicode lower-case mapping, scalar by scalar, without locale or context.
std::string lowercased(std::string_view text);

/// Appends the same mapping of one scalar that is not ASCII.
void appendLowercased(std::string& text, char32_t scalar);

/// Whether a grapheme ends and another begins between two neighbouring scalars, as far as this pair
/// alone tells: always when one of the two is an ASCII letter or digit.
bool isBoundary(char32_t before, char32_t after);

} // namespace sorvane::graphemes
