#include <string>

#include <doctest/doctest.h>

#include "decoder/colour/colour_engine.h"
#include "tests/decoder/colour/profile_bytes.h"

using namespace sorvane;
using namespace sorvane::test;

namespace {

// A description as version 2 writes it: in ASCII, then in two other ways that are left empty.
Bytes asciiTag(std::string_view name) {
    const auto length = static_cast<std::uint32_t>(name.size() + 1);
    return joined({bytes("desc"), Bytes(4), bigEndian32(length), bytes(name), Bytes(1 + 78)});
}

// As version 4 writes it: in one language, two bytes a character.
Bytes wideTag(std::u16string_view name) {
    Bytes tag = joined({bytes("mluc"), Bytes(4), bigEndian32(1), bigEndian32(12), bytes("enUS"),
                        bigEndian32(static_cast<std::uint32_t>(2 * name.size())), bigEndian32(28)});
    for (const char16_t c : name)
        tag = joined({tag, {static_cast<std::uint8_t>(c >> 8), static_cast<std::uint8_t>(c)}});
    return tag;
}

std::string nameIn(const Bytes& tag) {
    ProfileTags tags = srgbTags();
    tags.emplace_back("desc", tag);
    return decoder::profileName(profileOf(tags, "RGB "));
}

} // namespace

TEST_CASE("a profile's name is that of its description, in either form") {
    CHECK(nameIn(asciiTag("Display P3")) == "Display P3");
    CHECK(nameIn(wideTag(u"Display P3")) == "Display P3");
}

TEST_CASE("a profile's name cannot leave its line") {
    CHECK(nameIn(asciiTag("a\nreason b\x7f")) == "a?reason b?");
    CHECK(nameIn(wideTag(u"a\n\u00e9")) == "a??");
    CHECK(nameIn(asciiTag(std::string(5000, 'x'))).size() == 127);
}

TEST_CASE("a profile without a description, or one that is damaged, has no name") {
    CHECK(decoder::profileName(displayP3Profile()).empty());
    CHECK(decoder::profileName(bytes("no profile")).empty());
    CHECK(decoder::profileName({}).empty());
}
