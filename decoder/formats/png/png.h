#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/colour_statement.h"
#include "decoder/picture/picture.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// What the decoder keeps, at most: a row and the one above it, each as wide as the whole budget
/// with four channels of 16 bits; what chunks libpng keeps; and the frame of a turned or interlaced
/// picture.
inline constexpr std::uint64_t pngMemory =
    std::uint64_t{2} * 8 * pixelBudget + 2 * std::uint64_t{2} * maxProfileBytes + maxFrameBytes;

/// PNG in every colour type, depth and interlace; of an animated one the default image. A file that
/// is damaged in anything the picture is made of, down to a missing IEND, is rejected: one that is
/// cut short may have lost its orientation, and is not the file that somebody copied. An
/// orientation after the pixels is told when they have been read, unless there was one before them.
/// An ancillary chunk that fails its checksum counts as absent, and what follows IEND is not read.
/// `file` must outlive the decoder.
std::unique_ptr<Decoder> openPng(ByteSource& file);

} // namespace sorvane::decoder
