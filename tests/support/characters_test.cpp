#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "support/characters.h"
#include "support/utf8.h"

using namespace sorvane;
using namespace std::string_view_literals;

namespace {

constexpr std::string_view combiningAcute = "\u0301";
constexpr std::string_view joiner = "\u200D"; // zero width
constexpr std::string_view emojiForm = "\uFE0F";
constexpr std::string_view woman = "\U0001F469";
constexpr std::string_view man = "\U0001F468";
constexpr std::string_view girl = "\U0001F467";
constexpr std::string_view boy = "\U0001F466";
constexpr std::string_view thumb = "\U0001F44D";
constexpr std::string_view mediumSkin = "\U0001F3FD";
constexpr std::string_view letterD = "\U0001F1E9"; // regional indicators, two to a flag
constexpr std::string_view letterE = "\U0001F1EA";
constexpr std::string_view letterF = "\U0001F1EB";
constexpr std::string_view letterR = "\U0001F1F7";

std::string join(const std::vector<std::string_view>& parts) {
    std::string text;
    for (const std::string_view part : parts) text += part;
    return text;
}

} // namespace

TEST_CASE("characters are counted as a reader sees them") {
    struct Row {
        std::vector<std::string_view> text;
        std::size_t count;
    };
    const std::vector<Row> rows = {
        {{""}, 0},
        {{"a"}, 1},
        {{"0123456789abcdef"}, 16},
        {{"\0"sv}, 1},
        {{"a\0b"sv}, 3},
        // Of the controls only carriage return and line feed belong together.
        {{"\r\n"}, 1},
        {{"\n\r"}, 2},
        {{"\r\r\n"}, 2},
        {{"\r\n\n"}, 2},
        {{"\r\n\r\n"}, 2},
        {{"a\r\nb"}, 3},
        {{"\u00E9\r\n\u00E9"}, 3},
        {{"\n", combiningAcute}, 2},
        {{"\0"sv, combiningAcute}, 2},
        {{"\u00E9\nb", combiningAcute}, 3},
        {{"\u00E9b\n", combiningAcute}, 4},
        // Accents and other marks.
        {{"\u00E9"}, 1},
        {{"e", combiningAcute}, 1},
        {{"e", combiningAcute, combiningAcute, "\u0323"}, 1},
        {{"e", combiningAcute, "a"}, 2},
        {{"\u00E9", combiningAcute, "\u00E9"}, 2},
        {{combiningAcute}, 1},
        {{combiningAcute, "a"}, 2},
        {{" ", combiningAcute}, 1},
        {{"1", emojiForm, "\u20E3"}, 1},
        {{"a", emojiForm, "b"}, 2},
        // People joined to a family; a skin tone; a joiner that joins nothing.
        {{man, joiner, woman, joiner, girl, joiner, boy}, 1},
        {{man, joiner, woman, man, joiner, woman}, 2},
        {{man, woman}, 2},
        {{thumb, mediumSkin}, 1},
        {{woman, mediumSkin, joiner, "\U0001F52C"}, 1},
        {{woman, emojiForm, joiner, girl}, 1},
        {{"a", joiner, "b"}, 2},
        {{"a", joiner, woman}, 2},
        {{woman, joiner, "a"}, 2},
        {{woman, joiner, "a", joiner, woman}, 3},
        {{woman, "a", joiner, woman}, 3},
        {{woman, "ab", joiner, woman}, 4},
        {{joiner, woman}, 2},
        // Flags, in pairs from the beginning of each row of letters.
        {{letterD, letterE}, 1},
        {{letterD}, 1},
        {{letterD, letterE, letterF, letterR}, 2},
        {{letterD, letterE, letterF}, 2},
        {{letterD, "a", letterE, letterF}, 3},
        {{letterD, "ab", letterE, letterF}, 4},
        {{letterD, letterE, "a", letterF, letterR}, 3},
        {{letterD, combiningAcute, letterE}, 2},
        {{"a", letterD, letterE}, 2},
        {{"ab", letterD, letterE, letterF}, 4},
        {{"\U0001F3F4\U000E0067\U000E0062\U000E0065\U000E006E\U000E0067\U000E007F"}, 1},
        // Korean syllables, whole and in their parts.
        {{"\uD55C\uAE00"}, 2},
        {{"\u1112\u1161\u11AB"}, 1},
        {{"\u1112\u1161\u11AB\u1100\u1173\u11AF"}, 2},
        {{"\u1112\u1112\u1161\u1161\u11AB\u11AB"}, 1},
        {{"\uD558\u11AB"}, 1},
        {{"\u11AB\u1161"}, 2},
        // Vowel signs that stand beside their letter.
        {{"\u0928\u093F"}, 1},
        {{"\u0928\u092E\u0938\u094D"}, 3},
        {{"\u0BA8\u0BBF"}, 1},
        {{"\u0E01\u0E33"}, 1},
        {{"\u0995\u09CB"}, 1},
        // Signs that stand before what they belong to, and blanks without width.
        {{"\u06001"}, 1},
        {{"\u0600\u0661\u0662"}, 2},
        {{"a\u200Bb"}, 3},
        {{"a\u00ADb"}, 3},
        {{"a\uFEFFb"}, 3},
        {{"\u2028\u2029"}, 2},
        {{"\u0085", combiningAcute}, 2},
        // Each piece that is not UTF-8 counts as the replacement character.
        {{"\xFF"}, 1},
        {{"a\xFF\xFE"}, 3},
        {{"\xE2\x82"}, 1},
        {{"\xFF", combiningAcute}, 1},
    };
    for (const Row& row : rows) {
        const std::string text = join(row.text);
        CAPTURE(text);
        CHECK(characters::count(text) == row.count);
        // The same behind and before what nothing belongs to.
        const std::size_t joined = text.ends_with('\r') ? 1 : 0;
        CHECK(characters::count("\n" + text + "\n") == row.count + 2 - joined);
    }
}

TEST_CASE("a length of 64 is counted in characters") {
    const std::string digits(64, 'a');
    CHECK(characters::count(digits) == 64);
    CHECK(characters::count(digits + std::string(combiningAcute)) == 64);
    CHECK(characters::count(digits + std::string(emojiForm)) == 64);
    CHECK(characters::count(digits + "\n") == 65);
    std::string accented;
    for (int digit = 0; digit < 64; ++digit) accented += "a\u0301";
    CHECK(characters::count(accented) == 64);
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
        {"\uFF21", "\uFF41"},
        {"\U00010400\U0001E900", "\U00010428\U0001E922"},
        {"\u4E00\U0001F600", "\u4E00\U0001F600"},
        {"E\u0301", "e\u0301"},
        // What is not UTF-8 is repaired.
        {"A\xFFZ", "a\uFFFDz"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.text);
        CHECK(characters::lowercased(row.text) == row.lower);
    }
}

TEST_CASE("lower case is final") {
    std::size_t faults = 0;
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        if (scalar == 0xD800) scalar = 0xE000;
        std::string text;
        utf8::append(text, scalar);
        const std::string lower = characters::lowercased(text);
        if (!utf8::isValid(lower) || characters::lowercased(lower) != lower) ++faults;
    }
    CHECK(faults == 0);
}

TEST_CASE("a character ends between two scalars that do not belong together") {
    struct Row {
        char32_t before, after;
        bool boundary;
    };
    const std::vector<Row> rows = {
        {U'a', U'b', true},
        {U'/', U'0', true},
        {U'9', U'.', true},
        {U'\r', U'\n', false},
        {U'\n', U'\r', true},
        {U'\n', U'a', true},
        {U'f', U'\n', true},
        {U'f', U'\r', true},
        {U'f', 0, true},
        // What belongs to the digit before it.
        {U'f', 0x0301, false},
        {U'f', 0x200D, false},
        {U'f', 0xFE0F, false},
        {U'f', 0x20E3, false},
        {U'f', 0x1F3FD, false},
        {U'f', 0x0903, false},
        {U'f', 0x200C, false},
        {U'f', 0xE0020, false},
        // What does not.
        {U'f', 0x00E9, true},
        {U'f', 0x200B, true},
        {U'f', 0x2028, true},
        {U'f', 0xFEFF, true},
        {U'f', 0x1F600, true},
        {U'f', 0x1F1E9, true},
        {U'f', 0x1161, true},
        {U'f', 0xFFFD, true},
        // What stands before the first letter.
        {0x0301, U's', true},
        {0x200D, U's', true},
        {0x00E9, U's', true},
        {0x1F600, U's', true},
        {0x1F1E9, U's', true},
        {0xFFFD, U's', true},
        {0x2028, U's', true},
        {0x0600, U's', false},
        {0x110BD, U's', false},
    };
    for (const Row& row : rows) {
        CAPTURE(static_cast<unsigned>(row.before));
        CAPTURE(static_cast<unsigned>(row.after));
        CHECK(characters::isBoundary(row.before, row.after) == row.boundary);
        std::string text;
        utf8::append(text, row.before);
        utf8::append(text, row.after);
        CHECK(characters::count(text) == (row.boundary ? 2 : 1));
    }
}
