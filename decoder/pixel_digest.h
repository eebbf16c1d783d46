#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "decoder/colour/colour_step.h"
#include "decoder/picture/orientation.h"
#include "decoder/picture/picture.h"
#include "decoder/threaded_sha256.h"

namespace sorvane::decoder {

/// Digests a picture's upright pixels: the SHA-256 over the text "WxH:rgba8-srgb:", with the
/// upright size, and the rows from top to bottom as RGBA, 8 bits a channel, premultiplied. Rows
/// that come in order and need no turning go straight into the digest; every other picture takes
/// one frame of four bytes a pixel, so its size must be within the budget.
class PixelDigest : public PixelSink {
  public:
    PixelDigest(const PictureHeader& header, ColourStep colour);

    void take(const PixelRun& run) override;

    /// 64 lower-case hexadecimal digits; called once, after the last run.
    std::string hex();

  private:
    static constexpr std::size_t blockPixels = ColourStep::blockPixels;

    const std::uint8_t* finished(const std::uint8_t* samples, std::size_t count);
    void stream(const std::uint8_t* samples, std::size_t pixels);
    void streamMirrored(const PixelRun& run);
    void store(const PixelRun& run);

    std::optional<ThreadedSha256> digest_;
    ColourStep colour_;
    Size stored_;
    Orientation orientation_;
    std::size_t frameBytes_ = 0;
    std::unique_ptr<std::uint8_t[]> frame_;
    std::array<std::uint8_t, 4 * blockPixels> block_;
};

} // namespace sorvane::decoder
