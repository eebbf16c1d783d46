#include "support/graphemes.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "support/utf8.h"
#include "tests/support/grapheme_rows.h"

using namespace sorvane;
using namespace std::string_view_literals;

namespace {

constexpr std::string_view combiningAcute = "\u0301";
constexpr std::string_view emojiForm = "\uFE0F";

} // namespace

TEST_CASE("graphemes are counted as a reader sees them") {
    for (const test::CountedText& row : test::countedTexts()) {
        const std::string text = row.text();
        CAPTURE(text);
        CHECK(graphemes::count(text) == row.count);
        // The same after and before what nothing belongs to.
        const std::size_t joined = text.ends_with('\r') ? 1 : 0;
        CHECK(graphemes::count("\n" + text + "\n") == row.count + 2 - joined);
    }
}

TEST_CASE("a length of 64 is counted in graphemes") {
    const std::string digits(64, 'a');
    CHECK(graphemes::count(digits) == 64);
    CHECK(graphemes::count(digits + std::string(combiningAcute)) == 64);
    CHECK(graphemes::count(digits + std::string(emojiForm)) == 64);
    CHECK(graphemes::count(digits + "\n") == 65);
    std::string accented;
    for (int digit = 0; digit < 64; ++digit) accented += "a\u0301";
    CHECK(graphemes::count(accented) == 64);
}

TEST_CASE("lower case is that of every scalar alone") {
    struct Row {
        std::string_view text, lower;
    };
    const std::vector<Row> rows = {
        {"", ""},
        {"AZ az 09 @[`{", "az az 09 @[`{"},
        {"\0A\0"sv, "\0a\0"sv},
        {"\u00C0\u00C9\u00DE\u00D7", "\u00E0\u00E9\u00FE\u00D7"},
        {"\u0391\u03A9", "\u03B1\u03C9"},
        // The last letter of a word is lowered like any other.
        {"\u039F\u03A3", "\u03BF\u03C3"},
        {"\u039F\u03A3 ", "\u03BF\u03C3 "},
        {"\u03C2", "\u03C2"},
        {"\u0416\u042F", "\u0436\u044F"},
        // The one mapping that is longer than one scalar.
        {"\u0130", "i\u0307"},
        {"A\u0130B", "ai\u0307b"},
        // No locale: dotless and dotted letters as everywhere.
        {"I\u0131", "i\u0131"},
        {"\u1E9E\u00DF", "\u00DF\u00DF"},
        {"\u01C4\u01C5\u01C6", "\u01C6\u01C6\u01C6"},
        {"\u212A\u212B\u2126", "k\u00E5\u03C9"},
        {"\u2160\u24B6", "\u2170\u24D0"},
        {"\u10A0\u13A0", "\u2D00\uAB70"},
        {"\u1C90", "\u10D0"},
        {"\uFF21", "\uFF41"},
        {"\U00010400\U0001E900", "\U00010428\U0001E922"},
        {"\u4E00\U0001F600", "\u4E00\U0001F600"},
        {"E\u0301", "e\u0301"},
        // What is not UTF-8 is repaired.
        {"A\xFFZ", "a\uFFFDz"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.text);
        CHECK(graphemes::lowercased(row.text) == row.lower);
    }
}

TEST_CASE("lower case is final") {
    std::size_t faults = 0;
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        if (scalar == 0xD800) scalar = 0xE000;
        std::string text;
        utf8::append(text, scalar);
        const std::string lower = graphemes::lowercased(text);
        if (!utf8::isValid(lower) || graphemes::lowercased(lower) != lower) ++faults;
    }
    CHECK(faults == 0);
}

TEST_CASE("a grapheme ends between two scalars that do not belong together") {
    for (const test::Neighbours& row : test::neighbours()) {
        CAPTURE(static_cast<unsigned>(row.before));
        CAPTURE(static_cast<unsigned>(row.after));
        CHECK(graphemes::isBoundary(row.before, row.after) == row.boundary);
        std::string text;
        utf8::append(text, row.before);
        utf8::append(text, row.after);
        CHECK(graphemes::count(text) == (row.boundary ? 2 : 1));
    }
}
