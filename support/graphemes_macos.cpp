// Characters by CoreFoundation. What it calls a composed character is an extended grapheme cluster,
// but for what is decided here before it is asked: a carriage return and its line feed belong
// together, other controls stand alone, some scalars continue whatever they follow though they are
// no marks, some marks and ASCII continue nothing, a prepended mark belongs to what follows it, and
// a joiner joins nothing to what is no picture.

#include "support/graphemes.h"

#include <algorithm>
#include <array>
#include <new>

#include "support/core_foundation.h"
#include "support/utf8.h"

namespace sorvane::graphemes {

namespace {

struct ScalarRange {
    char32_t first;
    char32_t last;
};

// Unicode's Grapheme_Cluster_Break=Prepend: number signs of Arabic and its kin, vowel-less letters
// of Indic scripts.
constexpr std::array prependedMarks = {
    ScalarRange{0x0600, 0x0605},   ScalarRange{0x06DD, 0x06DD},   ScalarRange{0x070F, 0x070F},
    ScalarRange{0x0890, 0x0891},   ScalarRange{0x08E2, 0x08E2},   ScalarRange{0x0D4E, 0x0D4E},
    ScalarRange{0x110BD, 0x110BD}, ScalarRange{0x110CD, 0x110CD}, ScalarRange{0x111C2, 0x111C3},
    ScalarRange{0x1193F, 0x1193F}, ScalarRange{0x11941, 0x11941}, ScalarRange{0x11A3A, 0x11A3A},
    ScalarRange{0x11A84, 0x11A89}, ScalarRange{0x11D46, 0x11D46}, ScalarRange{0x11F02, 0x11F02},
};

// Grapheme_Cluster_Break=Control beyond ASCII: controls, separators, and signs without a glyph that
// only tell how to set a text.
constexpr std::array controls = {
    ScalarRange{0x0080, 0x009F},   ScalarRange{0x00AD, 0x00AD},   ScalarRange{0x061C, 0x061C},
    ScalarRange{0x180E, 0x180E},   ScalarRange{0x200B, 0x200B},   ScalarRange{0x200E, 0x200F},
    ScalarRange{0x2028, 0x202E},   ScalarRange{0x2060, 0x2064},   ScalarRange{0x2066, 0x206F},
    ScalarRange{0xFEFF, 0xFEFF},   ScalarRange{0xFFF9, 0xFFFB},   ScalarRange{0x13430, 0x1343F},
    ScalarRange{0x1BCA0, 0x1BCA3}, ScalarRange{0x1D173, 0x1D17A}, ScalarRange{0xE0001, 0xE0001},
};

// Extend, SpacingMark and ZWJ by the same property, and yet no marks: the vowels am of Thai and
// Lao, the joiners, the voicing marks of narrow kana, skin tones, the letters of a flag's tag.
constexpr std::array continuations = {
    ScalarRange{0x0E33, 0x0E33}, ScalarRange{0x0EB3, 0x0EB3},   ScalarRange{0x200C, 0x200D},
    ScalarRange{0xFF9E, 0xFF9F}, ScalarRange{0x1F3FB, 0x1F3FF}, ScalarRange{0xE0020, 0xE007F},
};

// Marks, and yet none of these: vowels and tones of Myanmar and its kin. And the system's own hints
// for other character sets, which lie in the private area.
constexpr std::array separateMarks = {
    ScalarRange{0x102B, 0x102C},   ScalarRange{0x1038, 0x1038}, ScalarRange{0x1062, 0x1064},
    ScalarRange{0x1067, 0x106D},   ScalarRange{0x1083, 0x1083}, ScalarRange{0x1087, 0x108C},
    ScalarRange{0x108F, 0x108F},   ScalarRange{0x109A, 0x109C}, ScalarRange{0x1A61, 0x1A61},
    ScalarRange{0x1A63, 0x1A64},   ScalarRange{0xAA7B, 0xAA7B}, ScalarRange{0xAA7D, 0xAA7D},
    ScalarRange{0x11720, 0x11721}, ScalarRange{0xF870, 0xF87F},
};

constexpr char32_t joiner = 0x200D;

bool isAscii(char32_t scalar) { return scalar < 0x80; }

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return isAscii(static_cast<unsigned char>(byte)); });
}

bool isOneOf(const auto& ranges, char32_t scalar) {
    return std::any_of(ranges.begin(), ranges.end(), [=](const ScalarRange& range) {
        return range.first <= scalar && scalar <= range.last;
    });
}

bool isControl(char32_t scalar) {
    return isAscii(scalar) ? scalar < 0x20 || scalar == 0x7F : isOneOf(controls, scalar);
}

// Extended_Pictographic begins there, but for two signs.
bool mayBePicture(char32_t scalar) {
    return scalar >= 0x203C || scalar == U'\u00A9' || scalar == U'\u00AE';
}

CFOwner<CFStringRef> stringOf(std::string_view text) {
    auto string = makeCFString(text);
    if (!string) throw std::bad_alloc();
    return string;
}

// Whether a character ends and another begins between two neighbouring scalars of a text, the
// second of which stands at `index`. The text is looked at only when that one is not ASCII.
bool isBoundary(char32_t before, char32_t after, CFStringRef text, CFIndex index) {
    if (before == '\r' && after == '\n') return false;
    if (isControl(before) || isControl(after)) return true;
    if (isOneOf(continuations, after) || isOneOf(prependedMarks, before)) return false;
    return isAscii(after) || isOneOf(separateMarks, after) ||
           ::CFStringGetRangeOfComposedCharactersAtIndex(text, index).location == index;
}

// CoreFoundation counts in UTF-16.
CFIndex units(char32_t scalar) { return scalar > 0xFFFF ? 2 : 1; }

char lowerAscii(char32_t scalar) {
    const bool upper = scalar >= 'A' && scalar <= 'Z';
    return static_cast<char>(upper ? scalar + ('a' - 'A') : scalar);
}

// One scalar at a time: so no final sigma and no other neighbour counts, and no locale does.
void appendLowercased(std::string& result, char32_t scalar) {
    std::string text;
    utf8::append(text, scalar);
    const CFOwner lower(::CFStringCreateMutableCopy(nullptr, 0, stringOf(text).get()));
    if (!lower) throw std::bad_alloc();
    ::CFStringLowercase(lower.get(), nullptr);

    // The longest mapping has three scalars.
    std::array<UInt8, 12> bytes{};
    CFIndex count = 0;
    ::CFStringGetBytes(lower.get(), CFRangeMake(0, ::CFStringGetLength(lower.get())),
                       kCFStringEncodingUTF8, 0, 0, bytes.data(), bytes.size(), &count);
    result.append(bytes.begin(), bytes.begin() + count);
}

} // namespace

std::size_t count(std::string_view text) {
    std::string repaired;
    CFOwner<CFStringRef> string(nullptr);
    if (!isAscii(text)) {
        repaired = utf8::repaired(text);
        text = repaired;
        string = stringOf(text);
    }
    std::size_t characters = 0;
    char32_t base = 0; // the first scalar of the present character
    char32_t before = 0;
    for (CFIndex index = 0; !text.empty();) {
        const utf8::Step next = utf8::step(text);
        text.remove_prefix(next.length);
        const bool joinsNothing = before == joiner && !mayBePicture(base);
        if (index == 0 || (joinsNothing ? isBoundary(U'a', next.scalar)
                                        : isBoundary(before, next.scalar, string.get(), index))) {
            ++characters;
            base = next.scalar;
        }
        before = next.scalar;
        index += units(next.scalar);
    }
    return characters;
}

std::string lowercased(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const utf8::Step next = utf8::step(text);
        text.remove_prefix(next.length);
        if (isAscii(next.scalar))
            result += lowerAscii(next.scalar);
        else
            appendLowercased(result, next.scalar);
    }
    return result;
}

bool isBoundary(char32_t before, char32_t after) {
    CFOwner<CFStringRef> string(nullptr);
    if (!isAscii(after)) {
        std::string pair;
        utf8::append(pair, before);
        utf8::append(pair, after);
        string = stringOf(pair);
    }
    return isBoundary(before, after, string.get(), units(before));
}

} // namespace sorvane::graphemes
