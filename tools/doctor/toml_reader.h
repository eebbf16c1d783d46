#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

namespace sorvane::doctor {

/// A TOML document as the JSON value of the same tables, lists, texts, numbers and flags; moments
/// are null. Throws std::runtime_error, whose text is one line, when it is no TOML.
nlohmann::json parseTOML(std::string_view text);

} // namespace sorvane::doctor
