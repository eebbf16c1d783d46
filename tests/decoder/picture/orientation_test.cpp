#include "decoder/picture/orientation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane::decoder;

namespace {

// The stored picture is always
//     a b c
//     d e f
// and stands upright as these rows.
struct Row {
    Orientation orientation;
    std::vector<std::string> upright;
};
const std::vector<Row> rows = {
    {Orientation::upright, {"abc", "def"}},
    {Orientation::mirror, {"cba", "fed"}},
    {Orientation::halfTurn, {"fed", "cba"}},
    {Orientation::flip, {"def", "abc"}},
    {Orientation::transpose, {"ad", "be", "cf"}},
    {Orientation::quarterTurn, {"da", "eb", "fc"}},
    {Orientation::transverse, {"fc", "eb", "da"}},
    {Orientation::threeQuarterTurn, {"cf", "be", "ad"}},
};

} // namespace

TEST_CASE("every orientation sets size and pixels upright") {
    constexpr Size stored{3, 2};
    for (const Row& row : rows) {
        const Orientation orientation = row.orientation;
        const std::vector<std::string>& upright = row.upright;
        CAPTURE(static_cast<int>(orientation));
        const Size size = uprightSize(orientation, stored);
        REQUIRE(size == Size{static_cast<std::uint32_t>(upright[0].size()),
                             static_cast<std::uint32_t>(upright.size())});
        std::vector<std::string> turned(size.height, std::string(size.width, '?'));
        for (std::uint32_t y = 0; y < stored.height; ++y)
            for (std::uint32_t x = 0; x < stored.width; ++x) {
                const Position position = uprightPosition(orientation, stored, {x, y});
                turned.at(position.y).at(position.x) = "abcdef"[y * stored.width + x];
            }
        CHECK(turned == upright);
    }
}

TEST_CASE("the numbers 1 to 8 are orientations, and no others") {
    for (std::uint32_t number = 1; number <= 8; ++number)
        CHECK(orientationFrom(number) == static_cast<Orientation>(number));
    for (const std::uint32_t number : {0U, 9U, 256U, 257U, 65'537U, 0xffff'ffffU}) {
        CAPTURE(number);
        CHECK(orientationFrom(number) == std::nullopt);
    }
}
