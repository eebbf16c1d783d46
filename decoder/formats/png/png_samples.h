#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace sorvane::decoder {

/// The colours that the pixels' indices stand for. An index without a colour is opaque black.
struct PngPalette {
    std::array<std::array<std::uint8_t, 4>, 256> colours;
    /// They are handed over with their fourth byte, which is alpha.
    bool transparent = false;
};

/// How a PNG's pixels are stored.
struct PngSampleForm {
    /// Bits a sample: 1, 2, 4, 8 or 16.
    unsigned depth = 8;
    /// Samples a pixel: 1 to 4, and 1 with a palette.
    std::size_t count = 1;
    std::optional<PngPalette> palette;
    /// The samples of the one colour that is transparent.
    std::optional<std::array<std::uint16_t, 3>> transparent;

    /// Of a stored row, without its filter byte.
    std::size_t rowBytes(std::uint32_t width) const { return (count * depth * width + 7) / 8; }
    /// To the pixel that a filter takes for the one on the left.
    std::size_t filterBytes() const { return std::max(count * depth / 8, std::size_t{1}); }
};

/// Makes the samples that are handed over of stored rows: palettes are looked up, depths below 8
/// are scaled to it, 16 bits come in the machine's order, and a transparent colour becomes alpha.
class PngSamples {
  public:
    /// `form` must outlive this.
    explicit PngSamples(const PngSampleForm& form) : form_(form) {}

    /// The samples of `count` rows of `width` pixels, row after row. `stored`: the first row's
    /// bytes; each further row follows after its filter byte. They may be changed in place. Valid
    /// until the next call, and as long as `stored`.
    const std::uint8_t* rows(std::uint8_t* stored, std::uint32_t width, std::uint32_t count);

  private:
    std::uint8_t* unpacked(const std::uint8_t* stored, std::uint32_t width, std::uint32_t count);
    void lookUp(const std::uint8_t* indices, std::size_t pixels);
    template<class Sample, std::size_t colours>
    void addAlpha(const std::uint8_t* samples, std::size_t pixels);
    template<class Sample>
    void addAlpha(const std::uint8_t* samples, std::size_t pixels);

    const PngSampleForm& form_;
    std::vector<std::uint8_t> unpacked_;
    std::vector<std::uint8_t> samples_;
};

} // namespace sorvane::decoder
