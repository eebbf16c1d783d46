#include "identity/pixel_budget.h"

#include <cstdint>
#include <limits>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane;

namespace {

struct Row {
    std::uint64_t width;
    std::uint64_t height;
};

} // namespace

TEST_CASE("a picture within the budget has a pixel and not more than sixty million") {
    constexpr std::uint64_t beyond32Bits = std::uint64_t{1} << 32;
    for (const Row& row :
         std::vector<Row>{{1, 1}, {7500, 8000}, {8000, 7500}, {60'000'000, 1}, {1, 60'000'000}}) {
        CAPTURE(row.width);
        CHECK(withinPixelBudget(row.width, row.height));
    }
    for (const Row& row : std::vector<Row>{{0, 0},
                                           {0, 5},
                                           {5, 0},
                                           {8000, 8000},
                                           {60'000'001, 1},
                                           {1, 60'000'001},
                                           {65'536, 65'536},
                                           {beyond32Bits, 1},
                                           {1, beyond32Bits},
                                           {beyond32Bits, beyond32Bits},
                                           {std::numeric_limits<std::uint64_t>::max(), 2}}) {
        CAPTURE(row.width);
        CHECK_FALSE(withinPixelBudget(row.width, row.height));
    }
}
