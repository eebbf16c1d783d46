#include "support/graphemes.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <doctest/doctest.h>
#include <utf8proc.h>

#include "support/utf8.h"
#include "tests/macos_fakes/fake_system.h"
#include "tests/support/grapheme_rows.h"

using namespace sorvane;
using test::macos::FakeSystem;

namespace {

bool breaks(char32_t before, char32_t after) {
    return utf8proc_grapheme_break(static_cast<utf8proc_int32_t>(before),
                                   static_cast<utf8proc_int32_t>(after));
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string result;
    for (; times > 0; --times) result += text;
    return result;
}

// The planes in which characters are assigned, without the surrogates.
template<class Check>
void forEveryScalar(const Check& check) {
    for (const auto& [first, last] : {std::pair<char32_t, char32_t>{0x80, 0xD7FF},
                                      std::pair<char32_t, char32_t>{0xE000, 0x1FFFF},
                                      std::pair<char32_t, char32_t>{0xE0000, 0xE0FFF}})
        for (char32_t scalar = first; scalar <= last; ++scalar) check(scalar);
}

} // namespace

TEST_CASE("ASCII never reaches the frameworks") {
    FakeSystem fake;
    fake.failing = {"CFStringCreateWithBytes", "CFStringCreateMutableCopy"};
    CHECK(graphemes::count("a\r\nb\n\rc") == 6);
    CHECK(graphemes::count("") == 0);
    CHECK(graphemes::lowercased("AZ[az0") == "az[az0");
    CHECK(graphemes::isBoundary('a', 'b'));
    CHECK_FALSE(graphemes::isBoundary('\r', '\n'));
}

TEST_CASE("texts are counted in extended grapheme clusters") {
    FakeSystem fake;
    struct Row {
        const char* text;
        std::size_t graphemes;
    };
    for (const Row& row :
         {Row{"\u00e4", 1}, Row{"a\u0308", 1}, Row{"a\u0308b", 2}, Row{"\U0001F600", 1},
          Row{"\U0001F600a\u0301\U0001F600", 3}, Row{"\u0600a", 1}, Row{"\u0600\n", 2},
          Row{"\u0600\u00e4", 1}, Row{"\n\u0301", 2}, Row{"\r\n\u00e4", 2}, Row{"a\u200Db", 2},
          Row{"\u00e4\r\n\u00e4", 3}, Row{"\u0301", 1}, Row{"a\xff", 2}}) {
        CAPTURE(row.text);
        CHECK(graphemes::count(row.text) == row.graphemes);
    }
}

TEST_CASE("each composed character of a text is asked for once, and no flag is") {
    const struct {
        std::string text;
        std::size_t graphemes;
        std::size_t asked;
    } rows[] = {
        {"a" + repeated("\u0301", 100'000), 1, 1},
        {repeated("\U0001F1E6", 100'001), 50'001, 0},
        {"\u0600" + repeated("\U0001F1E6", 3) + "\u0301\U0001F1E6", 3, 2},
        {repeated("e\u0301\u0301", 100), 100, 100},
    };
    for (const auto& row : rows) {
        FakeSystem fake;
        CHECK(graphemes::count(row.text) == row.graphemes);
        CHECK(fake.composedCharactersAsked == row.asked);
    }
}

TEST_CASE("graphemes are the same here as on another system") {
    for (const test::CountedText& row : test::countedTexts()) {
        FakeSystem fake;
        const std::string text = row.text();
        CAPTURE(text);
        CHECK(graphemes::count(text) == row.count);
    }
    for (const test::Neighbours& row : test::neighbours()) {
        FakeSystem fake;
        CAPTURE(static_cast<unsigned>(row.before));
        CAPTURE(static_cast<unsigned>(row.after));
        CHECK(graphemes::isBoundary(row.before, row.after) == row.boundary);
    }
}

TEST_CASE("the boundary of any scalar with letters, marks and controls is Unicode's") {
    constexpr std::u32string_view others = U"a1\n\u4E2D\u0301\u093F\u0E33\u200B\u200C\u2028\u0600";
    // Since Unicode 16 the first is a prepended mark, and the second is none; the library here may
    // be older or newer.
    constexpr std::u32string_view changed = U"\U000113D1\U00011A3A";
    std::size_t differences = 0;
    forEveryScalar([&](char32_t scalar) {
        if (changed.find(scalar) != std::u32string_view::npos) return;
        FakeSystem fake;
        const auto differs = [](char32_t before, char32_t after) -> std::size_t {
            return graphemes::isBoundary(before, after) != breaks(before, after) ? 1 : 0;
        };
        for (const char32_t other : others)
            differences += differs(scalar, other) + differs(other, scalar);
        differences += differs(scalar, U'\u200D') + differs(scalar, U'\U0001F3FD');
    });
    CHECK(differences == 0);
}

TEST_CASE("a mark belongs to the letter before it and to no control") {
    FakeSystem fake;
    CHECK_FALSE(graphemes::isBoundary(U'a', U'\u0301'));
    CHECK_FALSE(graphemes::isBoundary(U'a', U'\U000E0100'));
    CHECK(graphemes::isBoundary(U'\n', U'\u0301'));
    CHECK(graphemes::isBoundary(U'a', U'\U0001F600'));
    CHECK(graphemes::isBoundary(U'\U0001F600', U'\u4e2d'));
}

TEST_CASE("lower-casing is the full mapping of each scalar by itself") {
    FakeSystem fake;
    CHECK(graphemes::lowercased("\u00c4B\u0130\u03a3C\U00010400") ==
          "\u00e4bi\u0307\u03c3c\U00010428");
    CHECK(graphemes::lowercased("A\u03a3") == "a\u03c3");
    CHECK(graphemes::lowercased("\xff"
                                "A") == "\uFFFDa");
}

TEST_CASE("a text that the frameworks cannot hold is a want of memory") {
    for (const char* function : {"CFStringCreateWithBytes", "CFStringCreateMutableCopy"}) {
        FakeSystem fake;
        fake.failing = {function};
        CHECK_THROWS_AS(graphemes::lowercased("\u00c4"), std::bad_alloc);
    }
    FakeSystem fake;
    fake.failing = {"CFStringCreateWithBytes"};
    CHECK_THROWS_AS(graphemes::count("\u00c4"), std::bad_alloc);
    CHECK_THROWS_AS(graphemes::isBoundary(U'a', U'\u0301'), std::bad_alloc);
}
