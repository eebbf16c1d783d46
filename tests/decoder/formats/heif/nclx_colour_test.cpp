#include "decoder/formats/heif/nclx_colour.h"

#include <doctest/doctest.h>

#include "decoder/colour/profile_verdict.h"
#include "decoder/input/number_reader.h"

using namespace sorvane::decoder;

TEST_CASE("the colours of screens, and silence about them, are sRGB") {
    for (const std::uint32_t primaries : {1U, 2U})
        for (const std::uint32_t transfer : {1U, 2U, 6U, 13U, 14U, 15U}) {
            const auto statement = nclxColour(primaries, transfer);
            REQUIRE(statement);
            CHECK(std::holds_alternative<DeclaredSrgb>(*statement));
        }
}

TEST_CASE("wider colours come as their profile") {
    for (const std::uint32_t primaries : {9U, 12U})
        for (const std::uint32_t transfer : {1U, 2U, 13U, 14U}) {
            const auto statement = nclxColour(primaries, transfer);
            REQUIRE(statement);
            const auto& profile = std::get<IccProfile>(*statement).bytes;
            CHECK(judgeProfile(profile, Channels::rgb) == ProfileVerdict::other);
            CHECK(profile.size() == NumberReader(profile, ByteOrder::big).u32(0));
        }
}

TEST_CASE("what is neither is said to be nothing") {
    CHECK_FALSE(nclxColour(9, 16));
    CHECK_FALSE(nclxColour(9, 18));
    CHECK_FALSE(nclxColour(1, 8));
    CHECK_FALSE(nclxColour(4, 13));
    CHECK_FALSE(nclxColour(0, 0));
}
