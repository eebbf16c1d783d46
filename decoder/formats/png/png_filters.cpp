// In three of the filters each pixel needs the one on its left, so the pixels of a row cannot be
// undone at once. Instead one pixel of each of four rows is: every row runs two pixels later than
// the row above it and finds there what it needs, whatever the filters of both.

#include "decoder/formats/png/png_filters.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <type_traits>

namespace sorvane::decoder {

namespace {

constexpr std::size_t lag = 2;
constexpr std::size_t minWidthTogether = lag * rowsAtOnce;

// The compiler's own vectors serve all processors.
using Bytes [[gnu::vector_size(16)]] = std::uint8_t;
using Pixels [[gnu::vector_size(16)]] = std::uint32_t;

static_assert(sizeof(Pixels) == rowsAtOnce * sizeof(std::uint32_t));
static_assert(std::endian::native == std::endian::little);

Bytes larger(Bytes one, Bytes other) { return one > other ? one : other; }
Bytes smaller(Bytes one, Bytes other) { return one < other ? one : other; }
Bytes whereAtMost(Bytes one, Bytes other) { return Bytes(one <= other); }
Bytes average(Bytes one, Bytes other) { return (one & other) + ((one ^ other) >> 1); }

// The one of the three that is nearest to left + above - aboveLeft; aboveLeft only where it is
// nearer than both others. The largest is aboveLeft + rise and the smallest aboveLeft - fall. So
// the largest is `fall` away from that sum, and the smallest `rise`.
Bytes nearest(Bytes left, Bytes above, Bytes aboveLeft) {
    const Bytes rise = larger(larger(left, above), aboveLeft) - aboveLeft;
    const Bytes fall = aboveLeft - smaller(smaller(left, above), aboveLeft);
    const Bytes toLargest = rise & whereAtMost(fall, rise >> 1);
    const Bytes toSmallest = fall & whereAtMost(rise, fall >> 1);
    return aboveLeft + (toLargest - toSmallest);
}

/// What the filters of up to four rows predict from a pixel's neighbours. All but the average are
/// the nearest of three, with some of the neighbours taken as 0.
class Prediction {
  public:
    explicit Prediction(FilteredRows rows) {
        const std::uint32_t all = 0xffff'ffffU >> 8 * (sizeof all - rows.pixelBytes);
        Pixels left{};
        Pixels above{};
        Pixels aboveLeft{};
        Pixels averaged{};
        for (std::size_t i = 0; i < rows.count; ++i) {
            const std::uint8_t filter = rows.first[i * rows.stride()];
            const bool paeth = filter == png_filter::paeth;
            if (paeth || filter == png_filter::sub) left[i] = all;
            if (paeth || filter == png_filter::up) above[i] = all;
            if (paeth) aboveLeft[i] = all;
            if (filter == png_filter::average) averaged[i] = all;
            paeth_ = paeth_ || paeth;
            average_ = average_ || filter == png_filter::average;
        }
        left_ = Bytes(left);
        above_ = Bytes(above);
        aboveLeft_ = Bytes(aboveLeft);
        averaged_ = Bytes(averaged);
    }

    Bytes operator()(Bytes left, Bytes above, Bytes aboveLeft) const {
        Bytes sum = (left & left_) | (above & above_);
        if (paeth_) sum = nearest(left & left_, above & above_, aboveLeft & aboveLeft_);
        if (average_) sum += average(left & averaged_, above & averaged_);
        return sum;
    }

  private:
    Bytes left_;
    Bytes above_;
    Bytes aboveLeft_;
    Bytes averaged_;
    bool paeth_ = false;
    bool average_ = false;
};

template<std::size_t bytes>
std::uint32_t load(const std::uint8_t* from) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, from, bytes);
    return pixel;
}

template<std::size_t bytes>
void store(std::uint8_t* to, std::uint32_t pixel) {
    std::memcpy(to, &pixel, bytes);
}

// A copy of three bytes would go through the stack and wait there.
template<>
std::uint32_t load<3>(const std::uint8_t* from) {
    return load<2>(from) | std::uint32_t{from[2]} << 16;
}
template<>
void store<3>(std::uint8_t* to, std::uint32_t pixel) {
    store<2>(to, pixel);
    to[2] = static_cast<std::uint8_t>(pixel >> 16);
}

/// The pixels that are undone at once: the one in column x of the first row, and in every other row
/// the one `lag` columns further left than in the row above. `whole`: all four are in the picture.
template<std::size_t bytes, bool whole>
class Diagonal {
  public:
    explicit Diagonal(FilteredRows rows) : rows_(rows), stride_(rows.stride()) {}

    Pixels gather(std::size_t x) const {
        const auto pixel = [&](std::size_t row) {
            return has(row, x) ? load<moved>(at(row, x)) : 0;
        };
        return Pixels{pixel(0), pixel(1), pixel(2), pixel(3)};
    }

    std::uint32_t aboveFirst(std::size_t x) const {
        return has(0, x) ? load<moved>(at(0, x) - stride_) : 0;
    }

    void scatter(std::size_t x, Pixels pixels) const {
        for (std::size_t row = 0; row < rowsAtOnce; ++row)
            if (has(row, x)) store<moved>(at(row, x), pixels[row]);
    }

  private:
    // Three bytes are moved with the one after them, which comes back as it was.
    static constexpr std::size_t moved = whole && bytes == 3 ? 4 : bytes;

    // Unsigned: a column to the left of the picture is a number beyond its width.
    bool has(std::size_t row, std::size_t x) const {
        return whole || (row < rows_.count && x - lag * row < rows_.width);
    }

    std::uint8_t* at(std::size_t row, std::size_t x) const {
        return rows_.first + 1 + row * stride_ + bytes * (x - lag * row);
    }

    FilteredRows rows_;
    std::size_t stride_;
};

template<std::size_t bytes>
void restoreTogether(FilteredRows rows) {
    constexpr std::size_t reach = lag * (rowsAtOnce - 1);
    const Diagonal<bytes, true> whole(rows);
    const Diagonal<bytes, false> ragged(rows);
    const Prediction predicted(rows);
    Bytes left{};
    Bytes before{};
    Bytes aboveLeft{};
    const auto restored = [&](Pixels differences, std::uint32_t aboveFirst) {
        // What a row had two steps ago is above what the next one has now.
        const Pixels others = __builtin_shufflevector(Pixels(before), Pixels{}, 4, 0, 1, 2);
        const auto above = Bytes(others | Pixels{aboveFirst});
        before = left;
        left = Bytes(differences) + predicted(left, above, aboveLeft);
        aboveLeft = above;
        return Pixels(left);
    };
    for (std::size_t x = 0; x < rows.width + reach; ++x) {
        if (x == reach && x < rows.width && rows.count == rowsAtOnce) {
            Pixels next = whole.gather(x);
            for (; x < rows.width; ++x) {
                const Pixels differences = next;
                // Loaded early: after the scatter it would wait for the stores beside it. After the
                // last column it is not needed, and reads from the next row.
                next = whole.gather(x + 1);
                whole.scatter(x, restored(differences, whole.aboveFirst(x)));
            }
        }
        ragged.scatter(x, restored(ragged.gather(x), ragged.aboveFirst(x)));
    }
}

void restoreTogether(FilteredRows rows) {
    switch (rows.pixelBytes) {
    case 1:
        return restoreTogether<1>(rows);
    case 2:
        return restoreTogether<2>(rows);
    case 3:
        return restoreTogether<3>(rows);
    default:
        return restoreTogether<4>(rows);
    }
}

// One row, pixel by pixel: for wide pixels, of which four do not fit in a vector, and for rows that
// end before four of them get going.
template<std::size_t bytes>
Bytes loadAlone(const std::uint8_t* from) {
    using Halves [[gnu::vector_size(16)]] = std::uint64_t;
    std::uint64_t pixel = 0;
    std::memcpy(&pixel, from, bytes);
    return Bytes(Halves{pixel, 0});
}

template<std::size_t bytes, class Predict>
void restoreAlone(FilteredRows rows, const Predict& predict) {
    std::uint8_t* pixel = rows.first + 1;
    const std::uint8_t* const end = pixel + bytes * rows.width;
    const std::size_t stride = rows.stride();
    Bytes left{};
    Bytes aboveLeft{};
    for (; pixel < end; pixel += bytes) {
        const Bytes above = loadAlone<bytes>(pixel - stride);
        left = loadAlone<bytes>(pixel) + predict(left, above, aboveLeft);
        std::memcpy(pixel, &left, bytes);
        aboveLeft = above;
    }
}

template<std::size_t bytes>
void restoreAlone(FilteredRows rows) {
    switch (*rows.first) {
    case png_filter::sub:
        return restoreAlone<bytes>(rows, [](Bytes left, Bytes, Bytes) { return left; });
    case png_filter::average:
        return restoreAlone<bytes>(
            rows, [](Bytes left, Bytes above, Bytes) { return average(left, above); });
    default:
        return restoreAlone<bytes>(rows, nearest);
    }
}

// Calls `restore` with the number of a pixel's bytes as a constant.
template<class Restore>
void withPixelBytes(FilteredRows rows, const Restore& restore) {
    switch (rows.pixelBytes) {
    case 1:
        return restore(std::integral_constant<std::size_t, 1>());
    case 2:
        return restore(std::integral_constant<std::size_t, 2>());
    case 3:
        return restore(std::integral_constant<std::size_t, 3>());
    case 4:
        return restore(std::integral_constant<std::size_t, 4>());
    case 6:
        return restore(std::integral_constant<std::size_t, 6>());
    default:
        return restore(std::integral_constant<std::size_t, 8>());
    }
}

// Eight bytes, each by itself.
std::uint64_t sumOfBytes(std::uint64_t one, std::uint64_t other) {
    constexpr std::uint64_t lowBits = 0x7f7f'7f7f'7f7f'7f7f;
    return ((one & lowBits) + (other & lowBits)) ^ ((one ^ other) & ~lowBits);
}

// Rows of one pixel, of which there may be millions. What is on its left counts as 0, so that the
// nearest of three is always the pixel above.
template<std::size_t bytes>
void restoreColumn(FilteredRows rows) {
    constexpr std::uint64_t all = ~std::uint64_t{0};
    constexpr std::uint64_t half = 0x7f7f'7f7f'7f7f'7f7f;
    // What is added of the pixel above, and of it shifted by a bit, by the filters' numbers.
    constexpr std::array<std::uint64_t, 5> whole = {0, 0, all, 0, all};
    constexpr std::array<std::uint64_t, 5> halved = {0, 0, 0, half, 0};
    std::uint64_t above = 0;
    std::memcpy(&above, rows.first - bytes, bytes);
    for (std::size_t i = 0; i < rows.count; ++i, rows.first += 1 + bytes) {
        const std::uint8_t filter = *rows.first;
        std::uint64_t pixel = 0;
        std::memcpy(&pixel, rows.first + 1, bytes);
        above = sumOfBytes(pixel, (above & whole[filter]) | (above >> 1 & halved[filter]));
        std::memcpy(rows.first + 1, &above, bytes);
    }
}

void restoreUp(std::uint8_t* row, std::size_t stride) {
    const std::uint8_t* above = row - stride;
    for (std::size_t i = 1; i < stride; ++i) row[i] = static_cast<std::uint8_t>(row[i] + above[i]);
}

} // namespace

bool unfilterRows(FilteredRows rows) {
    const std::size_t stride = rows.stride();
    const bool together =
        rows.pixelBytes <= sizeof(std::uint32_t) && rows.width >= minWidthTogether;
    for (std::size_t i = 0; i < rows.count; ++i)
        if (rows.first[i * stride] > png_filter::paeth) return false;
    if (rows.width == 1) {
        withPixelBytes(rows, [&](auto bytes) { restoreColumn<bytes>(rows); });
        return true;
    }
    while (rows.count > 0) {
        std::size_t done = 1;
        if (*rows.first == png_filter::up) {
            restoreUp(rows.first, stride);
        } else if (*rows.first != png_filter::none && !together) {
            withPixelBytes(rows, [&](auto bytes) { restoreAlone<bytes>(rows); });
        } else if (*rows.first != png_filter::none) {
            done = std::min(rows.count, rowsAtOnce);
            restoreTogether({rows.first, done, rows.width, rows.pixelBytes});
        }
        rows.first += done * stride;
        rows.count -= done;
    }
    return true;
}

} // namespace sorvane::decoder
