#pragma once

#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

/// What the hook answers an agent with: one JSON line, or nothing at all.
namespace sorvane::hookAnswer {

/// `{"continue": true}` for Cursor, which waits for it; nothing for any other agent.
std::optional<nlohmann::json> continuation(std::string_view agent);

/// The context block in the envelope that the agent reads; the agent that takes no context gets the
/// continuation.
nlohmann::json context(std::string_view agent, std::string_view block);

} // namespace sorvane::hookAnswer
