#include "decoder/formats/png/png_inflater.h"

#include <array>

#include <isa-l/igzip_lib.h>

namespace sorvane::decoder {

namespace {

// The stream's first byte with the widest window there is, 32 KiB. The library accepts wider ones.
constexpr std::uint8_t widestWindow = 0x78;

} // namespace

PngInflater::PngInflater(PngChunks& chunks)
    : chunks_(chunks), state_(std::make_unique_for_overwrite<inflate_state>()) {
    ::isal_inflate_init(state_.get());
    state_->crc_flag = ISAL_ZLIB;
}

PngInflater::~PngInflater() = default;

bool PngInflater::fill(std::span<std::uint8_t> to) {
    state_->next_out = to.data();
    state_->avail_out = static_cast<std::uint32_t>(to.size());
    // The library looks ahead: it may have more to give even when it has taken all its input.
    do {
        damaged_ = damaged_ || ::isal_inflate(state_.get()) != ISAL_DECOMP_OK;
    } while (!damaged_ && state_->avail_out > 0 && !ended() && feed());
    return !damaged_ && state_->avail_out == 0;
}

bool PngInflater::finish() {
    std::array<std::uint8_t, 4096> beyond;
    while (fill(beyond)) continue;
    return !damaged_ && ended();
}

bool PngInflater::ended() const { return state_->block_state == ISAL_BLOCK_FINISH; }

bool PngInflater::feed() {
    auto piece = chunks_.take();
    while (piece.empty()) {
        if (!chunks_.close() || !chunks_.next() || chunks_.name() != "IDAT") return false;
        piece = chunks_.take();
    }
    if (!begun_ && piece.front() > widestWindow) damaged_ = true;
    begun_ = true;
    // The library's interface is older than `const`; it only reads.
    state_->next_in = const_cast<std::uint8_t*>(piece.data());
    state_->avail_in = static_cast<std::uint32_t>(piece.size());
    return true;
}

} // namespace sorvane::decoder
