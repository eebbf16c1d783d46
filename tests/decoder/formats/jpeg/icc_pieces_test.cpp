#include "decoder/formats/jpeg/icc_pieces.h"

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

std::optional<Bytes> joinedPieces(const std::vector<Bytes>& pieces) {
    IccPieces collected;
    for (const Bytes& piece : pieces) collected.add(piece);
    const auto profile = collected.profile();
    return profile ? std::optional(profile->bytes) : std::nullopt;
}

} // namespace

TEST_CASE("pieces make the profile in the order of their numbers") {
    CHECK(joinedPieces({{1, 1, 'a', 'b'}}) == bytes("ab"));
    CHECK(joinedPieces({{3, 3, 'e'}, {1, 3, 'a', 'b'}, {2, 3, 'c', 'd'}}) == bytes("abcde"));
    CHECK(joinedPieces({{1, 2, 'a'}, {2, 2}}) == bytes("a"));
    std::vector<Bytes> all;
    for (int number = 255; number > 0; --number)
        all.push_back({static_cast<std::uint8_t>(number), 255, static_cast<std::uint8_t>(number)});
    const auto profile = joinedPieces(all);
    REQUIRE(profile);
    CHECK(profile->size() == 255);
    CHECK(profile->back() == 255);
}

TEST_CASE("pieces that do not fit together make none") {
    for (const std::vector<Bytes>& pieces : std::vector<std::vector<Bytes>>{
             {},
             {{}},
             {{1}},
             {{1, 2, 'a'}},
             {{0, 1, 'a'}},
             {{2, 1, 'a'}},
             {{1, 0, 'a'}},
             {{1, 2, 'a'}, {1, 2, 'a'}},
             {{1, 2, 'a'}, {2, 3, 'b'}},
             {{1, 2, 'a'}, {2, 2, 'b'}, {2, 2, 'b'}},
         })
        CHECK_FALSE(joinedPieces(pieces));
}
