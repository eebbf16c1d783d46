#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// JSON text in and out, and the only way values are taken out of it. Everything that reads or
/// writes JSON goes through here, so that strictness, escaping and number form cannot differ.
namespace sorvane {

/// Objects and arrays within one another. Deeper texts come from no agent, and whoever copies a
/// value recurses as deep as it is; reading and writing do not.
inline constexpr int maxJsonNesting = 512;

/// Reads one JSON text: RFC 8259 to the letter, in UTF-8, one leading byte-order mark skipped; the
/// top level is an object or an array; of a key that is written twice the last value counts. Throws
/// std::runtime_error, whose text is one line and repeats nothing of the input.
nlohmann::json parseJSON(std::string_view text);

/// Appends a value as compact JSON with forward slashes escaped. Throws nlohmann::json::exception
/// or std::domain_error when the value has no JSON form: a number that is not finite, a text that
/// is not UTF-8, raw bytes.
void appendJSON(std::string& text, const nlohmann::json& value);

/// The text that `appendJSON` writes, alone.
std::string jsonText(const nlohmann::json& value);

/// Loose reading: a value of another kind than the one asked for counts as absent. The views last
/// as long as the value they were taken from.

/// The member of an object, or null when there is none or `object` is not an object.
const nlohmann::json* anyMember(const nlohmann::json& object, std::string_view key);

std::optional<std::string_view> textMember(const nlohmann::json& object, std::string_view key);

/// The first of two members that is a text.
std::optional<std::string_view> textMember(const nlohmann::json& object, std::string_view key,
                                           std::string_view fallback);

/// A number without fraction that fits: 1024, 1024.0 and 1e3 are integers; 1024.5 and true are not.
std::optional<std::int64_t> integerValue(const nlohmann::json& value);
std::optional<std::int64_t> integerMember(const nlohmann::json& object, std::string_view key);
std::optional<std::int64_t> integerMember(const nlohmann::json& object, std::string_view key,
                                          std::string_view fallback);

} // namespace sorvane
