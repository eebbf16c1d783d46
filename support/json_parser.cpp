// Agents hand over whole prompts, with what was pasted into them, as one JSON text. The library
// goes through each character of it by a state of its own; here what stands between two escapes is
// taken at once, which is ten times as fast. Words and numbers are left to the library, and the
// tests hold this reader to what the library reads.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "support/json.h"
#include "support/utf8.h"

namespace sorvane {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// What may follow a backslash beside `u`, and what it stands for.
constexpr std::string_view escapes = "\"\\/bfnrt";
constexpr std::string_view escaped = "\"\\/\b\f\n\r\t";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// What words and numbers are made of.
bool isWordCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '+' ||
           c == '-' || c == '.';
}

// One minimum without an end before the last byte: the compiler makes vector instructions of it.
bool holdsControl(std::string_view text) {
    unsigned char least = ' ';
    for (const char c : text) least = std::min(least, static_cast<unsigned char>(c));
    return least < ' ';
}

class Parser {
  public:
    explicit Parser(std::string_view text) : text_(text) {}

    nlohmann::json parse() {
        if (text_.starts_with(byteOrderMark)) at_ = byteOrderMark.size();
        skipBlanks();
        if (!stands('{') && !stands('[')) fail("neither an object nor an array");
        nlohmann::json value = readValue();
        if (at_ < text_.size()) fail("more than one value");
        return value;
    }

  private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw std::runtime_error("unreadable JSON at byte " + std::to_string(at_) + ": " + reason);
    }

    bool stands(char c) const { return at_ < text_.size() && text_[at_] == c; }

    void skipBlanks() {
        while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
    }

    // Every reader begins at what it reads and ends behind the blanks that follow.

    bool take(char c) {
        if (!stands(c)) return false;
        ++at_;
        skipBlanks();
        return true;
    }

    nlohmann::json readValue() {
        if (stands('{')) return readObject();
        if (stands('[')) return readArray();
        if (stands('"')) return readText();
        return readWord();
    }

    nlohmann::json readObject() {
        nlohmann::json::object_t members;
        readList('{', '}', [&] {
            if (!stands('"')) fail("a key is missing");
            std::string key = readText();
            if (!take(':')) fail("a colon is missing");
            members.insert_or_assign(std::move(key), readValue());
        });
        return members;
    }

    nlohmann::json readArray() {
        nlohmann::json::array_t elements;
        readList('[', ']', [&] { elements.push_back(readValue()); });
        return elements;
    }

    void readList(char open, char close, const auto& readElement) {
        if (++levels_ > jsonNestingLimit)
            fail("nested more than " + std::to_string(jsonNestingLimit) + " levels deep");
        take(open);
        if (!stands(close)) {
            do readElement();
            while (take(','));
        }
        if (!take(close)) fail("a comma or an end is missing");
        --levels_;
    }

    nlohmann::json readWord() {
        std::size_t end = at_;
        while (end < text_.size() && isWordCharacter(text_[end])) ++end;
        nlohmann::json value = nlohmann::json::parse(text_.substr(at_, end - at_), nullptr, false);
        if (value.is_discarded()) fail("a value is missing or too large");
        at_ = end;
        skipBlanks();
        return value;
    }

    std::string readText() {
        const std::size_t start = ++at_;
        skipToClosingQuote();
        const std::string_view raw = text_.substr(start, at_ - start);
        if (holdsControl(raw)) fail("a control character in a text");
        if (!utf8::isValid(raw)) fail("not UTF-8");
        std::string text = unescaped(raw);
        take('"');
        return text;
    }

    // The first quote with an even number of backslashes before it; a text begins behind a quote.
    void skipToClosingQuote() {
        for (;; ++at_) {
            at_ = std::min(text_.find('"', at_), text_.size());
            if (at_ == text_.size()) fail("a text without an end");
            std::size_t backslashes = 0;
            while (text_[at_ - 1 - backslashes] == '\\') ++backslashes;
            if (backslashes % 2 == 0) return;
        }
    }

    std::string unescaped(std::string_view raw) const {
        std::string text;
        text.reserve(raw.size());
        while (true) {
            const std::size_t length = std::min(raw.find('\\'), raw.size());
            text += raw.substr(0, length);
            if (length == raw.size()) return text;
            const char kind = raw[length + 1];
            raw.remove_prefix(length + 2);
            if (kind == 'u') {
                utf8::append(text, takeScalar(raw));
            } else {
                const std::size_t place = escapes.find(kind);
                if (place == std::string_view::npos) fail("an escape that is none");
                text += escaped[place];
            }
        }
    }

    char32_t takeScalar(std::string_view& raw) const {
        const char32_t first = takeUnit(raw);
        if (first < 0xD800 || first > 0xDFFF) return first;
        if (first > 0xDBFF || !raw.starts_with("\\u")) fail("half a surrogate pair");
        raw.remove_prefix(2);
        const char32_t second = takeUnit(raw);
        if (second < 0xDC00 || second > 0xDFFF) fail("half a surrogate pair");
        return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    }

    char32_t takeUnit(std::string_view& raw) const {
        constexpr std::size_t digits = 4;
        const std::string_view text = raw.substr(0, digits);
        std::uint32_t unit = 0;
        const char* const end = text.data() + text.size();
        const auto [rest, failure] = std::from_chars(text.data(), end, unit, 16);
        if (text.size() < digits || failure != std::errc{} || rest != end)
            fail("an escape that is none");
        raw.remove_prefix(digits);
        return unit;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    int levels_ = 0;
};

} // namespace

nlohmann::json parseJSON(std::string_view text) { return Parser(text).parse(); }

} // namespace sorvane
