#include "support/utf8.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace sorvane::utf8 {

namespace {

constexpr char32_t replacement = 0xFFFD;

struct Lead {
    std::size_t length;        // of the whole sequence; 0: no sequence begins with this byte
    char32_t bits;             // the scalar's highest bits
    unsigned char secondFrom;  // the second byte's range excludes overlong forms,
    unsigned char secondUntil; // surrogates and values above U+10FFFF
};

Lead lead(unsigned char byte) {
    const char32_t bits = byte;
    if (byte < 0x80) return {1, bits, 0, 0};
    if (byte < 0xC2) return {0, 0, 0, 0};
    if (byte < 0xE0) return {2, bits & 0x1F, 0x80, 0xBF};
    if (byte == 0xE0) return {3, 0, 0xA0, 0xBF};
    if (byte == 0xED) return {3, 0xD, 0x80, 0x9F};
    if (byte < 0xF0) return {3, bits & 0xF, 0x80, 0xBF};
    if (byte == 0xF0) return {4, 0, 0x90, 0xBF};
    if (byte < 0xF4) return {4, bits & 0x7, 0x80, 0xBF};
    if (byte == 0xF4) return {4, 4, 0x80, 0x8F};
    return {0, 0, 0, 0};
}

// The controls of ASCII and of the block after it, and the line and paragraph separators.
bool isControl(char32_t scalar) {
    return scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0) || scalar == 0x2028 ||
           scalar == 0x2029;
}

// How many bytes at the beginning are ASCII, counted in blocks of so many words.
template<std::size_t words>
std::size_t asciiBlocks(std::string_view text) {
    constexpr std::uint64_t beyondAscii = 0x8080'8080'8080'8080;
    std::array<std::uint64_t, words> block;
    std::size_t length = 0;
    for (; length + sizeof block <= text.size(); length += sizeof block) {
        std::memcpy(block.data(), text.data() + length, sizeof block);
        std::uint64_t bits = 0;
        for (const std::uint64_t word : block) bits |= word;
        if ((bits & beyondAscii) != 0) break;
    }
    return length;
}

// How many bytes at the beginning are ASCII, counted in whole words.
std::size_t asciiLength(std::string_view text) {
    const std::size_t length = asciiBlocks<8>(text);
    return length + asciiBlocks<1>(text.substr(length));
}

} // namespace

Step step(std::string_view text) {
    const Lead first = lead(static_cast<unsigned char>(text[0]));
    if (first.length == 0) return {replacement, 1, false};
    char32_t scalar = first.bits;
    for (std::size_t index = 1; index < first.length; ++index) {
        if (index == text.size()) return {replacement, index, false};
        const auto byte = static_cast<unsigned char>(text[index]);
        const unsigned char from = index == 1 ? first.secondFrom : 0x80;
        const unsigned char until = index == 1 ? first.secondUntil : 0xBF;
        if (byte < from || byte > until) return {replacement, index, false};
        scalar = scalar << 6 | (byte & 0x3F);
    }
    return {scalar, first.length, true};
}

void append(std::string& text, char32_t scalar) {
    const auto put = [&text](char32_t byte) { text += static_cast<char>(byte); };
    if (scalar < 0x80) {
        put(scalar);
    } else if (scalar < 0x800) {
        put(0xC0 | scalar >> 6);
        put(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
        put(0xE0 | scalar >> 12);
        put(0x80 | (scalar >> 6 & 0x3F));
        put(0x80 | (scalar & 0x3F));
    } else {
        put(0xF0 | scalar >> 18);
        put(0x80 | (scalar >> 12 & 0x3F));
        put(0x80 | (scalar >> 6 & 0x3F));
        put(0x80 | (scalar & 0x3F));
    }
}

bool isValid(std::string_view text) {
    while (true) {
        text.remove_prefix(asciiLength(text));
        if (text.empty()) return true;
        const Step next = step(text);
        if (!next.valid) return false;
        text.remove_prefix(next.length);
    }
}

std::string oneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        const Step next = step(text);
        append(line, isControl(next.scalar) ? U'?' : next.scalar);
        text.remove_prefix(next.length);
    }
    return line;
}

std::string repaired(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Step next = step(text);
        append(result, next.scalar);
        text.remove_prefix(next.length);
    }
    return result;
}

} // namespace sorvane::utf8
