#include "support/json.h"

#include <cmath>
#include <stdexcept>

#include "support/utf8.h"

namespace sorvane {

namespace {

// The library quotes the token at which it stopped, and that may be a whole prompt.
constexpr std::size_t parserTextLimit = 400;

std::string oneLine(std::string_view parserText) {
    std::string line = utf8::repaired(parserText.substr(0, parserTextLimit));
    for (char& character : line)
        if (static_cast<unsigned char>(character) < 0x20) character = ' ';
    return line;
}

bool withinNestingLimit(int enclosing, nlohmann::json::parse_event_t event,
                        const nlohmann::json& /*parsed*/) {
    using Event = nlohmann::json::parse_event_t;
    const bool opens = event == Event::object_start || event == Event::array_start;
    if (opens && enclosing >= jsonNestingLimit)
        throw std::runtime_error("JSON is nested more than " + std::to_string(jsonNestingLimit) +
                                 " levels deep");
    return true;
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
    nlohmann::json value;
    try {
        value = nlohmann::json::parse(text.begin(), text.end(), withinNestingLimit);
    } catch (const nlohmann::json::exception& error) {
        throw std::runtime_error(oneLine(error.what()));
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

std::optional<std::int64_t> integerValue(const nlohmann::json& value) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > INT64_MAX) return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (!value.is_number_float()) return std::nullopt;
    const auto number = value.get<double>();
    constexpr double limit = 0x1p63; // the first double above every 64-bit integer
    if (!(number >= -limit && number < limit) || number != std::trunc(number)) return std::nullopt;
    return static_cast<std::int64_t>(number);
}

std::optional<std::int64_t> integerMember(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* value = anyMember(object, key);
    return value == nullptr ? std::nullopt : integerValue(*value);
}

} // namespace sorvane
