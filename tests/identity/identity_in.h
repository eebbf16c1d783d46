#pragma once

#include <optional>
#include <variant>

#include "identity/decoder_answer.h"

namespace sorvane::test {

/// The identity in a decoder's answer; nothing when it answers anything else.
inline std::optional<PixelIdentity> identityIn(const std::optional<DecoderAnswer>& answer) {
    const auto* identity = answer ? std::get_if<PixelIdentity>(&*answer) : nullptr;
    return identity != nullptr ? std::optional(*identity) : std::nullopt;
}

} // namespace sorvane::test
