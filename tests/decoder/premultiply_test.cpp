#include "decoder/premultiply.h"

#include <cmath>

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane;
using test::Bytes;

TEST_CASE("every value is multiplied by every alpha to the nearest value") {
    for (int alpha = 0; alpha < 256; ++alpha)
        for (int value = 0; value < 256; ++value) {
            Bytes rgba = {static_cast<std::uint8_t>(value), 255, 0,
                          static_cast<std::uint8_t>(alpha)};
            decoder::premultiply(rgba.data(), 1);
            const auto product = static_cast<std::uint8_t>(std::lround(value * alpha / 255.0));
            REQUIRE(rgba == Bytes{product, static_cast<std::uint8_t>(alpha), 0,
                                  static_cast<std::uint8_t>(alpha)});
        }
}

TEST_CASE("every pixel is multiplied by its own alpha, however many there are") {
    for (std::size_t count = 0; count < 6; ++count) {
        CAPTURE(count);
        Bytes rgba;
        Bytes expected;
        for (std::size_t i = 0; i < count; ++i) {
            const auto alpha = static_cast<std::uint8_t>(255 - 51 * i);
            rgba.insert(rgba.end(), {255, 5, 0, alpha});
            expected.insert(expected.end(),
                            {alpha, static_cast<std::uint8_t>(alpha / 51), 0, alpha});
        }
        rgba.push_back(7);
        expected.push_back(7);
        decoder::premultiply(rgba.data(), count);
        CHECK(rgba == expected);
    }
}

TEST_CASE("pixels are opaque when all of them are") {
    CHECK(decoder::isOpaque(nullptr, 0));
    for (std::size_t other = 0; other < 9; ++other) {
        Bytes rgba(std::size_t{4} * 9, 255);
        CHECK(decoder::isOpaque(rgba.data(), 9));
        rgba[4 * other] = 0;
        CHECK(decoder::isOpaque(rgba.data(), 9));
        rgba[4 * other + 3] = 254;
        CHECK_FALSE(decoder::isOpaque(rgba.data(), 9));
    }
}
