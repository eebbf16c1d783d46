#include <initializer_list>

#include <doctest/doctest.h>

#include "identity/pixels/budget.h"

using namespace sorvane::pixels;

TEST_CASE("a picture within the budget has a pixel and not more than sixty million") {
    for (const Size size : {Size{1, 1}, Size{7500, 8000}, Size{8000, 7500}, Size{60'000'000, 1},
                            Size{1, 60'000'000}}) {
        CAPTURE(size.width);
        CHECK(withinPixelBudget(size));
    }
    for (const Size size :
         {Size{0, 0}, Size{0, 5}, Size{5, 0}, Size{8000, 8000}, Size{60'000'001, 1},
          Size{1, 60'000'001}, Size{65'536, 65'536}, Size{4'294'967'295, 4'294'967'295}}) {
        CAPTURE(size.width);
        CHECK_FALSE(withinPixelBudget(size));
    }
}
