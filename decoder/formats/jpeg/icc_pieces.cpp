#include "decoder/formats/jpeg/icc_pieces.h"

#include <new>

namespace sorvane::decoder {

void IccPieces::add(std::span<const std::uint8_t> piece) noexcept {
    constexpr std::size_t numbering = 2;
    if (damaged_) return;
    damaged_ = true;
    if (piece.size() < numbering) return;
    const std::size_t number = piece[0];
    const std::size_t total = piece[1];
    if (number == 0 || number > total || (expected_ != 0 && expected_ != total)) return;
    if (pieces_[number]) return;
    try {
        pieces_[number].emplace(piece.begin() + numbering, piece.end());
    } catch (const std::bad_alloc&) {
        return;
    }
    expected_ = total;
    ++received_;
    damaged_ = false;
}

std::optional<IccProfile> IccPieces::profile() const {
    if (damaged_ || received_ == 0 || received_ != expected_) return std::nullopt;
    IccProfile profile;
    for (const auto& piece : pieces_)
        if (piece) profile.bytes.insert(profile.bytes.end(), piece->begin(), piece->end());
    return profile;
}

} // namespace sorvane::decoder
