#pragma once

#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What libpng and the decoder keep, at most: libpng's two rows and the decoder's own, each as wide
/// as the whole budget with four channels of 16 bits.
inline constexpr std::uint64_t pngMemory = std::uint64_t{3} * 8 * pixelBudget;

/// PNG in every colour type, depth and interlace; of an animated one the default image. Damage to
/// anything the picture is made of, down to a missing IEND, is an answer of "no picture": a cut
/// file may have lost its orientation, and is not the file that somebody copied. An ancillary chunk
/// that fails its checksum counts as absent, and what follows IEND is not looked at. `file` must
/// outlive the decoder.
std::unique_ptr<Decoder> openPng(ByteSource& file);

/// The same with every pixel read by libpng, which is slower and which the tests take as judge. The
/// answers are the same but for two kinds of damage: compressed data that are not whole behind the
/// last pixel, which libpng does not always look at; and a block whose code has words to spare,
/// which zlib refuses and the faster inflater reads, if all checksums are right.
std::unique_ptr<Decoder> openPngByLibpng(ByteSource& file);

} // namespace sorvane::decoder
