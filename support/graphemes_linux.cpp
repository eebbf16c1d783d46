// Graphemes by utf8proc, whose tables are read-only memory and need no initialisation.

#include "support/graphemes.h"

#include <utf8proc.h>

#include "support/utf8.h"

namespace sorvane::graphemes {

namespace {

// The one scalar whose full lower-case mapping is longer than its simple one.
constexpr char32_t capitalIWithDot = 0x130;
constexpr char32_t combiningDotAbove = 0x307;

utf8proc_int32_t codepoint(char32_t scalar) { return static_cast<utf8proc_int32_t>(scalar); }

bool areAscii(char32_t before, char32_t after) { return before < 0x80 && after < 0x80; }

// Of two ASCII neighbours only a carriage return and its line feed belong together.
bool isAsciiBoundary(char32_t before, char32_t after) { return before != '\r' || after != '\n'; }

} // namespace

std::size_t count(std::string_view text) {
    std::size_t graphemes = 0;
    char32_t before = 0; // a control: what follows it begins a character
    utf8proc_int32_t state = 0;
    while (!text.empty()) {
        const utf8::Step next = utf8::step(text);
        text.remove_prefix(next.length);
        const bool ascii = areAscii(before, next.scalar);
        const bool boundary = ascii ? isAsciiBoundary(before, next.scalar)
                                    : utf8proc_grapheme_break_stateful(
                                          codepoint(before), codepoint(next.scalar), &state);
        if (ascii) state = 0;
        if (boundary) ++graphemes;
        before = next.scalar;
    }
    return graphemes;
}

void appendLowercased(std::string& text, char32_t scalar) {
    if (scalar == capitalIWithDot) {
        utf8::append(text, U'i');
        utf8::append(text, combiningDotAbove);
    } else {
        utf8::append(text, static_cast<char32_t>(utf8proc_tolower(codepoint(scalar))));
    }
}

bool isBoundary(char32_t before, char32_t after) {
    if (areAscii(before, after)) return isAsciiBoundary(before, after);
    return utf8proc_grapheme_break(codepoint(before), codepoint(after));
}

} // namespace sorvane::graphemes
