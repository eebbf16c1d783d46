#include <algorithm>
#include <array>
#include <cstddef>
#include <set>
#include <span>
#include <system_error>
#include <vector>

#include <sys/resource.h>

#include <doctest/doctest.h>

#include "support/random.h"
#include "tests/forked.h"

using namespace sorvane;

TEST_CASE("all bytes asked for are filled, and no others") {
    for (const std::size_t length : {0u, 1u, 15u, 16u, 17u, 255u, 256u}) {
        CAPTURE(length);
        // A byte that stays zero through 20 fillings was not filled.
        std::vector<unsigned char> filled(256 + 8, 0);
        for (int time = 0; time < 20; ++time) {
            std::vector<unsigned char> bytes(filled.size(), 0);
            fillRandom(std::span(bytes).first(length));
            for (std::size_t place = 0; place < bytes.size(); ++place)
                filled[place] = static_cast<unsigned char>(filled[place] | bytes[place]);
        }
        const auto end = filled.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK(std::count(filled.begin(), end, 0) == 0);
        CHECK(std::count(end, filled.end(), 0) == std::distance(end, filled.end()));
    }
}

TEST_CASE("no two fillings are alike") {
    std::set<std::array<unsigned char, 16>> fillings;
    for (int time = 0; time < 1000; ++time) {
        std::array<unsigned char, 16> bytes{};
        fillRandom(bytes);
        fillings.insert(bytes);
    }
    CHECK(fillings.size() == 1000);
}

TEST_CASE("more bytes than the system gives at once are refused") {
    std::vector<unsigned char> bytes(257);
    CHECK_THROWS_AS(fillRandom(bytes), std::system_error);
}

TEST_CASE("random bytes are to be had where no file can be opened") {
    CHECK(sorvane::test::inForkedChild([] {
              const rlimit none{0, 0};
              ::setrlimit(RLIMIT_NOFILE, &none);
              std::array<unsigned char, 16> bytes{};
              fillRandom(bytes);
              return std::count(bytes.begin(), bytes.end(), 0) < 16;
          }) == 0);
}
