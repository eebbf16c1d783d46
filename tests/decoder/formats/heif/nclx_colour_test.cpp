#include "decoder/formats/heif/nclx_colour.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <doctest/doctest.h>

#include "decoder/colour/profile_verdict.h"
#include "decoder/input/number_reader.h"
#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

TEST_CASE("BT.709 and unspecified colours are sRGB") {
    for (const std::uint32_t primaries : {1U, 2U})
        for (const std::uint32_t transfer : {1U, 2U, 6U, 13U, 14U, 15U}) {
            const auto statement = nclxColour(primaries, transfer);
            REQUIRE(statement);
            CHECK(std::holds_alternative<DeclaredSrgb>(*statement));
        }
}

TEST_CASE("wider colours become their profile") {
    for (const std::uint32_t primaries : {9U, 12U})
        for (const std::uint32_t transfer : {1U, 2U, 4U, 5U, 13U, 14U}) {
            const auto statement = nclxColour(primaries, transfer);
            REQUIRE(statement);
            const auto& profile = std::get<IccProfile>(*statement).bytes;
            CHECK(judgeProfile(profile, Channels::rgb) == ProfileVerdict::other);
            CHECK(profile.size() == NumberReader(profile, ByteOrder::big).u32(0));
        }
}

TEST_CASE("a plain gamma becomes a profile of sRGB's primaries") {
    for (const auto& [transfer, gamma] : {std::pair(4U, 2.2), std::pair(5U, 2.8)}) {
        const auto statement = nclxColour(1, transfer);
        REQUIRE(statement);
        const auto& profile = std::get<IccProfile>(*statement).bytes;
        CHECK(judgeProfile(profile, Channels::rgb) == ProfileVerdict::other);
        const auto curve = bytes("para");
        const auto found = std::search(profile.begin(), profile.end(), curve.begin(), curve.end());
        const NumberReader numbers({found, profile.end()}, ByteOrder::big);
        CHECK(numbers.u32(12) == std::lround(gamma * 65536));
        CHECK(nclxColour(2, transfer));
    }
}

TEST_CASE("other colours are nothing") {
    CHECK_FALSE(nclxColour(9, 16));
    CHECK_FALSE(nclxColour(9, 18));
    CHECK_FALSE(nclxColour(1, 8));
    CHECK_FALSE(nclxColour(4, 13));
    CHECK_FALSE(nclxColour(0, 0));
}
