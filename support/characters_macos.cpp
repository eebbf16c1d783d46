// Characters by CoreFoundation. What it calls a composed character is an extended grapheme cluster,
// but for what is decided here before it is asked: a carriage return and its line feed belong
// together, other controls stand alone, a prepended mark belongs to what follows it, and ASCII
// continues nothing.

#include <algorithm>
#include <array>
#include <new>

#include "support/characters.h"
#include "support/core_foundation.h"
#include "support/utf8.h"

namespace sorvane::characters {

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

bool isAscii(char32_t scalar) { return scalar < 0x80; }

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return isAscii(static_cast<unsigned char>(byte)); });
}

bool isPrepended(char32_t scalar) {
    return std::any_of(prependedMarks.begin(), prependedMarks.end(), [=](const ScalarRange& range) {
        return range.first <= scalar && scalar <= range.last;
    });
}

// Those of ASCII; CoreFoundation's composed characters leave the others alone.
bool isControl(char32_t scalar) { return scalar < 0x20 || scalar == 0x7F; }

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
    if (isPrepended(before)) return false;
    return isAscii(after) ||
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
    char32_t before = 0;
    for (CFIndex index = 0; !text.empty();) {
        const utf8::Step next = utf8::step(text);
        text.remove_prefix(next.length);
        if (index == 0 || isBoundary(before, next.scalar, string.get(), index)) ++characters;
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

} // namespace sorvane::characters
