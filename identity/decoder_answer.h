#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

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

/// The orientation, by the number that Exif has for it, of a file that states it only after its
/// pixels: whoever has the file has it decoded once more, by a decoder that is told this.
struct LateOrientation {
    /// 1 to 8.
    int number;
};

using DecoderAnswer = std::variant<PixelIdentity, LateOrientation>;

/// The longest line that a decoder answers: a digest, two numbers of at most 8 digits (the budget)
/// after a space each, a line feed.
inline constexpr std::size_t maxDecoderAnswer = Sha256::textLength + 9 + 9 + 1;

/// The line by which a decoder answers: "DIGEST WIDTH HEIGHT\n" or "orientation NUMBER\n"
/// (docs/pixel-digest.md).
std::string decoderAnswer(const DecoderAnswer& answer);

/// What a decoder's line says, which is not trusted: nothing unless it is, to the byte, a digest
/// and a size within the pixel budget, or an orientation.
std::optional<DecoderAnswer> parseDecoderAnswer(std::string_view line);

/// The number of an orientation in one digit; nothing for any other text.
std::optional<LateOrientation> parseLateOrientation(std::string_view digit);

} // namespace sorvane
