#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "identity/pixels/byte_source.h"
#include "identity/pixels/geometry.h"

namespace sorvane::pixels {

/// What a picture is recognised by, whatever container its pixels came in.
struct PixelIdentity {
    /// 64 lower-case hexadecimal digits, over the upright pixels.
    std::string digest;
    /// As the file declares it, before its orientation is applied.
    Size declared;
};

/// The line by which it is told: digest, width and height, with a blank between them.
inline std::string answerLine(const PixelIdentity& identity) {
    return identity.digest + ' ' + std::to_string(identity.declared.width) + ' ' +
           std::to_string(identity.declared.height) + '\n';
}

/// Decodes the file's first picture and digests it. Nothing, perhaps with the file half read: no
/// picture, a damaged one, one over the budget, or one whose colours are not brought to sRGB here.
/// Otherwise the file has been read to its end. Throws for want of memory only.
std::optional<PixelIdentity> pixelIdentity(ByteSource& file);

} // namespace sorvane::pixels
