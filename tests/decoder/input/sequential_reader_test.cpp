#include "decoder/input/sequential_reader.h"

#include <array>
#include <cstdint>

#include <doctest/doctest.h>

#include "tests/decoder/input_file.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

TEST_CASE("a file is read in its order, and the offset is known") {
    InputFile file({1, 2, 3, 4, 5, 6, 7, 8});
    SequentialReader reader(file.source());
    std::array<std::uint8_t, 2> two{};
    CHECK(reader.offset() == 0);
    CHECK(reader.byte() == 1);
    CHECK(reader.read(two));
    CHECK(two == std::array<std::uint8_t, 2>{2, 3});
    CHECK(reader.skip(2));
    CHECK(reader.offset() == 5);
    CHECK(reader.skipTo(7));
    CHECK(reader.skipTo(7));
    CHECK(reader.byte() == 8);
    CHECK(reader.offset() == 8);
}

TEST_CASE("a part before the offset is not read again, nor one beyond the end") {
    InputFile back({1, 2, 3});
    SequentialReader reader(back.source());
    CHECK(reader.skip(2));
    CHECK_FALSE(reader.skipTo(1));
    CHECK(reader.byte() == 3);
    CHECK_FALSE(reader.byte());
    CHECK(reader.offset() == 3);
    CHECK(reader.skip(0));
    InputFile beyond({1, 2, 3});
    CHECK_FALSE(SequentialReader(beyond.source()).skip(4));
    InputFile far({1, 2, 3});
    CHECK_FALSE(SequentialReader(far.source()).skipTo(UINT64_MAX));
    InputFile cut({1, 2, 3});
    std::array<std::uint8_t, 4> four{};
    CHECK_FALSE(SequentialReader(cut.source()).read(four));
}

TEST_CASE("what is skipped may be longer than any buffer") {
    Bytes content(60'001);
    content.back() = 7;
    InputFile file(content);
    SequentialReader reader(file.source());
    CHECK(reader.skip(60'000));
    CHECK(reader.byte() == 7);
}
