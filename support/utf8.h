#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sorvane::utf8 {

/// The first scalar of a text.
struct Step {
    char32_t scalar;    ///< the scalar value; U+FFFD when the bytes are not UTF-8
    std::size_t length; ///< bytes taken: 1 to 4, or the longest ill-formed beginning of a sequence
    bool valid;
};

/// Reads the first scalar of a text that is not empty. Overlong forms, surrogates and values above
/// U+10FFFF are not UTF-8.
Step step(std::string_view text);

/// Appends a scalar value in UTF-8.
void append(std::string& text, char32_t scalar);

bool isValid(std::string_view text);

/// The text, repaired, with a question mark for every control character. For messages of the system
/// or of a library that have to fit on one line.
std::string oneLine(std::string_view text);

/// The text with every maximal ill-formed piece replaced by U+FFFD.
std::string repaired(std::string_view text);

} // namespace sorvane::utf8
