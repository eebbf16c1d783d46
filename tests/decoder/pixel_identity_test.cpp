#include "decoder/pixel_identity.h"

#include <optional>
#include <variant>

#include <doctest/doctest.h>

#include "decoder/memory_limit.h"
#include "identity/pixel_budget.h"
#include "support/sha256.h"
#include "tests/decoder/formats/png/png_bytes.h"
#include "tests/decoder/input_file.h"
#include "tests/identity/identity_in.h"

using namespace sorvane;
using namespace sorvane::test;

namespace {

const Bytes turned = pngChunk(
    "eXIf", bytes(std::string_view("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06", 20)));

const Bytes turnedLate = pngFile({2, 1}, {0, 10, 20}, {}, turned);

std::optional<DecoderAnswer> answerTo(const Bytes& content,
                                      std::optional<LateOrientation> told = std::nullopt) {
    InputFile file(content);
    auto answer = decoder::pixelIdentity(file.source(), told);
    if (answer) CHECK(file.source().peek(1).empty());
    return answer;
}

} // namespace

TEST_CASE("a picture is known by its upright pixels and its declared size") {
    const auto identity =
        identityIn(answerTo(joined({pngFile({2, 1}, {0, 10, 20}, turned), Bytes(50'000)})));
    REQUIRE(identity);
    Sha256 digest;
    digest.update("1x2:rgba8-srgb:\x0a\x0a\x0a\xff\x14\x14\x14\xff");
    CHECK(identity->digest == digest.hex());
    CHECK(identity->width == 2);
    CHECK(identity->height == 1);
}

TEST_CASE("a picture that is turned after its pixels has its identity once the turn is told") {
    const auto answer = answerTo(joined({turnedLate, Bytes(50'000)}));
    REQUIRE(answer);
    REQUIRE(std::holds_alternative<LateOrientation>(*answer));
    const auto late = std::get<LateOrientation>(*answer);
    CHECK(late.number == 6);
    const auto identity = identityIn(answerTo(turnedLate, late));
    REQUIRE(identity);
    const auto turnedBefore = identityIn(answerTo(pngFile({2, 1}, {0, 10, 20}, turned)));
    REQUIRE(turnedBefore);
    CHECK(identity->digest == turnedBefore->digest);
    CHECK(identity->width == 2);
    CHECK(identity->height == 1);
}

TEST_CASE("a picture that is turned otherwise than was told has no identity") {
    CHECK_FALSE(answerTo(turnedLate, LateOrientation{8}));
    CHECK_FALSE(answerTo(turnedLate, LateOrientation{1}));
    CHECK_FALSE(answerTo(pngFile({2, 1}, {0, 10, 20}), LateOrientation{6}));
    CHECK_FALSE(answerTo(pngFile({2, 1}, {0, 10, 20}, turned), LateOrientation{3}));
}

TEST_CASE("what is no picture or is damaged has no identity") {
    const Bytes whole = pngFile({2, 1}, {0, 10, 20});
    for (const Bytes& content : {Bytes{}, bytes("\x89PNG"), bytes("no picture at all"),
                                 bytes("\xff\xd8\xff"), Bytes(whole.begin(), whole.end() - 1)}) {
        CHECK_FALSE(answerTo(content));
    }
}

TEST_CASE("what becomes of a picture, and why, is explained in lines") {
    const auto explained = [](const Bytes& content) {
        InputFile file(content);
        return decoder::explanation(file.source());
    };
    const Bytes whole = pngFile({2, 1}, {0, 10, 20}, turned);
    const std::string known = "format png\nsize 2 1\norientation 6\ncolour untagged\n";
    CHECK(explained(whole) == known);
    CHECK(explained(Bytes(whole.begin(), whole.end() - 1)) ==
          known + "reason the picture is damaged\n");
    CHECK(explained(turnedLate) ==
          "format png\nsize 2 1\norientation 1\ncolour untagged\norientation 6\n");
    CHECK(explained(bytes("no picture at all")) == "reason no image format that is known\n");
    CHECK(explained(bytes("\xff\xd8\xff")) ==
          "format jpeg\nreason the file's header is damaged, or of a kind that is not decoded\n");
    CHECK(explained(pngFile({8000, 8000}, {0, 10, 20})) ==
          "format png\nsize 8000 8000\norientation 1\ncolour untagged\n"
          "reason more than 60000000 pixels\n");
}

TEST_CASE("a file may take the memory of its format, and none of it is taken to tell") {
    InputFile png(pngFile({2, 1}, {0, 10, 20}));
    InputFile gif(bytes("GIF89a and so on"));
    InputFile none(bytes("no picture at all"));
    const std::uint64_t ofGif = decoder::pixelIdentityMemory(gif.source());
    CHECK(ofGif > maxFrameBytes);
    CHECK(decoder::pixelIdentityMemory(png.source()) > ofGif);
    CHECK(decoder::pixelIdentityMemory(png.source()) <= decoder::maxMemory);
    CHECK(decoder::pixelIdentityMemory(none.source()) == 0);
    CHECK(decoder::pixelIdentity(png.source()));
}
