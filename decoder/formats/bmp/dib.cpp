#include "decoder/formats/bmp/dib.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <span>
#include <vector>

#include "decoder/formats/whole_rows.h"

namespace sorvane::decoder {

namespace {

using Row = std::vector<std::uint8_t>;

/// Takes one channel out of a pixel's value and scales it to 8 bits.
class MaskedChannel {
  public:
    explicit MaskedChannel(std::uint32_t mask)
        : mask_(mask), shift_(mask == 0 ? 0 : std::countr_zero(mask)), maxValue_(mask >> shift_) {
        for (std::uint32_t value = 0; value <= std::min(maxValue_, lastScaled); ++value)
            scaled_[value] = scale(value);
    }

    std::uint8_t of(std::uint32_t pixel) const {
        const std::uint32_t value = (pixel & mask_) >> shift_;
        return maxValue_ <= lastScaled ? scaled_[value] : scale(value);
    }

  private:
    static constexpr std::uint32_t lastScaled = 255;

    std::uint8_t scale(std::uint32_t value) const {
        if (maxValue_ == 0) return 0;
        return static_cast<std::uint8_t>((value * std::uint64_t{255} + maxValue_ / 2) / maxValue_);
    }

    std::uint32_t mask_;
    int shift_;
    std::uint32_t maxValue_;
    std::array<std::uint8_t, lastScaled + 1> scaled_{};
};

/// Turns stored rows into samples and hands them over.
class RowMaker {
  public:
    RowMaker(const DibHeader& header, PixelSink& sink)
        : header_(header),
          handedOver_(sink, header.size, {dibChannels(header)},
                      header.topDown ? RowOrder::topDown : RowOrder::bottomUp),
          channels_(channelCount(dibChannels(header))) {
        std::ranges::transform(header.masks, masks_.begin(),
                               [](std::uint32_t mask) { return MaskedChannel(mask); });
    }

    /// The next row. `packed`: of a file without run-length coding, as it stands there.
    void take(const std::uint8_t* packed) {
        std::uint8_t* const samples = handedOver_.nextRow();
        switch (header_.depth) {
        case 16:
            unmask<2>(packed, samples);
            break;
        case 24:
            unmask<3>(packed, samples);
            break;
        case 32:
            unmask<4>(packed, samples);
            break;
        default:
            lookUp(packed, samples);
        }
        handedOver_.rowWritten();
    }

    /// The next row. `units`: for each pixel its index in the palette, or blue, green and red.
    void takeUnits(const Row& units) {
        std::uint8_t* to = handedOver_.nextRow();
        for (std::size_t x = 0; x < header_.size.width; ++x, to += sizeof(Colour))
            if (header_.depth <= 8)
                put(to, header_.palette[units[x]]);
            else
                put(to, {units[3 * x + 2], units[3 * x + 1], units[3 * x]});
        handedOver_.rowWritten();
    }

  private:
    using Colour = std::array<std::uint8_t, 3>;

    static void put(std::uint8_t* to, const Colour& colour) {
        std::memcpy(to, colour.data(), sizeof colour);
    }

    void lookUp(const std::uint8_t* packed, std::uint8_t* to) const {
        const unsigned depth = header_.depth;
        const unsigned last = (1U << depth) - 1;
        for (std::size_t x = 0, bit = 0; x < header_.size.width; ++x, bit += depth)
            put(to + sizeof(Colour) * x,
                header_.palette[packed[bit / 8] >> (8 - depth - bit % 8) & last]);
    }

    template<std::size_t bytes>
    void unmask(const std::uint8_t* packed, std::uint8_t* to) const {
        if (channels_ == 3)
            unmask<bytes, 3>(packed, to);
        else
            unmask<bytes, 4>(packed, to);
    }

    template<std::size_t bytes, std::size_t channels>
    void unmask(const std::uint8_t* packed, std::uint8_t* to) const {
        for (std::size_t x = 0; x < header_.size.width; ++x, packed += bytes, to += channels) {
            std::uint32_t pixel = 0;
            for (std::size_t i = bytes; i-- > 0;) pixel = pixel << 8 | packed[i];
            for (std::size_t channel = 0; channel < channels; ++channel)
                to[channel] = masks_[channel].of(pixel);
        }
    }

    const DibHeader& header_;
    RowsInOrder handedOver_;
    std::size_t channels_;
    std::array<MaskedChannel, 4> masks_{MaskedChannel(0), MaskedChannel(0), MaskedChannel(0),
                                        MaskedChannel(0)};
};

bool readPlain(const DibHeader& header, SequentialReader& file, RowMaker& rows) {
    const std::size_t rowBytes = (std::size_t{header.size.width} * header.depth + 31) / 32 * 4;
    const std::uint32_t blockRows = rowsPerBlock(header.size.width);
    Row packed(rowBytes * blockRows);
    for (std::uint32_t left = header.size.height; left > 0;) {
        const std::uint32_t count = std::min(blockRows, left);
        if (!file.read(std::span(packed).first(rowBytes * count))) return false;
        for (std::uint32_t i = 0; i < count; ++i) rows.take(packed.data() + rowBytes * i);
        left -= count;
    }
    return true;
}

/// The run-length codings: pairs of a count and the unit that it repeats, or of a zero and a
/// command.
class RunReader {
  public:
    RunReader(const DibHeader& header, SequentialReader& file, RowMaker& rows)
        : header_(header),
          file_(file),
          rows_(rows),
          unit_(header.coding == DibCoding::rle24 ? 3 : 1),
          units_(unit_ * header.size.width) {}

    // A picture whose last pixel has come is whole, even without the command that ends it.
    bool read() {
        while (number_ < header_.size.height && !(onLastRow() && x_ == header_.size.width))
            if (!readPair()) return false;
        endRowsUpTo(header_.size.height);
        return true;
    }

  private:
    bool onLastRow() const { return number_ == header_.size.height - 1; }

    bool readPair() {
        const auto count = file_.byte();
        if (!count) return false;
        return *count > 0 ? readRun(*count) : readCommand();
    }

    bool readCommand() {
        constexpr std::uint8_t endOfRow = 0;
        constexpr std::uint8_t endOfPicture = 1;
        constexpr std::uint8_t move = 2;
        const auto command = file_.byte();
        if (!command) return false;
        switch (*command) {
        case endOfRow:
            endRowsUpTo(number_ + 1);
            x_ = 0;
            return true;
        case endOfPicture:
            endRowsUpTo(header_.size.height);
            return true;
        case move:
            return readMove();
        default:
            return readLiterals(*command);
        }
    }

    bool readMove() {
        const auto right = file_.byte();
        const auto up = file_.byte();
        if (!right || !up) return false;
        x_ = std::min<std::size_t>(x_ + *right, header_.size.width);
        endRowsUpTo(number_ + *up);
        return true;
    }

    bool readRun(std::size_t count) {
        std::array<std::uint8_t, 3> unit{};
        if (!file_.read(std::span(unit).first(unit_))) return false;
        for (std::size_t i = 0; i < count; ++i) put(unit.data(), i);
        return true;
    }

    // Literals take an even number of bytes.
    bool readLiterals(std::size_t count) {
        std::array<std::uint8_t, 3> unit{};
        const std::size_t length = nibbles() ? (count + 1) / 2 : count * unit_;
        for (std::size_t i = 0; i < count; ++i) {
            const bool second = nibbles() && i % 2 == 1;
            if (!second && !file_.read(std::span(unit).first(unit_))) return false;
            put(unit.data(), i);
        }
        return file_.skip(length % 2);
    }

    bool nibbles() const { return header_.coding == DibCoding::rle4; }

    void put(const std::uint8_t* unit, std::size_t i) {
        if (x_ == header_.size.width) return;
        if (nibbles())
            units_[x_] = i % 2 == 0 ? *unit >> 4 : *unit & 15;
        else
            std::copy_n(unit, unit_, units_.begin() + static_cast<std::ptrdiff_t>(unit_ * x_));
        ++x_;
    }

    void endRowsUpTo(std::uint32_t number) {
        for (; number_ < std::min(number, header_.size.height); ++number_) {
            rows_.takeUnits(units_);
            std::ranges::fill(units_, std::uint8_t{0});
        }
    }

    const DibHeader& header_;
    SequentialReader& file_;
    RowMaker& rows_;
    std::size_t unit_;
    Row units_;
    std::uint32_t number_ = 0;
    std::size_t x_ = 0;
};

} // namespace

Channels dibChannels(const DibHeader& header) {
    return header.depth > 8 && header.masks[3] != 0 ? Channels::rgba : Channels::rgb;
}

bool readDibPixels(const DibHeader& header, SequentialReader& file, PixelSink& sink) {
    RowMaker rows(header, sink);
    if (header.coding == DibCoding::plain) return readPlain(header, file, rows);
    return RunReader(header, file, rows).read();
}

void KeptRows::take(const PixelRun& run) {
    std::memcpy(row(run.row), run.samples, rowBytes_ * run.rows);
}

void KeptRows::handOver(PixelSink& sink) {
    sink.take(PixelRun::wholeRows(0, size_.height, size_.width, row(0)));
}

} // namespace sorvane::decoder
