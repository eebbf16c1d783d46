#include "support/json.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "support/utf8.h"

namespace sorvane {

namespace {

// The library ends its text with the token at which it stopped: a piece of somebody's prompt, or of
// a credential that a broken answer repeats. Numbers that are too large it quotes, however long.
constexpr std::string_view quotation = "; last read";
constexpr std::size_t parserTextLimit = 200;

std::string withoutQuotation(std::string_view parserText) {
    return utf8::oneLine(
        parserText.substr(0, std::min(parserText.find(quotation), parserTextLimit)));
}

// The parser has no limit of its own, and its callback, which could count, looks at all earlier
// elements again for every object: a long list would hold up the prompt.
void checkNesting(std::string_view text) {
    int levels = 0;
    bool quoted = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char character = text[index];
        if (character == '"') quoted = !quoted;
        if (quoted && character == '\\') ++index;
        if (quoted) continue;
        if (character == '[' || character == '{') ++levels;
        if (character == ']' || character == '}') --levels;
        if (levels > jsonNestingLimit)
            throw std::runtime_error("JSON is nested more than " +
                                     std::to_string(jsonNestingLimit) + " levels deep");
    }
}

template<class Container>
void appendElements(std::string& text, const Container& container, char open, char close,
                    auto appendElement) {
    text += open;
    bool first = true;
    for (const auto& element : container) {
        if (!first) text += ',';
        first = false;
        appendElement(element);
    }
    text += close;
}

void appendLeaf(std::string& text, const nlohmann::json& leaf) {
    if (leaf.is_number_float() && !std::isfinite(leaf.get<double>()))
        throw std::domain_error("a number that is not finite has no JSON form");
    if (leaf.is_binary() || leaf.is_discarded())
        throw std::domain_error("raw bytes have no JSON form");
    const std::string plain = leaf.dump();
    for (const char character : plain) {
        if (character == '/') text += '\\';
        text += character;
    }
}

} // namespace

nlohmann::json parseJSON(std::string_view text) {
    // The parser takes a NUL byte for the end of the text, whatever follows.
    if (text.find('\0') != std::string_view::npos)
        throw std::runtime_error("JSON text holds a NUL byte");
    checkNesting(text);
    nlohmann::json value;
    try {
        value = nlohmann::json::parse(text.begin(), text.end());
    } catch (const nlohmann::json::exception& error) {
        throw std::runtime_error(withoutQuotation(error.what()));
    }
    if (!value.is_structured())
        throw std::runtime_error("JSON text is neither an object nor an array");
    return value;
}

void appendJSON(std::string& text, const nlohmann::json& value) {
    if (value.is_object()) {
        appendElements(text, value.items(), '{', '}', [&text](const auto& member) {
            appendLeaf(text, member.key());
            text += ':';
            appendJSON(text, member.value());
        });
    } else if (value.is_array()) {
        appendElements(text, value, '[', ']',
                       [&text](const nlohmann::json& element) { appendJSON(text, element); });
    } else {
        appendLeaf(text, value);
    }
}

std::string jsonText(const nlohmann::json& value) {
    std::string text;
    appendJSON(text, value);
    return text;
}

const nlohmann::json* anyMember(const nlohmann::json& object, std::string_view key) {
    const auto member = object.find(key);
    return member == object.end() ? nullptr : &*member;
}

std::optional<std::string_view> textMember(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = anyMember(object, key);
    if (value == nullptr || !value->is_string()) return std::nullopt;
    return value->get_ref<const std::string&>();
}

std::optional<std::string_view> textMember(const nlohmann::json& object, std::string_view key,
                                           std::string_view fallback) {
    const auto text = textMember(object, key);
    return text ? text : textMember(object, fallback);
}

std::optional<std::int64_t> integerValue(const nlohmann::json& value) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > INT64_MAX) return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (!value.is_number_float()) return std::nullopt;
    const auto number = value.get<double>();
    // The first doubles outside the 64-bit integers. The lower one is the least integer too, but
    // written as an integer that has been read above; here it is the rounding of a lesser number.
    constexpr double limit = 0x1p63;
    if (!(number > -limit && number < limit) || number != std::trunc(number)) return std::nullopt;
    return static_cast<std::int64_t>(number);
}

std::optional<std::int64_t> integerMember(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = anyMember(object, key);
    return value == nullptr ? std::nullopt : integerValue(*value);
}

std::optional<std::int64_t> integerMember(const nlohmann::json& object, std::string_view key,
                                          std::string_view fallback) {
    const auto integer = integerMember(object, key);
    return integer ? integer : integerMember(object, fallback);
}

} // namespace sorvane
