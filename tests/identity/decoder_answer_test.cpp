#include "identity/decoder_answer.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include <doctest/doctest.h>

#include "tests/identity/identity_in.h"

using namespace sorvane;
using namespace std::string_literals;

namespace {

const std::string digest = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

} // namespace

TEST_CASE("an identity is the same after an answer") {
    for (const PixelIdentity& told : std::vector<PixelIdentity>{{digest, 1, 1},
                                                                {digest, 1024, 768},
                                                                {digest, 60'000'000, 1},
                                                                {digest, 1, 60'000'000}}) {
        CAPTURE(told.width);
        const std::string line = decoderAnswer(told);
        CHECK(line.size() <= maxDecoderAnswer);
        const auto identity = test::identityIn(parseDecoderAnswer(line));
        REQUIRE(identity);
        CHECK(identity->digest == told.digest);
        CHECK(identity->width == told.width);
        CHECK(identity->height == told.height);
    }
    CHECK(decoderAnswer(PixelIdentity{digest, 1024, 768}) == digest + " 1024 768\n");
}

TEST_CASE("an orientation is the same after an answer") {
    for (int number = 1; number <= 8; ++number) {
        const std::string line = decoderAnswer(LateOrientation{number});
        CHECK(line == "orientation " + std::to_string(number) + "\n");
        CHECK(line.size() <= maxDecoderAnswer);
        const auto answer = parseDecoderAnswer(line);
        REQUIRE(answer);
        CHECK(std::get<LateOrientation>(*answer).number == number);
    }
}

TEST_CASE("an answer is a digest and a size within the budget") {
    struct Row {
        std::string size;
        std::int64_t width, height;
    };
    const std::vector<Row> rows = {
        {" 1 1", 1, 1},
        {" 1024 768", 1024, 768},
        {" 7500 8000", 7500, 8000},
        {" 60000000 1", 60'000'000, 1},
        {" 1 60000000", 1, 60'000'000},
        {" 7745 7746", 7745, 7746},
    };
    for (const Row& row : rows) {
        CAPTURE(row.size);
        const auto identity = test::identityIn(parseDecoderAnswer(digest + row.size + "\n"));
        REQUIRE(identity);
        CHECK(identity->digest == digest);
        CHECK(identity->width == row.width);
        CHECK(identity->height == row.height);
    }
}

TEST_CASE("what is not quite an answer is none") {
    const std::string upper = "0123456789ABCDEF0123456789abcdef0123456789abcdef0123456789abcdef";
    const std::vector<std::string> lines = {"",
                                            "\n",
                                            " ",
                                            "0",
                                            digest,
                                            digest + "\n",
                                            digest + " ",
                                            digest + " 1",
                                            digest + " 1\n",
                                            digest + " 1 ",
                                            digest + " 1 \n",
                                            digest + " 1 1",
                                            digest + " 1 1 \n",
                                            digest + " 1 1\r\n",
                                            digest + " 1 1\n\n",
                                            digest + " 1 1\n ",
                                            digest + " 1 1\n\0"s,
                                            digest + " 1 1 1\n",
                                            digest + " 1 1\n" + digest + " 1 1\n",
                                            digest + "  1 1\n",
                                            digest + " 1  1\n",
                                            digest + "\t1 1\n",
                                            digest + " 1\t1\n",
                                            digest + " 1,1\n",
                                            digest + " 1x1\n",
                                            digest + "1 1\n",
                                            "\n" + digest + " 1 1\n",
                                            " " + digest + " 1 1\n",
                                            "\xEF\xBB\xBF" + digest + " 1 1\n",
                                            digest.substr(1) + " 1 1\n",
                                            digest + "0 1 1\n",
                                            upper + " 1 1\n",
                                            digest.substr(0, 63) + "g 1 1\n",
                                            digest.substr(0, 63) + "  1 1\n",
                                            digest.substr(0, 63) + "\0 1 1\n"s,
                                            digest + " 0 1\n",
                                            digest + " 1 0\n",
                                            digest + " 0 0\n",
                                            digest + " -1 1\n",
                                            digest + " 1 -1\n",
                                            digest + " -1 -1\n",
                                            digest + " +1 1\n",
                                            digest + " 1 +1\n",
                                            digest + " 1.0 1\n",
                                            digest + " 1 1.0\n",
                                            digest + " 1e1 1\n",
                                            digest + " 0x1 1\n",
                                            digest + " a 1\n",
                                            digest + " 1 a\n",
                                            digest + " 1a 1\n",
                                            digest + " 1 1a\n",
                                            digest + " 8000 8000\n",
                                            digest + " 60000001 1\n",
                                            digest + " 1 60000001\n",
                                            digest + " 7746 7746\n",
                                            digest + " 4294967296 4294967296\n",
                                            digest + " 9223372036854775807 2\n",
                                            digest + " 2 9223372036854775807\n",
                                            digest + " 9223372036854775808 1\n",
                                            digest + " 18446744073709551617 1\n",
                                            digest + " 1 18446744073709551617\n",
                                            "orientation ",
                                            "orientation \n",
                                            "orientation 6",
                                            "orientation 6 \n",
                                            "orientation 6\n\n",
                                            "orientation  6\n",
                                            "orientation\t6\n",
                                            "orientation 06\n",
                                            "orientation 0\n",
                                            "orientation 9\n",
                                            "orientation -6\n",
                                            "orientation x\n",
                                            " orientation 6\n",
                                            "orientation 6\n" + digest + " 1 1\n"};
    for (const std::string& line : lines) {
        CAPTURE(line);
        CHECK_FALSE(parseDecoderAnswer(line));
    }
}
