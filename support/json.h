#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// Reading and writing JSON, and taking values out of it. All JSON is read here, and all that our
/// programs exchange or store is written here, so that strictness, escaping and the form of numbers
/// cannot differ.
namespace sorvane {

/// How deep objects and arrays may be nested. No agent sends deeper texts. The limit is for code
/// that copies a value, which recurses; reading and writing do not.
inline constexpr int maxJsonNesting = 512;

/// Reads one JSON text: strictly RFC 8259, in UTF-8, with at most one leading byte-order mark. The
/// top level is an object or an array; of a repeated key the last value counts. Throws
/// std::runtime_error, whose text is one line and repeats nothing of the input.
nlohmann::json parseJSON(std::string_view text);

/// Appends a value as compact JSON with forward slashes escaped. Throws nlohmann::json::exception
/// or std::domain_error when the value has no JSON form: a number that is not finite, a text that
/// is not UTF-8, raw bytes.
void appendJSON(std::string& text, const nlohmann::json& value);

/// What `appendJSON` writes, as a text of its own.
std::string jsonText(const nlohmann::json& value);

// Loose reading: a value of another kind than the one asked for counts as absent. The views last
// as long as the value they were taken from.

/// The member of an object, or null when there is none or `object` is not an object.
const nlohmann::json* anyMember(const nlohmann::json& object, std::string_view key);

std::optional<std::string_view> textMember(const nlohmann::json& object, std::string_view key);

/// The first of two members that is a text.
std::optional<std::string_view> textMember(const nlohmann::json& object, std::string_view key,
                                           std::string_view fallback);

/// A number without a fraction that fits: 1024, 1024.0 and 1e3 do; 1024.5 and true do not.
std::optional<std::int64_t> integerValue(const nlohmann::json& value);
std::optional<std::int64_t> integerMember(const nlohmann::json& object, std::string_view key);
std::optional<std::int64_t> integerMember(const nlohmann::json& object, std::string_view key,
                                          std::string_view fallback);

} // namespace sorvane
