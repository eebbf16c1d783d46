#include "decoder/input/number_reader.h"

#include <array>

#include <doctest/doctest.h>

using namespace sorvane::decoder;

TEST_CASE("numbers are read in either byte order, wholly inside or not at all") {
    constexpr std::array<std::uint8_t, 5> bytes = {0x01, 0x02, 0xfe, 0xff, 0x80};
    const NumberReader big(bytes, ByteOrder::big);
    const NumberReader little(bytes, ByteOrder::little);
    CHECK(big.u8(2) == 0xfe);
    CHECK_FALSE(big.u8(5));
    CHECK(big.u16(0) == 0x0102);
    CHECK(little.u16(0) == 0x0201);
    CHECK(big.u32(1) == 0x02feff80U);
    CHECK(little.u32(1) == 0x80fffe02U);
    CHECK(big.u16(3) == 0xff80);
    constexpr std::array<std::uint8_t, 9> more = {0, 0xf1, 2, 3, 4, 5, 6, 7, 8};
    CHECK(NumberReader(more, ByteOrder::big).u64(1) == 0xf102030405060708U);
    CHECK(NumberReader(more, ByteOrder::little).u64(0) == 0x07060504'0302f100U);
    CHECK_FALSE(NumberReader(more, ByteOrder::big).u64(2));
    CHECK_FALSE(big.u16(4));
    CHECK_FALSE(big.u32(2));
    CHECK_FALSE(big.u16(5));
    CHECK_FALSE(big.u16(~std::size_t{0}));
}
