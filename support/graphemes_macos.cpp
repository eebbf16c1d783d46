// Graphemes by CoreFoundation. Its composed characters are extended grapheme clusters with some
// exceptions, which are decided here: a carriage return and its line feed are one grapheme; every
// other control is one by itself; some scalars that are not marks continue a grapheme; some marks
// and all of ASCII do not; a prepended mark belongs to what follows it; a joiner joins only
// pictographs; two regional indicators are one grapheme, a flag.

#include "support/graphemes.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>

#include "support/core_foundation.h"
#include "support/utf8.h"

namespace sorvane::graphemes {

namespace {

struct ScalarRange {
    char32_t first;
    char32_t last;
};

// Unicode's Grapheme_Cluster_Break=Prepend: number signs of Arabic and related scripts, vowelless
// letters of Indic ones.
constexpr std::array prependedMarks = {
    ScalarRange{0x0600, 0x0605},   ScalarRange{0x06DD, 0x06DD},   ScalarRange{0x070F, 0x070F},
    ScalarRange{0x0890, 0x0891},   ScalarRange{0x08E2, 0x08E2},   ScalarRange{0x0D4E, 0x0D4E},
    ScalarRange{0x110BD, 0x110BD}, ScalarRange{0x110CD, 0x110CD}, ScalarRange{0x111C2, 0x111C3},
    ScalarRange{0x1193F, 0x1193F}, ScalarRange{0x11941, 0x11941}, ScalarRange{0x11A3A, 0x11A3A},
    ScalarRange{0x11A84, 0x11A89}, ScalarRange{0x11D46, 0x11D46}, ScalarRange{0x11F02, 0x11F02},
};

// Grapheme_Cluster_Break=Control beyond ASCII: controls, separators, and formatting characters
// without a glyph.
constexpr std::array controls = {
    ScalarRange{0x0080, 0x009F},   ScalarRange{0x00AD, 0x00AD},   ScalarRange{0x061C, 0x061C},
    ScalarRange{0x180E, 0x180E},   ScalarRange{0x200B, 0x200B},   ScalarRange{0x200E, 0x200F},
    ScalarRange{0x2028, 0x202E},   ScalarRange{0x2060, 0x2064},   ScalarRange{0x2066, 0x206F},
    ScalarRange{0xFEFF, 0xFEFF},   ScalarRange{0xFFF9, 0xFFFB},   ScalarRange{0x13430, 0x1343F},
    ScalarRange{0x1BCA0, 0x1BCA3}, ScalarRange{0x1D173, 0x1D17A}, ScalarRange{0xE0001, 0xE0001},
};

// Extend, SpacingMark or ZWJ by the same property, but not marks: the vowels am of Thai and Lao,
// the joiners, the voicing marks of narrow kana, skin tones, tag characters of flags.
constexpr std::array continuations = {
    ScalarRange{0x0E33, 0x0E33}, ScalarRange{0x0EB3, 0x0EB3},   ScalarRange{0x200C, 0x200D},
    ScalarRange{0xFF9E, 0xFF9F}, ScalarRange{0x1F3FB, 0x1F3FF}, ScalarRange{0xE0020, 0xE007F},
};

// Marks that continue nothing: vowels and tones of Myanmar and related scripts. And the system's
// own hints for other character sets, in the private use area.
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

bool isRegionalIndicator(char32_t scalar) { return scalar >= 0x1F1E6 && scalar <= 0x1F1FF; }

// False only for what is not Extended_Pictographic: that begins at U+203C, but for two signs.
bool mayBePictograph(char32_t scalar) {
    return scalar >= 0x203C || scalar == U'\u00A9' || scalar == U'\u00AE';
}

CFOwner<CFStringRef> stringOf(std::string_view text) {
    auto string = makeCFString(text);
    if (!string) throw std::bad_alloc();
    return string;
}

// CoreFoundation counts in UTF-16.
CFIndex units(char32_t scalar) { return scalar > 0xFFFF ? 2 : 1; }

// `isBoundary`, where that is decided without CoreFoundation.
std::optional<bool> knownBoundary(char32_t before, char32_t after) {
    if (before == '\r' && after == '\n') return false;
    if (isControl(before) || isControl(after)) return true;
    if (isOneOf(continuations, after) || isOneOf(prependedMarks, before)) return false;
    if (isAscii(after) || isOneOf(separateMarks, after)) return true;
    return std::nullopt;
}

/// Walks over a text scalar by scalar. CoreFoundation reads a whole composed character for each
/// answer, so it is asked once for each of them: the time grows with the text, not with its square.
class Segmenter {
  public:
    /// `text` may be null when all scalars will be ASCII.
    explicit Segmenter(CFStringRef text) : text_(text) {}

    /// Whether the next scalar begins a grapheme.
    bool begins(char32_t scalar) {
        const bool result = index_ == 0 || isBoundaryBefore(scalar);
        if (result) base_ = scalar;
        regionalIndicators_ = isRegionalIndicator(scalar) ? regionalIndicators_ + 1 : 0;
        before_ = scalar;
        index_ += units(scalar);
        return result;
    }

  private:
    bool isBoundaryBefore(char32_t scalar) {
        // Two make a flag. CoreFoundation would go back to the first of the sequence for each.
        if (isRegionalIndicator(scalar) && regionalIndicators_ > 0)
            return regionalIndicators_ % 2 == 0;
        if (before_ == joiner && !mayBePictograph(base_)) return isBoundary(U'a', scalar);
        const auto known = knownBoundary(before_, scalar);
        return known ? *known : beginsComposedCharacter();
    }

    bool beginsComposedCharacter() {
        if (index_ < composedEnd_) return false;
        const CFRange range = ::CFStringGetRangeOfComposedCharactersAtIndex(text_, index_);
        composedEnd_ = range.location + range.length;
        return range.location == index_;
    }

    CFStringRef text_;
    CFIndex index_ = 0;
    CFIndex composedEnd_ = 0;            // of the composed character that was asked for last
    char32_t base_ = 0;                  // the first scalar of the current grapheme
    char32_t before_ = 0;                // the last scalar
    std::size_t regionalIndicators_ = 0; // how many of them are the last scalars
};

} // namespace

std::size_t count(std::string_view text) {
    std::string repaired;
    CFOwner<CFStringRef> string(nullptr);
    if (!isAscii(text)) {
        repaired = utf8::repaired(text);
        text = repaired;
        string = stringOf(text);
    }
    Segmenter segmenter(string.get());
    std::size_t graphemes = 0;
    while (!text.empty()) {
        const utf8::Step next = utf8::step(text);
        text.remove_prefix(next.length);
        if (segmenter.begins(next.scalar)) ++graphemes;
    }
    return graphemes;
}

// One scalar at a time, so that no neighbour counts (a final sigma), and without a locale.
void appendLowercased(std::string& text, char32_t scalar) {
    std::string upper;
    utf8::append(upper, scalar);
    const CFOwner lower(::CFStringCreateMutableCopy(nullptr, 0, stringOf(upper).get()));
    if (!lower) throw std::bad_alloc();
    ::CFStringLowercase(lower.get(), nullptr);

    // The longest mapping has three scalars.
    std::array<UInt8, 12> bytes{};
    CFIndex count = 0;
    ::CFStringGetBytes(lower.get(), CFRangeMake(0, ::CFStringGetLength(lower.get())),
                       kCFStringEncodingUTF8, 0, 0, bytes.data(), bytes.size(), &count);
    text.append(bytes.begin(), bytes.begin() + count);
}

bool isBoundary(char32_t before, char32_t after) {
    if (const auto known = knownBoundary(before, after)) return *known;
    std::string pair;
    utf8::append(pair, before);
    utf8::append(pair, after);
    const CFIndex index = units(before);
    return ::CFStringGetRangeOfComposedCharactersAtIndex(stringOf(pair).get(), index).location ==
           index;
}

} // namespace sorvane::graphemes
