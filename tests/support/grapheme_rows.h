#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What graphemes are, whichever library tells: for the tests of every twin.
namespace sorvane::test {

using namespace std::string_view_literals;

struct CountedText {
    std::vector<std::string_view> parts;
    std::size_t count;

    std::string text() const {
        std::string text;
        for (const std::string_view part : parts) text += part;
        return text;
    }
};

struct Neighbours {
    char32_t before, after;
    bool boundary;
};

inline std::vector<CountedText> countedTexts() {
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

    return {
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
}

inline std::vector<Neighbours> neighbours() {
    return {
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
}

} // namespace sorvane::test
