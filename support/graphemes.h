#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text as its readers see it. A grapheme is one of Unicode's extended grapheme clusters: an
/// accented letter written with a combining mark is one, and so is a family joined from several
/// people. Texts are UTF-8; text that is only ASCII never reaches the Unicode tables.
namespace sorvane::graphemes {

/// The number of graphemes in a text.
std::size_t count(std::string_view text);

/// The full Unicode lower-case mapping, scalar by scalar, without locale or context.
std::string lowercased(std::string_view text);

/// Appends that mapping of one scalar which is not ASCII.
void appendLowercased(std::string& text, char32_t scalar);

/// Whether a grapheme ends and another begins between two neighbouring scalars, judged by this pair
/// alone. That is exact when one of the two is an ASCII letter or digit.
bool isBoundary(char32_t before, char32_t after);

} // namespace sorvane::graphemes
