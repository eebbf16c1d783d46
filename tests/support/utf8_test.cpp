#include "support/utf8.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane;
using namespace std::string_view_literals;

namespace {

constexpr char32_t lastScalar = 0x10FFFF;

bool isSurrogate(char32_t scalar) { return scalar >= 0xD800 && scalar < 0xE000; }

std::string encoded(char32_t scalar) {
    std::string text;
    utf8::append(text, scalar);
    return text;
}

std::size_t expectedLength(char32_t scalar) {
    if (scalar <= 0x7F) return 1;
    if (scalar <= 0x7FF) return 2;
    return scalar <= 0xFFFF ? 3 : 4;
}

// The plainest reader there is: takes the bits as they come and rejects afterwards.
bool plainlyValid(std::string_view text) {
    while (!text.empty()) {
        const auto byte = [&text](std::size_t index) {
            return static_cast<unsigned char>(text[index]);
        };
        std::size_t length = 0;
        if (byte(0) >> 7 == 0) length = 1;
        if (byte(0) >> 5 == 6) length = 2;
        if (byte(0) >> 4 == 14) length = 3;
        if (byte(0) >> 3 == 30) length = 4;
        if (length == 0 || length > text.size()) return false;
        char32_t scalar = length == 1 ? byte(0) : byte(0) & (0x7FU >> length);
        for (std::size_t index = 1; index < length; ++index) {
            if (byte(index) >> 6 != 2) return false;
            scalar = scalar * 64 + (byte(index) & 63);
        }
        if (scalar > lastScalar || isSurrogate(scalar) || expectedLength(scalar) != length)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

} // namespace

TEST_CASE("a scalar is appended in its bytes") {
    struct Row {
        char32_t scalar;
        std::string_view bytes;
    };
    const std::vector<Row> rows = {
        {0, "\0"sv},
        {0x41, "A"},
        {0x7F, "\x7F"},
        {0x80, "\xC2\x80"},
        {0xE9, "\xC3\xA9"},
        {0x7FF, "\xDF\xBF"},
        {0x800, "\xE0\xA0\x80"},
        {0x20AC, "\xE2\x82\xAC"},
        {0xD7FF, "\xED\x9F\xBF"},
        {0xE000, "\xEE\x80\x80"},
        {0xFFFD, "\xEF\xBF\xBD"},
        {0xFFFF, "\xEF\xBF\xBF"},
        {0x10000, "\xF0\x90\x80\x80"},
        {0x1F600, "\xF0\x9F\x98\x80"},
        {0x10FFFF, "\xF4\x8F\xBF\xBF"},
    };
    for (const Row& row : rows) {
        CAPTURE(static_cast<unsigned>(row.scalar));
        std::string text = "before";
        utf8::append(text, row.scalar);
        CHECK(text == "before" + std::string(row.bytes));
    }
}

TEST_CASE("every scalar is read as it was appended, whatever follows") {
    std::size_t faults = 0;
    for (char32_t scalar = 0; scalar <= lastScalar; ++scalar) {
        if (isSurrogate(scalar)) continue;
        const std::string text = encoded(scalar);
        for (const char* after : {"", "a", "\x80"}) {
            const utf8::Step step = utf8::step(text + after);
            if (!step.valid || step.scalar != scalar || step.length != text.size()) ++faults;
        }
        if (text.size() != expectedLength(scalar) || !utf8::isValid(text)) ++faults;
        if (utf8::repaired(text) != text) ++faults;
    }
    CHECK(faults == 0);
}

TEST_CASE("a scalar that breaks off is one ill-formed piece of the bytes that are there") {
    std::size_t faults = 0;
    for (char32_t scalar = 0x80; scalar <= lastScalar; ++scalar) {
        if (isSurrogate(scalar)) continue;
        const std::string whole = encoded(scalar);
        for (std::size_t length = 1; length < whole.size(); ++length) {
            for (const char* after : {"", "a", "\xC3\xA9"}) {
                const std::string text = whole.substr(0, length) + after;
                const utf8::Step step = utf8::step(text);
                if (step.valid || step.scalar != 0xFFFD || step.length != length) ++faults;
                if (utf8::isValid(text)) ++faults;
            }
        }
    }
    CHECK(faults == 0);
}

TEST_CASE("each maximal ill-formed piece becomes one replacement character") {
    struct Row {
        std::string_view bytes;
        std::string_view text; // a tilde for each replacement character
    };
    const std::vector<Row> rows = {
        {"", ""},
        {"abc", "abc"},
        {"\0a\0"sv, "\0a\0"sv},
        {"\xEF\xBF\xBD", "~"}, // the replacement character itself
        {"\x80", "~"},
        {"\xBF\xBF", "~~"},
        {"\xFE\xFF", "~~"},
        {"a\xFFz", "a~z"},
        // The examples of the Unicode standard: several kinds in one text, overlong forms,
        // surrogates, other ill-formed sequences, and sequences that break off.
        {"\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64", "a~~~b~c~~d"},
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "~~~~~~~~A"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "~~~~~~~~A"},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "~~~~~A~~B"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "~~~~A"},
        // Overlong forms of the slash and of NUL, by length.
        {"\xC0\x80", "~~"},
        {"\xC1\xBF", "~~"},
        {"\xE0\x80\xAF", "~~~"},
        {"\xE0\x9F\xBF", "~~~"},
        {"\xF0\x80\x80\xAF", "~~~~"},
        {"\xF0\x8F\xBF\xBF", "~~~~"},
        // A surrogate pair as two sequences.
        {"\xED\xA0\xBD\xED\xB8\x80", "~~~~~~"},
        // Beyond the last scalar, and the longer forms of old.
        {"\xF4\x90\x80\x80", "~~~~"},
        {"\xF5\x80\x80\x80", "~~~~"},
        {"\xF8\x88\x80\x80\x80", "~~~~~"},
        {"\xFC\x84\x80\x80\x80\x80", "~~~~~~"},
        // Two and three bytes of a sequence are one piece, at the end too.
        {"\xF0\x9F\x98", "~"},
        {"\xF0\x9F", "~"},
        {"\xF0\x9F\x98z", "~z"},
        {"\xF0\x9F\x98\xF0\x9F\x98\x80", "~\xF0\x9F\x98\x80"},
        {"\xE2\x82\xE2\x82\xAC", "~\xE2\x82\xAC"},
        {"\xC3\xC3\xA9", "~\xC3\xA9"},
    };
    for (const Row& row : rows) {
        std::string expected;
        for (const char character : row.text)
            expected += character == '~' ? "\uFFFD" : std::string(1, character);
        CAPTURE(row.text);
        CHECK(utf8::repaired(row.bytes) == expected);
        CHECK(utf8::isValid(utf8::repaired(row.bytes)));
    }
}

TEST_CASE("exactly the texts that a plain reader accepts are valid") {
    // All neighbours of the bounds that a sequence has.
    constexpr std::array<unsigned char, 27> bytes = {
        0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0,
        0xE1, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF7, 0xF8, 0xFF};
    std::size_t valid = 0;
    std::size_t faults = 0;
    std::string text(4, '\0');
    for (const unsigned char first : bytes)
        for (const unsigned char second : bytes)
            for (const unsigned char third : bytes)
                for (const unsigned char fourth : bytes) {
                    text = {static_cast<char>(first), static_cast<char>(second),
                            static_cast<char>(third), static_cast<char>(fourth)};
                    for (std::size_t length = 1; length <= text.size(); ++length) {
                        const std::string_view piece = std::string_view(text).substr(0, length);
                        const bool expected = plainlyValid(piece);
                        valid += expected ? 1 : 0;
                        if (utf8::isValid(piece) != expected) ++faults;
                        if ((utf8::repaired(piece) == piece) != expected) ++faults;
                    }
                }
    CHECK(faults == 0);
    CHECK(valid > 0);
}

TEST_CASE("one byte that is not UTF-8 makes a text so, wherever it stands") {
    for (std::size_t length = 1; length <= 140; ++length) {
        CAPTURE(length);
        std::string text(length, 'a');
        CHECK(utf8::isValid(text));
        for (char& byte : text) {
            byte = '\x80';
            CHECK_FALSE(utf8::isValid(text));
            byte = 'a';
        }
    }
}

TEST_CASE("a text stays one line with a question mark for every control character") {
    struct Row {
        std::string_view text, line;
    };
    const std::vector<Row> rows = {
        {"", ""},
        {"a b", "a b"},
        {"\n", "?"},
        {"a\nb\r\nc\td", "a?b??c?d"},
        {"\0a\0"sv, "?a?"},
        {"\x1B[31m", "?[31m"},
        {"\x1F \x7E\x7F", "? ~?"},
        // The second block of controls, with a line break and an escape of its own.
        {"\u0080\u0085\u009B\u009F\u00A0", "????\u00A0"},
        // NOLINTNEXTLINE(misc-misleading-bidirectional): it stands here as an escape
        {"\u2027\u2028\u2029\u202A", "\u2027??\u202A"},
        {"caf\u00E9 \U0001F600", "caf\u00E9 \U0001F600"},
        {"a\xFFz\xC3", "a\uFFFDz\uFFFD"},
        {"\x9B", "\uFFFD"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.line);
        CHECK(utf8::oneLine(row.text) == row.line);
    }
}
