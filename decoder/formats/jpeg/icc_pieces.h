#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "decoder/picture/colour_statement.h"

namespace sorvane::decoder {

/// An ICC profile that a JPEG carries in numbered pieces, which may come in any order.
class IccPieces {
  public:
    /// Takes one piece: its number from 1, the number of pieces, then bytes of the profile. Never
    /// throws, being called from a library written in C: when memory runs out, or the numbers
    /// contradict those of earlier pieces, there will be no profile.
    void add(std::span<const std::uint8_t> piece) noexcept;

    /// The profile, when every piece is there exactly once.
    std::optional<IccProfile> profile() const;

  private:
    std::array<std::optional<std::vector<std::uint8_t>>, 256> pieces_;
    std::size_t expected_ = 0;
    std::size_t received_ = 0;
    bool damaged_ = false;
};

} // namespace sorvane::decoder
