#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace sorvane::doctor {

/// An identity in words: its digests and, for a picture, its size.
std::string identityText(const nlohmann::json& identity);

} // namespace sorvane::doctor
