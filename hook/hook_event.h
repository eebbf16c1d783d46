#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

/// What the hook takes out of an agent's event. A member of another kind than the one expected
/// counts as absent; the views last as long as the event. docs/hook-event.md shows one.
namespace sorvane::hookEvent {

/// Under which keys an event names its session and its turn: the first one that holds a text.
inline constexpr std::array<std::string_view, 2> sessionKeys = {"session_id", "conversation_id"};
inline constexpr std::array<std::string_view, 2> turnKeys = {"turn_id", "generation_id"};

std::string_view prompt(const nlohmann::json& event);

/// The identities that the hook asks about: of the prompt's references when there are any, of the
/// event's attachments otherwise.
std::vector<nlohmann::json> identities(const std::vector<std::string_view>& references,
                                       const nlohmann::json& event);

/// Where the agent works: "cwd", or the first of "workspace_roots".
std::optional<std::string_view> workspaceRoot(const nlohmann::json& event);

/// Elements of the list of attachments, usable or not.
std::int64_t attachmentCount(const nlohmann::json& event);

} // namespace sorvane::hookEvent
