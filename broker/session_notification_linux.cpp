// The notification as a signal on the D-Bus session bus, by sd-bus. A bus that cannot be found
// is silence at once: nothing is launched to have one.

#include "broker/session_notification.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>

#include <systemd/sd-bus.h>

namespace sorvane {

namespace {

using Clock = std::chrono::steady_clock;

// A bus that is there greets within milliseconds; one that does not must not hold up the caller.
constexpr auto patience = std::chrono::seconds(1);

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_close_unref)>;

Bus openSessionBus() {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) bus = nullptr;
    return {bus, &sd_bus_close_unref};
}

// Whether the bus has greeted us; until then everything sent only waits in our own queue.
bool becomesReady(sd_bus* bus) {
    const auto deadline = Clock::now() + patience;
    while (sd_bus_is_ready(bus) == 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        const int progress = sd_bus_process(bus, nullptr);
        if (progress < 0) return false;
        if (progress > 0) continue;
        const int event = sd_bus_wait(bus, static_cast<std::uint64_t>(left.count()));
        if (event < 0 && event != -EINTR) return false;
    }
    return sd_bus_is_ready(bus) > 0;
}

} // namespace

// The name is data: a hyphen is not allowed in the names of interfaces and members.
void postSessionChanged(const std::string& agent) noexcept {
    const Bus bus = openSessionBus();
    if (!bus || !becomesReady(bus.get())) return;
    if (sd_bus_emit_signal(bus.get(), "/com/sorvane/Notification", "com.sorvane.Notification",
                           "Posted", "ss", "com.sorvane.client-session-changed",
                           agent.c_str()) >= 0)
        sd_bus_flush(bus.get());
}

} // namespace sorvane
