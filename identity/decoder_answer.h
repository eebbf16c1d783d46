#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/sha256.h"

namespace sorvane {

/// What a picture is recognised by, whatever container its pixels came in.
struct PixelIdentity {
    /// 64 lower-case hexadecimal digits, over the upright pixels.
    std::string digest;
    /// The size as the file declares it, before its orientation is applied.
    std::int64_t width;
    std::int64_t height;
};

/// The longest line that a decoder answers: a digest, two numbers of at most 8 digits (the budget)
/// after a space each, a line feed.
inline constexpr std::size_t maxDecoderAnswer = Sha256::textLength + 9 + 9 + 1;

/// The line by which a decoder answers: "DIGEST WIDTH HEIGHT\n".
std::string decoderAnswer(const PixelIdentity& identity);

/// The identity in a decoder's line, which is not trusted: nothing unless it is, to the byte, a
/// digest and a size within the pixel budget.
std::optional<PixelIdentity> parseDecoderAnswer(std::string_view line);

} // namespace sorvane
