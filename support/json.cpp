#include "support/json.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace sorvane {

namespace {

// A container that is being written, and its next element.
struct OpenContainer {
    const nlohmann::json& value;
    nlohmann::json::const_iterator next;

    bool isAtEnd() const { return next == value.end(); }
};

// A text that stands in quotes as it is. Most do; and a credential would leave copies of itself
// where the library's own text grows.
bool isPlain(std::string_view text) {
    return std::ranges::all_of(
        text, [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
}

void appendWithSlashes(std::string& text, std::string_view plain) {
    for (const char character : plain) {
        if (character == '/') text += '\\';
        text += character;
    }
}

void appendLeaf(std::string& text, const nlohmann::json& leaf) {
    if (leaf.is_number_float() && !std::isfinite(leaf.get<double>()))
        throw std::domain_error("a number that is not finite has no JSON form");
    if (leaf.is_binary() || leaf.is_discarded())
        throw std::domain_error("raw bytes have no JSON form");
    const auto* plain = leaf.get_ptr<const std::string*>();
    if (plain != nullptr && isPlain(*plain)) {
        text += '"';
        appendWithSlashes(text, *plain);
        text += '"';
    } else {
        appendWithSlashes(text, leaf.dump());
    }
}

} // namespace

// As in reading, the thread's stack does not grow with the depth.
void appendJSON(std::string& text, const nlohmann::json& value) {
    std::vector<OpenContainer> open;
    const nlohmann::json* current = &value;
    while (true) {
        if (current->is_structured()) {
            text += current->is_object() ? '{' : '[';
            open.push_back({*current, current->begin()});
        } else {
            appendLeaf(text, *current);
        }
        for (; !open.empty() && open.back().isAtEnd(); open.pop_back())
            text += open.back().value.is_object() ? '}' : ']';
        if (open.empty()) return;
        auto& [container, next] = open.back();
        if (next != container.begin()) text += ',';
        if (container.is_object()) {
            appendLeaf(text, next.key());
            text += ':';
        }
        current = &*next++;
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
    // The smallest 64-bit integer is a double. The largest is not: this is one more than it.
    constexpr double limit = 0x1p63;
    if (!(number >= -limit && number < limit) || number != std::trunc(number)) return std::nullopt;
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
