// The notification through the system's distributed notification center, which hands it to every
// process of the user's session, suspended ones included.

#include "broker/session_notification.h"

#include "support/core_foundation.h"

namespace sorvane {

void postSessionChanged(const std::string& agent) noexcept {
    const auto name = makeCFString("com.sorvane.client-session-changed");
    const auto object = makeCFString(agent);
    if (!name || !object) return;
    constexpr Boolean deliverImmediately = 1;
    ::CFNotificationCenterPostNotification(::CFNotificationCenterGetDistributedCenter(), name.get(),
                                           object.get(), nullptr, deliverImmediately);
}

} // namespace sorvane
