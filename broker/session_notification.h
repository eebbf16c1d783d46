#pragma once

#include <string>

namespace sorvane {

/// Tells every process of the user's session that the session of an agent has changed: the name
/// "com.sorvane.client-session-changed" with the agent's identifier. It is on its way when the call
/// returns. Never fails: where nothing carries it, or not within a second, nobody is told.
void postSessionChanged(const std::string& agent) noexcept;

} // namespace sorvane
