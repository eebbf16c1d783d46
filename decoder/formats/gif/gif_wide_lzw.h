#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

struct GifFileType;

namespace sorvane::decoder {

/// Decodes LZW data whose minimum code size is 9 to 11: giflib accepts at most 8.
class GifWideLzw {
  public:
    static constexpr unsigned minCodeSize = 9;
    static constexpr unsigned maxCodeSize = 11;

    /// `gif` has been read up to the code size, and must outlive this.
    GifWideLzw(GifFileType* gif, unsigned codeSize);

    /// False: the data are damaged, end before `indices` is full, or have an index of more than 8
    /// bits.
    bool read(std::span<std::uint8_t> indices);

    /// Goes on to the end of the frame's data. False: the file ends there.
    bool finish();

  private:
    static constexpr unsigned maxWidth = 12;
    static constexpr std::size_t tableSize = 1U << maxWidth;

    void clear();
    bool readCode();
    std::optional<std::uint16_t> nextCode();
    bool nextBlock();
    std::uint16_t firstIndex(std::uint16_t code) const;

    GifFileType* gif_;
    std::uint16_t clearCode_;
    std::span<const std::uint8_t> block_;
    std::uint32_t bits_ = 0;
    unsigned bitCount_ = 0;
    unsigned width_ = 0;
    std::size_t known_ = 0;
    std::optional<std::uint16_t> previous_;
    // What a code stands for: what another code does, and an index after that. The codes below
    // `clearCode_` are indices themselves.
    std::array<std::uint16_t, tableSize> prefix_{};
    std::array<std::uint16_t, tableSize> last_{};
    // What the code at hand stands for and has not been asked for yet, the first index at the end.
    std::vector<std::uint16_t> pending_;
};

} // namespace sorvane::decoder
