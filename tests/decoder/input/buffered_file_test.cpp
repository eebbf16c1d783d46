#include "decoder/input/buffered_file.h"

#include <doctest/doctest.h>

#include "tests/decoder/input_file.h"

using namespace sorvane;
using namespace sorvane::test;

namespace {

constexpr std::size_t length = 60'000;

Bytes content() {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
    return bytes;
}

Bytes piece(decoder::BufferedFile& file, std::uint64_t offset, std::size_t count) {
    const auto bytes = file.at(offset, count);
    return {bytes.begin(), bytes.end()};
}

Bytes piece(const Bytes& bytes, std::size_t offset, std::size_t count) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

} // namespace

TEST_CASE("any piece of the file is to be had, in any order, as often as it is asked for") {
    InputFile input(content());
    decoder::BufferedFile file(input.source(), 1'000'000);
    CHECK(piece(file, 50'000, 7) == piece(content(), 50'000, 7));
    CHECK(piece(file, 0, 9) == piece(content(), 0, 9));
    CHECK(piece(file, 50'000, 7) == piece(content(), 50'000, 7));
    CHECK(piece(file, 100, length - 100) == piece(content(), 100, length - 100));
    CHECK(piece(file, 5, 0).empty());
}

TEST_CASE("at its end the file gives what there is") {
    InputFile input(content());
    decoder::BufferedFile file(input.source(), 1'000'000);
    CHECK(piece(file, length - 3, 10) == piece(content(), length - 3, 3));
    CHECK(piece(file, length, 10).empty());
    CHECK(piece(file, 999'999, SIZE_MAX).empty());
    CHECK(piece(file, UINT64_MAX, SIZE_MAX).empty());
    CHECK(piece(file, length - 1, SIZE_MAX) == piece(content(), length - 1, 1));
}

TEST_CASE("the file is read no further than it is asked for") {
    InputFile input(content());
    decoder::BufferedFile file(input.source(), 1'000'000);
    file.at(0, 100);
    CHECK(input.source().peek(1) == std::string_view("\x64", 1));
}

TEST_CASE("after the largest size the file has ended") {
    InputFile input(content());
    decoder::BufferedFile file(input.source(), 1000);
    CHECK(piece(file, 990, 20) == piece(content(), 990, 10));
    CHECK(piece(file, 1000, 1).empty());
    CHECK(input.source().peek(1) == std::string_view("\xf7", 1));
}
