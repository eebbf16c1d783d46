#include "decoder/formats/png/png_metadata.h"

#include <string>

#include <doctest/doctest.h>

#include "tests/decoder/formats/png/png_bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

const Bytes gamma = bigEndian32(45'455);
const Bytes primaries(32, 1);

Bytes profileChunk(const Bytes& profile) {
    return joined({bytes("name"), {0, 0}, deflated(profile)});
}

// A profile as far as the chunk goes: its length, and then anything.
Bytes profileOfLength(std::uint32_t declared, std::size_t actual) {
    return joined({bigEndian32(declared), Bytes(actual - 4, 'p')});
}

// A letter a statement: profile, sRGB, gamma with primaries.
std::string said(const std::vector<PngChunk>& chunks) {
    std::string letters;
    for (const ColourStatement& statement : pngColour(chunks)) letters += "spg"[statement.index()];
    return letters;
}

} // namespace

TEST_CASE("the statements come in the order in which they count, whatever the file's") {
    const Bytes intent = {0};
    const Bytes profile = profileChunk(profileOfLength(200, 200));
    CHECK(said({}) == "");
    CHECK(said({{"cHRM", primaries}, {"gAMA", gamma}, {"sRGB", intent}, {"iCCP", profile}}) ==
          "psg");
    CHECK(said({{"gAMA", gamma}}) == "");
    CHECK(said({{"cHRM", primaries}}) == "");
}

TEST_CASE("a chunk of the wrong form says nothing") {
    const Bytes none;
    const Bytes four = {4};
    const Bytes two = {0, 0};
    for (const Bytes& intent : {none, four, two}) CHECK(said({{"sRGB", intent}}) == "");
    CHECK(said({{"gAMA", none}, {"cHRM", primaries}}) == "");
    CHECK(said({{"gAMA", gamma}, {"cHRM", gamma}}) == "");
    const Bytes good = deflated(profileOfLength(200, 200));
    for (const Bytes& chunk :
         {none, bytes("name"), joined({bytes("name"), {0}}), joined({bytes("name"), {0, 1}, good}),
          joined({Bytes(80, 'n'), {0, 0}, good}), joined({bytes("name"), {0, 0}}),
          joined({bytes("name"), {0, 0}, bytes("no zlib stream")}),
          profileChunk(profileOfLength(201, 200)), profileChunk(profileOfLength(3, 200)),
          profileChunk(profileOfLength(0xffffffff, 200))})
        CHECK(said({{"iCCP", chunk}}) == "");
    CHECK(said({{"iCCP", joined({Bytes(79, 'n'), {0, 0}, good})}}) == "p");
}

TEST_CASE("a profile is inflated as far as it says") {
    const Bytes chunk = profileChunk(profileOfLength(150, 300));
    const auto statements = pngColour({{"iCCP", chunk}});
    REQUIRE(statements.size() == 1);
    CHECK(std::get<IccProfile>(statements[0]).bytes == profileOfLength(150, 150));
}

TEST_CASE("gamma and primaries are read as they stand") {
    Bytes numbered;
    for (std::uint32_t i = 0; i < 8; ++i) numbered = joined({numbered, bigEndian32(1000 + i)});
    const auto statements = pngColour({{"gAMA", gamma}, {"cHRM", numbered}});
    REQUIRE(statements.size() == 1);
    const auto& read = std::get<GammaAndPrimaries>(statements[0]);
    CHECK(read.gamma == 45'455);
    CHECK(read.chromaticities.front() == 1000);
    CHECK(read.chromaticities.back() == 1007);
}

TEST_CASE("an orientation is absent without its chunk and upright in a garbled one") {
    CHECK_FALSE(pngOrientation({{"gAMA", gamma}}));
    CHECK(pngOrientation({{"eXIf", gamma}}) == Orientation::upright);
}
