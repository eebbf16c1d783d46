// Agents hand over whole prompts, with what was pasted into them, as one JSON text. The library's
// lexer takes one character at a time; here the stretch up to the next escape is taken at once,
// which makes prose twenty times as fast. Lists of words and numbers, which it is left with, take
// up to twice as long; prompts hold few. Tests compare this reader with the library's.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/ascii.h"
#include "support/json.h"
#include "support/utf8.h"

namespace sorvane {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Literals and numbers consist of these.
bool isWordCharacter(char c) {
    return ascii::isLetterOrDigit(c) || c == '+' || c == '-' || c == '.';
}

// A minimum over all bytes instead of an early exit: compilers vectorize it.
bool holdsControl(std::string_view text) {
    unsigned char least = ' ';
    for (const char c : text) least = std::min(least, static_cast<unsigned char>(c));
    return least < ' ';
}

class Parser {
  public:
    explicit Parser(std::string_view text) : text_(text) {}

    nlohmann::json parse() {
        if (text_.starts_with(byteOrderMark)) offset_ = byteOrderMark.size();
        skipBlanks();
        if (!isAt('{') && !isAt('[')) fail("neither an object nor an array");
        nlohmann::json value;
        readInto(&value);
        if (offset_ < text_.size()) fail("something after the value");
        return value;
    }

  private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw std::runtime_error("unreadable JSON at byte " + std::to_string(offset_) + ": " +
                                 reason);
    }

    bool isAt(char c) const { return offset_ < text_.size() && text_[offset_] == c; }

    bool isAtNumber() const {
        return offset_ < text_.size() && (text_[offset_] == '-' || ascii::isDigit(text_[offset_]));
    }

    void skipBlanks() {
        while (offset_ < text_.size() && isBlank(text_[offset_])) ++offset_;
    }

    // Every function that reads begins at the value and ends after the blanks that follow it.

    bool take(char c) {
        if (!isAt(c)) return false;
        ++offset_;
        skipBlanks();
        return true;
    }

    // The open containers are kept in a list, not on the thread's stack, which a caller or a limit
    // may have left small.
    void readInto(nlohmann::json* value) {
        while (true) {
            bool isEmpty = isAt('{') || isAt('['); // the innermost container, so far
            if (isEmpty)
                open(*value);
            else
                *value = isAt('"') ? nlohmann::json(readText()) : readWord();
            while (!open_.empty() && takeEnd()) {
                open_.pop_back();
                isEmpty = false;
            }
            if (open_.empty()) return;
            if (!isEmpty && !take(',')) fail("no comma and no end");
            value = &newElement();
        }
    }

    void open(nlohmann::json& container) {
        if (std::ssize(open_) == maxJsonNesting)
            fail("nested more than " + std::to_string(maxJsonNesting) + " levels deep");
        container = isAt('{') ? nlohmann::json::object() : nlohmann::json::array();
        open_.push_back(&container);
        take(text_[offset_]);
    }

    bool takeEnd() { return take(open_.back()->is_object() ? '}' : ']'); }

    // Adds the next element to the innermost container. It does not move until it has been read.
    nlohmann::json& newElement() {
        nlohmann::json& container = *open_.back();
        if (container.is_array()) return container.emplace_back();
        if (!isAt('"')) fail("no key");
        std::string key = readText();
        if (!take(':')) fail("no colon");
        return container[std::move(key)];
    }

    nlohmann::json readWord() {
        std::size_t end = offset_;
        while (end < text_.size() && isWordCharacter(text_[end])) ++end;
        nlohmann::json value =
            nlohmann::json::parse(text_.substr(offset_, end - offset_), nullptr, false);
        if (value.is_discarded()) fail(isAtNumber() ? "no number, or one too large" : "no value");
        offset_ = end;
        skipBlanks();
        return value;
    }

    // A failure within a string is reported with the offset of the string's first byte.
    std::string readText() {
        const std::size_t start = ++offset_;
        const std::size_t end = closingQuote();
        const std::string_view raw = text_.substr(start, end - start);
        if (holdsControl(raw)) fail("control character in a string");
        if (!utf8::isValid(raw)) fail("not UTF-8");
        std::string text = unescaped(raw);
        offset_ = end;
        take('"');
        return text;
    }

    // The first quote with an even number of backslashes before it. Counting backwards ends at the
    // opening quote at the latest.
    std::size_t closingQuote() const {
        for (std::size_t quote = offset_;; ++quote) {
            quote = text_.find('"', quote);
            if (quote == std::string_view::npos) fail("unterminated string");
            std::size_t backslashes = 0;
            while (text_[quote - 1 - backslashes] == '\\') ++backslashes;
            if (backslashes % 2 == 0) return quote;
        }
    }

    std::string unescaped(std::string_view raw) const {
        std::string text;
        text.reserve(raw.size());
        while (true) {
            const std::size_t backslash = raw.find('\\');
            if (backslash == raw.npos) {
                text += raw;
                return text;
            }
            // The backslash too: in its place comes what it introduces.
            text += raw.substr(0, backslash + 1);
            const char kind = raw[backslash + 1];
            raw.remove_prefix(backslash + 2);
            if (kind == 'u') {
                text.pop_back();
                utf8::append(text, takeScalar(raw));
            } else {
                text.back() = escaped(kind);
            }
        }
    }

    // What the character after a backslash stands for.
    char escaped(char kind) const {
        switch (kind) {
        case '"':
        case '\\':
        case '/':
            return kind;
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            fail("invalid escape");
        }
    }

    char32_t takeScalar(std::string_view& raw) const {
        const char32_t first = takeUnit(raw);
        if (first < 0xD800 || first > 0xDFFF) return first;
        if (first > 0xDBFF || !raw.starts_with("\\u")) fail("lone surrogate");
        raw.remove_prefix(2);
        const char32_t second = takeUnit(raw);
        if (second < 0xDC00 || second > 0xDFFF) fail("lone surrogate");
        return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    }

    char32_t takeUnit(std::string_view& raw) const {
        constexpr std::size_t digits = 4;
        const std::string_view text = raw.substr(0, digits);
        std::uint32_t unit = 0;
        const char* const end = text.data() + text.size();
        const auto [rest, failure] = std::from_chars(text.data(), end, unit, 16);
        if (text.size() < digits || failure != std::errc{} || rest != end) fail("invalid escape");
        raw.remove_prefix(digits);
        return unit;
    }

    std::string_view text_;
    std::size_t offset_ = 0;
    std::vector<nlohmann::json*> open_; // the containers around `offset_`, the outermost first
};

} // namespace

nlohmann::json parseJSON(std::string_view text) { return Parser(text).parse(); }

} // namespace sorvane
