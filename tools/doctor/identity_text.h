#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace sorvane::doctor {

/// A text of a report; empty when there is none.
std::string text(const nlohmann::json& object, std::string_view key);

/// An identity in words: its digests and, for a picture, its size.
std::string identityText(const nlohmann::json& identity);

} // namespace sorvane::doctor
