#include <random>

#include <doctest/doctest.h>

#include "identity/pixels/codecs/png_filters.h"
#include "tests/identity/pixels/bytes.h"

using namespace sorvane::pixels;
using namespace sorvane::test;

namespace {

// Small and large values by turns: what is near and what wraps around both occur.
Bytes randomRow(std::size_t size, std::mt19937& chance) {
    Bytes row(size);
    const bool small = chance() % 2 == 0;
    for (std::uint8_t& byte : row) byte = static_cast<std::uint8_t>(chance() % (small ? 5 : 256));
    return row;
}

} // namespace

TEST_CASE("the vector filters do what the plain ones do") {
    std::mt19937 chance(1);
    for (std::uint8_t filter = 0; filter <= png_filter::paeth; ++filter)
        for (std::size_t pixelBytes = 1; pixelBytes <= 4; ++pixelBytes)
            for (std::size_t width = 1; width <= 70; ++width)
                for (int round = 0; round < 8; ++round) {
                    CAPTURE(filter);
                    CAPTURE(pixelBytes);
                    CAPTURE(width);
                    const Bytes above = randomRow(width * pixelBytes, chance);
                    Bytes row = randomRow(width * pixelBytes, chance);
                    Bytes plain = row;
                    REQUIRE(unfilterRow(filter, row, above.data(), pixelBytes));
                    REQUIRE(unfilterRowPlainly(filter, plain, above.data(), pixelBytes));
                    REQUIRE(row == plain);
                }
}

TEST_CASE("the nearest of three neighbours is found for every difference between them") {
    for (int left = 0; left < 256; left += 3)
        for (int above = 0; above < 256; above += 3) {
            Bytes aboveRow(256 * 8, static_cast<std::uint8_t>(above));
            Bytes row(aboveRow.size());
            for (std::size_t i = 0; i < row.size(); i += 8) {
                // The first pixel becomes what the second has on its left.
                aboveRow[i] = static_cast<std::uint8_t>(i / 8);
                row[i] = static_cast<std::uint8_t>(left - static_cast<int>(i / 8));
            }
            for (std::size_t i = 0; i < row.size(); i += 8) {
                Bytes vector(row.begin() + static_cast<std::ptrdiff_t>(i),
                             row.begin() + static_cast<std::ptrdiff_t>(i + 8));
                Bytes plain = vector;
                unfilterRow(png_filter::paeth, vector, &aboveRow[i], 4);
                unfilterRowPlainly(png_filter::paeth, plain, &aboveRow[i], 4);
                REQUIRE(vector == plain);
            }
        }
}

TEST_CASE("the plain filters, by hand") {
    const auto undone = [](std::uint8_t filter, Bytes row, const Bytes& above) {
        CHECK(unfilterRowPlainly(filter, row, above.data(), 1));
        return row;
    };
    CHECK(undone(png_filter::none, {1, 2, 3}, {9, 9, 9}) == Bytes{1, 2, 3});
    CHECK(undone(png_filter::sub, {1, 2, 255}, {9, 9, 9}) == Bytes{1, 3, 2});
    CHECK(undone(png_filter::up, {1, 2, 255}, {9, 8, 7}) == Bytes{10, 10, 6});
    CHECK(undone(png_filter::average, {1, 2, 255}, {9, 8, 7}) == Bytes{5, 8, 6});
    CHECK(undone(png_filter::paeth, {1, 2, 255}, {9, 20, 7}) == Bytes{10, 22, 6});
}

TEST_CASE("there are five filters") {
    Bytes row(4);
    const Bytes above(4);
    for (unsigned filter = 5; filter < 256; ++filter) {
        CHECK_FALSE(unfilterRow(static_cast<std::uint8_t>(filter), row, above.data(), 4));
        CHECK_FALSE(unfilterRowPlainly(static_cast<std::uint8_t>(filter), row, above.data(), 4));
    }
}
