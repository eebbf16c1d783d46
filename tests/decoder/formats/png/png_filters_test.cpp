#include "decoder/formats/png/png_filters.h"

#include <cstdlib>
#include <random>

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

/// Rows with the one above them, each after its filter's number.
struct Rows {
    std::size_t width;
    std::size_t pixelBytes;
    Bytes bytes;

    std::size_t stride() const { return 1 + pixelBytes * width; }
    FilteredRows filtered() {
        return {bytes.data() + stride(), bytes.size() / stride() - 1, width, pixelBytes};
    }
    bool operator==(const Rows&) const = default;
};

int nearest(int left, int above, int aboveLeft) {
    const int toLeft = std::abs(above - aboveLeft);
    const int toAbove = std::abs(left - aboveLeft);
    const int toAboveLeft = std::abs(left + above - 2 * aboveLeft);
    if (toLeft <= toAbove && toLeft <= toAboveLeft) return left;
    return toAbove <= toAboveLeft ? above : aboveLeft;
}

int predicted(std::uint8_t filter, int left, int above, int aboveLeft) {
    switch (filter) {
    case png_filter::sub:
        return left;
    case png_filter::up:
        return above;
    case png_filter::average:
        return (left + above) / 2;
    case png_filter::paeth:
        return nearest(left, above, aboveLeft);
    default:
        return 0;
    }
}

// A byte at a time: what is to be done. Neighbours outside of the picture are 0.
Rows undonePlainly(Rows rows) {
    const std::size_t stride = rows.stride();
    for (std::size_t first = stride; first < rows.bytes.size(); first += stride)
        for (std::size_t i = 1; i < stride; ++i) {
            std::uint8_t* byte = &rows.bytes[first + i];
            const bool atEdge = i <= rows.pixelBytes;
            const int left = atEdge ? 0 : *(byte - rows.pixelBytes);
            const int aboveLeft = atEdge ? 0 : *(byte - stride - rows.pixelBytes);
            const int value = predicted(rows.bytes[first], left, *(byte - stride), aboveLeft);
            *byte = static_cast<std::uint8_t>(*byte + value);
        }
    return rows;
}

// Small and large values by turns: what is near and what wraps around both occur.
Rows randomRows(std::size_t count, std::size_t width, std::size_t pixelBytes,
                std::mt19937& chance) {
    Rows rows{width, pixelBytes, Bytes((1 + count) * (1 + pixelBytes * width))};
    const unsigned values = chance() % 2 == 0 ? 5 : 256;
    for (std::uint8_t& byte : rows.bytes) byte = static_cast<std::uint8_t>(chance() % values);
    for (std::size_t i = 0; i <= count; ++i)
        rows.bytes[i * rows.stride()] = static_cast<std::uint8_t>(chance() % 5);
    return rows;
}

void setFilters(Rows& rows, std::uint8_t filter) {
    for (std::size_t i = 0; i < rows.bytes.size(); i += rows.stride()) rows.bytes[i] = filter;
}

void checkUndone(Rows rows) {
    CAPTURE(rows.width);
    CAPTURE(rows.pixelBytes);
    const Rows plain = undonePlainly(rows);
    REQUIRE(unfilterRows(rows.filtered()));
    REQUIRE(rows == plain);
}

} // namespace

TEST_CASE("every filter, in every number of rows and columns") {
    std::mt19937 chance(1);
    for (std::uint8_t filter = 0; filter <= png_filter::paeth; ++filter)
        for (const std::size_t pixelBytes : {1U, 2U, 3U, 4U, 6U, 8U})
            for (std::size_t width = 1; width <= 70; ++width)
                for (std::size_t count = 1; count <= 2 * rowsAtOnce; ++count) {
                    Rows rows = randomRows(count, width, pixelBytes, chance);
                    setFilters(rows, filter);
                    checkUndone(rows);
                }
}

TEST_CASE("every four filters in a row") {
    std::mt19937 chance(2);
    for (unsigned filters = 0; filters < 5 * 5 * 5 * 5; ++filters)
        for (const std::size_t pixelBytes : {1U, 2U, 3U, 4U, 6U, 8U})
            for (const std::size_t width : {1U, 2U, 6U, 7U, 8U, 9U, 30U}) {
                Rows rows = randomRows(5, width, pixelBytes, chance);
                for (unsigned row = 1, rest = filters; row <= 4; ++row, rest /= 5)
                    rows.bytes[row * rows.stride()] = static_cast<std::uint8_t>(rest % 5);
                checkUndone(rows);
            }
}

TEST_CASE("the nearest of three neighbours is found for every difference between them") {
    constexpr std::size_t pixelBytes = 4;
    constexpr std::size_t stride = 1 + 2 * pixelBytes;
    for (int left = 0; left < 256; left += 3)
        for (int above = 0; above < 256; above += 3)
            for (std::size_t number = 0; number < 64; ++number) {
                Rows rows{2, pixelBytes, Bytes(2 * stride)};
                rows.bytes[stride] = png_filter::paeth;
                // The first pixel becomes what the second has on its left.
                for (std::size_t i = 1; i <= pixelBytes; ++i) {
                    rows.bytes[i] = static_cast<std::uint8_t>(pixelBytes * number + i - 1);
                    rows.bytes[i + pixelBytes] = static_cast<std::uint8_t>(above);
                    rows.bytes[stride + i] = static_cast<std::uint8_t>(left - rows.bytes[i]);
                }
                REQUIRE(unfilterRows(rows.filtered()));
                for (std::size_t i = 1; i <= pixelBytes; ++i)
                    REQUIRE(rows.bytes[stride + i + pixelBytes] ==
                            nearest(left, above, rows.bytes[i]));
            }
}

TEST_CASE("the filters, by hand") {
    const auto undone = [](std::uint8_t filter, const Bytes& row, const Bytes& above) {
        Rows rows{3, 1, joined({Bytes{0}, above, Bytes{filter}, row})};
        CHECK(unfilterRows(rows.filtered()));
        return Bytes(rows.bytes.begin() + 5, rows.bytes.end());
    };
    CHECK(undone(png_filter::none, {1, 2, 3}, {9, 9, 9}) == Bytes{1, 2, 3});
    CHECK(undone(png_filter::sub, {1, 2, 255}, {9, 9, 9}) == Bytes{1, 3, 2});
    CHECK(undone(png_filter::up, {1, 2, 255}, {9, 8, 7}) == Bytes{10, 10, 6});
    CHECK(undone(png_filter::average, {1, 2, 255}, {9, 8, 7}) == Bytes{5, 8, 6});
    CHECK(undone(png_filter::paeth, {1, 2, 255}, {9, 20, 7}) == Bytes{10, 22, 6});
}

TEST_CASE("there are five filters") {
    std::mt19937 chance(3);
    for (std::size_t row = 1; row <= 6; ++row)
        for (unsigned filter = 5; filter < 256; ++filter) {
            Rows rows = randomRows(6, 3, 4, chance);
            rows.bytes[row * rows.stride()] = static_cast<std::uint8_t>(filter);
            CHECK_FALSE(unfilterRows(rows.filtered()));
        }
}
