#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "decoder/picture/colour_statement.h"
#include "decoder/picture/geometry.h"
#include "decoder/picture/orientation.h"

namespace sorvane::decoder {

/// The channels of a sample row, interleaved; alpha is straight, never premultiplied, and inks are
/// counted from 0 (none) to full.
enum class Channels : std::uint8_t { grey, greyAlpha, rgb, rgba, cmyk };

constexpr std::size_t channelCount(Channels channels) {
    switch (channels) {
    case Channels::grey:
        return 1;
    case Channels::greyAlpha:
        return 2;
    case Channels::rgb:
        return 3;
    case Channels::rgba:
    case Channels::cmyk:
        break;
    }
    return 4;
}
constexpr Channels channelsOf(bool coloured, bool alpha) {
    if (coloured) return alpha ? Channels::rgba : Channels::rgb;
    return alpha ? Channels::greyAlpha : Channels::grey;
}
constexpr bool isGrey(Channels channels) {
    return channels == Channels::grey || channels == Channels::greyAlpha;
}
constexpr bool hasAlpha(Channels channels) {
    return channels == Channels::greyAlpha || channels == Channels::rgba;
}

/// What one sample row holds. Low depths are scaled to 8 bits and palettes are looked up by the
/// decoder; 16-bit samples keep all their bits until the colours are right, in the machine's order.
struct SampleFormat {
    Channels channels = Channels::rgb;
    bool sixteenBits = false;

    std::size_t pixelBytes() const { return channelCount(channels) * (sixteenBits ? 2 : 1); }
};

/// What a file says before its first pixel.
struct PictureHeader {
    /// As stored, before the orientation.
    Size size;
    /// The size that the file declares, where another one is handed over.
    std::optional<Size> declared;
    Orientation orientation = Orientation::upright;
    SampleFormat samples;
    /// True when the runs come as whole rows from top to bottom.
    bool rowsInOrder = true;
    ColourStatements colour;
};

/// Pixels of the stored picture: `rows` rows of `count` pixels each, row after row in `samples`.
/// Pixel i of row j lies in column `firstColumn` + i * `columnStep` of row `row` + j * `rowStep`.
struct PixelRun {
    std::uint32_t row = 0;
    std::uint32_t firstColumn = 0;
    std::uint32_t columnStep = 1;
    std::uint32_t count = 0;
    const std::uint8_t* samples = nullptr;
    /// More than one for a very narrow picture, where a call for each row would take longer than
    /// the pixels.
    std::uint32_t rows = 1;
    std::uint32_t rowStep = 1;

    static constexpr PixelRun wholeRow(std::uint32_t row, std::uint32_t width,
                                       const std::uint8_t* samples) {
        return wholeRows(row, 1, width, samples);
    }
    static constexpr PixelRun wholeRows(std::uint32_t row, std::uint32_t rows, std::uint32_t width,
                                        const std::uint8_t* samples) {
        return {row, 0, 1, width, samples, rows};
    }
};

/// Takes a picture's pixels.
class PixelSink {
  public:
    virtual ~PixelSink() = default;
    virtual void take(const PixelRun& run) = 0;
};

/// Reads one file of one format: the picture's header, then its pixels, each once. A file that is
/// rejected is no exception.
class Decoder {
  public:
    virtual ~Decoder() = default;

    /// Nothing when the file is rejected.
    virtual std::optional<PictureHeader> readHeader() = 0;

    /// Hands over every pixel once. False when the picture is damaged and rejected, whatever came.
    virtual bool readPixels(PixelSink& sink) = 0;

    /// The orientation that the file states after its pixels, once all have been read; it replaces
    /// the header's.
    virtual std::optional<Orientation> lateOrientation() const { return std::nullopt; }
};

} // namespace sorvane::decoder
