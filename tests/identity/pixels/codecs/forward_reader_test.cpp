#include <array>
#include <cstdint>

#include <doctest/doctest.h>

#include "identity/pixels/codecs/forward_reader.h"
#include "tests/identity/pixels/poured_file.h"

using namespace sorvane::pixels;
using namespace sorvane::test;

TEST_CASE("a file is read in its order, and the place is known") {
    PouredFile file({1, 2, 3, 4, 5, 6, 7, 8});
    ForwardReader reader(file.source());
    std::array<std::uint8_t, 2> two{};
    CHECK(reader.place() == 0);
    CHECK(reader.byte() == 1);
    CHECK(reader.read(two));
    CHECK(two == std::array<std::uint8_t, 2>{2, 3});
    CHECK(reader.skip(2));
    CHECK(reader.place() == 5);
    CHECK(reader.skipTo(7));
    CHECK(reader.skipTo(7));
    CHECK(reader.byte() == 8);
    CHECK(reader.place() == 8);
}

TEST_CASE("there is no way back, and none beyond the end") {
    PouredFile back({1, 2, 3});
    ForwardReader reader(back.source());
    CHECK(reader.skip(2));
    CHECK_FALSE(reader.skipTo(1));
    CHECK(reader.byte() == 3);
    CHECK_FALSE(reader.byte());
    CHECK(reader.place() == 3);
    CHECK(reader.skip(0));
    PouredFile beyond({1, 2, 3});
    CHECK_FALSE(ForwardReader(beyond.source()).skip(4));
    PouredFile far({1, 2, 3});
    CHECK_FALSE(ForwardReader(far.source()).skipTo(UINT64_MAX));
    PouredFile cut({1, 2, 3});
    std::array<std::uint8_t, 4> four{};
    CHECK_FALSE(ForwardReader(cut.source()).read(four));
}

TEST_CASE("what is passed over may be longer than any buffer") {
    Bytes content(60'000);
    content.push_back(7);
    PouredFile file(content);
    ForwardReader reader(file.source());
    CHECK(reader.skip(60'000));
    CHECK(reader.byte() == 7);
}
