#include "support/uuid.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane;
using namespace std::string_view_literals;

TEST_CASE("a UUID is read in either case and told in both") {
    struct Row {
        std::string_view text, upper, lower;
    };
    const std::vector<Row> rows = {
        {"9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c", "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C",
         "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c"},
        {"9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C", "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C",
         "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c"},
        {"9b2F4c1E-3a7D-4f5B-8c6E-2d1A0f9E8b7C", "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C",
         "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c"},
        {"00112233-4455-6677-8899-aabbccddeeff", "00112233-4455-6677-8899-AABBCCDDEEFF",
         "00112233-4455-6677-8899-aabbccddeeff"},
        {"00000000-0000-0000-0000-000000000000", "00000000-0000-0000-0000-000000000000",
         "00000000-0000-0000-0000-000000000000"},
        {"ffffffff-ffff-ffff-ffff-ffffffffffff", "FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF",
         "ffffffff-ffff-ffff-ffff-ffffffffffff"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.text);
        const auto uuid = Uuid::parse(row.text);
        REQUIRE(uuid);
        CHECK(uuid->upperText() == row.upper);
        CHECK(uuid->lowerText() == row.lower);
        CHECK(*uuid == *Uuid::parse(row.upper));
    }
}

TEST_CASE("what is not quite a UUID is rejected") {
    const std::vector<std::string_view> texts = {
        "",
        "9b2f4c1e",
        "9b2f4c1e3a7d4f5b8c6e2d1a0f9e8b7c",
        "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7",
        "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c0",
        "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c ",
        "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c\n",
        "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c\0"sv,
        " 9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        " 9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7",
        "{9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c}",
        "{9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b}",
        "urn:uuid:9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "9b2f4c1-e3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "9b2f4c1e3-a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "9b2f4c1e-3a7d4-f5b-8c6e-2d1a0f9e8b7c",
        "9b2f4c1e-3a7d-4f5b8-c6e-2d1a0f9e8b7c",
        "9b2f4c1e-3a7d-4f5b-8c6e2-d1a0f9e8b7c",
        "9b2f4c1e-3a7d-4f5b-8c6e--d1a0f9e8b7c",
        "0x2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "+b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
        "\uFF11b2f4c-3a7d-4f5b-8c6e-2d1a0f9e8b7c",
    };
    for (const std::string_view text : texts) {
        CAPTURE(text);
        CHECK_FALSE(Uuid::parse(text));
    }
}

TEST_CASE("no other character is accepted at any index") {
    const std::string uuid = "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c";
    for (std::size_t index = 0; index < uuid.size(); ++index) {
        for (int other = 0; other < 256; ++other) {
            const char character = static_cast<char>(other);
            const bool digit = "0123456789abcdefABCDEF"sv.find(character) != std::string::npos;
            std::string text = uuid;
            text[index] = character;
            CAPTURE(text);
            CHECK(Uuid::parse(text).has_value() == (uuid[index] == '-' ? other == '-' : digit));
        }
    }
}

TEST_CASE("UUIDs are equal by value") {
    const auto one = *Uuid::parse("9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c");
    CHECK(one == *Uuid::parse("9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C"));
    CHECK(one != *Uuid::parse("9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7d"));
    CHECK(one != *Uuid::parse("8b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c"));
}

TEST_CASE("random UUIDs are of version 4, all different, and vary everywhere else") {
    constexpr std::size_t many = 2000;
    std::set<std::string> texts;
    std::vector<std::set<char>> seen(36);
    for (std::size_t one = 0; one < many; ++one) {
        const std::string text = Uuid::random().lowerText();
        REQUIRE(Uuid::parse(text));
        texts.insert(text);
        for (std::size_t index = 0; index < text.size(); ++index) seen[index].insert(text[index]);
    }
    CHECK(texts.size() == many);
    CHECK(seen[14] == std::set{'4'});
    CHECK(seen[19] == std::set{'8', '9', 'a', 'b'});
    for (std::size_t index = 0; index < seen.size(); ++index) {
        CAPTURE(index);
        if (index == 8 || index == 13 || index == 18 || index == 23)
            CHECK(seen[index] == std::set{'-'});
        else if (index != 14 && index != 19)
            CHECK(seen[index].size() == 16);
    }
}
