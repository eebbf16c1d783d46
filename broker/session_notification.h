#pragma once

#include <string>

namespace sorvane {

/// Posts "com.sorvane.client-session-changed" with the agent's identifier to every process of the
/// user's login session. When the call returns, the system's notification service has it. Never
/// fails: without such a service, or when it takes longer than a second, nothing is posted.
void postSessionChanged(const std::string& agent) noexcept;

} // namespace sorvane
