#include "decoder/formats/gif/gif_wide_lzw.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>

#include <doctest/doctest.h>

#include "decoder/formats/gif/gif.h"
#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

/// Writes the codes of a frame, each as wide as a reader's table asks for by then.
class Codes {
  public:
    explicit Codes(unsigned codeSize) : codeSize_(codeSize) { clear(); }

    unsigned clearCode() const { return 1U << codeSize_; }
    unsigned endCode() const { return clearCode() + 1; }
    /// The first that the table learns.
    unsigned firstLearnt() const { return clearCode() + 2; }

    Codes& clear() {
        write(clearCode());
        known_ = firstLearnt();
        learns_ = false;
        return *this;
    }

    Codes& code(unsigned code) {
        write(code);
        if (learns_) known_ = std::min(known_ + 1, 4096U);
        learns_ = true;
        return *this;
    }

    Codes& end() {
        write(endCode());
        return *this;
    }

    /// A GIF with one frame of `size` whose data these are, in blocks of so many bytes. Colour i of
    /// its map has i as its red.
    Bytes file(Size size, std::size_t blockLength = 255) const {
        const Bytes sides = joined({littleEndian16(static_cast<std::uint16_t>(size.width)),
                                    littleEndian16(static_cast<std::uint16_t>(size.height))});
        Bytes result = joined({bytes("GIF89a"), sides, {0x87, 0, 0}});
        for (unsigned i = 0; i < 256; ++i)
            result.insert(result.end(), {static_cast<std::uint8_t>(i), 0, 0});
        result =
            joined({result, {',', 0, 0, 0, 0}, sides, {0, static_cast<std::uint8_t>(codeSize_)}});
        for (std::size_t begin = 0; begin < data_.size(); begin += blockLength) {
            const std::size_t length = std::min(blockLength, data_.size() - begin);
            const auto first = data_.begin() + static_cast<std::ptrdiff_t>(begin);
            result.push_back(static_cast<std::uint8_t>(length));
            result.insert(result.end(), first, first + static_cast<std::ptrdiff_t>(length));
        }
        result.push_back(0);
        return result;
    }

  private:
    void write(unsigned code) {
        const auto width = static_cast<unsigned>(std::bit_width(std::min(known_, 4095U)));
        for (unsigned bit = 0; bit < width; ++bit, ++bitCount_) {
            if (bitCount_ % 8 == 0) data_.push_back(0);
            data_.back() =
                static_cast<std::uint8_t>(data_.back() | (code >> bit & 1) << bitCount_ % 8);
        }
    }

    unsigned codeSize_;
    unsigned known_ = firstLearnt();
    bool learns_ = false;
    std::size_t bitCount_ = 0;
    Bytes data_;
};

/// The indices of a GIF's only frame, or nothing when it is not read to its end.
std::optional<Bytes> indices(const Bytes& file) {
    const RecordedPicture picture(openGif, file);
    if (!picture.whole) return std::nullopt;
    Bytes result;
    for (std::size_t i = 0; i < picture.samples.size(); i += 4)
        result.push_back(picture.samples[i]);
    return result;
}

constexpr std::array codeSizes = {GifWideLzw::minCodeSize, 10U, GifWideLzw::maxCodeSize};

} // namespace

TEST_CASE("a code of wide LZW data stands for what the one before stood for, and one index more") {
    for (const unsigned codeSize : codeSizes) {
        CAPTURE(codeSize);
        Codes codes(codeSize);
        const unsigned learnt = codes.firstLearnt();
        // Learnt with the second code: 5 6; with the third: 6 5; with the fourth: 5 6 6. The last
        // code is the one that the table learns from it.
        codes.code(5).code(6).code(learnt).code(learnt + 1).code(learnt + 3).end();
        const Bytes expected = {5, 6, 5, 6, 6, 5, 6, 5, 6};
        CHECK(indices(codes.file({9, 1})) == expected);
        CHECK(indices(codes.file({3, 3})) == expected);
        CHECK(indices(codes.file({9, 1}, 1)) == expected);
    }
}

TEST_CASE("codes of wide LZW data grow to 12 bits with the table, and shrink when it is cleared") {
    for (const unsigned codeSize : codeSizes) {
        CAPTURE(codeSize);
        Codes codes(codeSize);
        Bytes expected;
        for (unsigned i = 0; i < 6000; ++i) {
            if (i == 5000) codes.clear();
            codes.code(i % 251);
            expected.push_back(static_cast<std::uint8_t>(i % 251));
        }
        codes.end();
        CHECK(indices(codes.file({60, 100})) == expected);
        CHECK(indices(codes.file({60, 100}, 7)) == expected);
    }
}

TEST_CASE("damaged wide LZW data reject the picture") {
    const auto decodes = [](Codes& codes) { return indices(codes.file({3, 1})).has_value(); };
    for (const unsigned codeSize : codeSizes) {
        CAPTURE(codeSize);
        const auto codes = [codeSize] { return Codes(codeSize); };
        const unsigned learnt = codes().firstLearnt();
        CHECK(decodes(codes().code(255).code(learnt).end()));
        CHECK_FALSE(decodes(codes().code(0).code(256).code(0).end()));
        CHECK_FALSE(decodes(codes().code(0).code(learnt + 1).end()));
        CHECK_FALSE(decodes(codes().code(learnt).code(0).end()));
        CHECK_FALSE(decodes(codes().code(0).code(0).end()));
        CHECK_FALSE(decodes(codes().code(0).code(0)));
    }
}

TEST_CASE("wide LZW data go on to their end, which the file must have") {
    Codes codes(GifWideLzw::minCodeSize);
    codes.code(1).end();
    for (unsigned i = 0; i < 1000; ++i) codes.code(i % 256);
    const Bytes file = codes.file({1, 1});
    CHECK(indices(file) == Bytes{1});
    CHECK_FALSE(indices(Bytes(file.begin(), file.end() - 1)));
    CHECK_FALSE(indices(Bytes(file.begin(), file.end() - 300)));
}
