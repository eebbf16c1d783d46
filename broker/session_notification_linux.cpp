// The notification as a signal on the D-Bus session bus, by sd-bus. Without a bus nothing is
// posted: no program is started to get one, and no other host is contacted.

#include "broker/session_notification.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

#include <systemd/sd-bus.h>

#include "support/c_deleter.h"

namespace sorvane {

namespace {

using Clock = std::chrono::steady_clock;

// A bus answers and takes a signal within milliseconds; one that does not must not hold up the
// caller.
constexpr auto timeout = std::chrono::seconds(1);

using Bus = std::unique_ptr<sd_bus, Release<sd_bus_close_unref>>;

// The Unix-domain sockets of a list of addresses. The other transports start a program
// ("unixexec:") or resolve a host ("tcp:"), and have no timeout.
std::string socketAddresses(std::string_view list) {
    std::string sockets;
    while (!list.empty()) {
        const std::string_view address = list.substr(0, list.find(';'));
        if (address.starts_with("unix:")) sockets.append(address).append(";");
        list.remove_prefix(std::min(list.size(), address.size() + 1));
    }
    return sockets;
}

int startAt(sd_bus* bus, const std::string& addresses) {
    if (addresses.empty()) return -ENOENT;
    const int result = sd_bus_set_address(bus, addresses.c_str());
    if (result < 0) return result;
    sd_bus_set_bus_client(bus, 1);
    return sd_bus_start(bus);
}

Bus openSessionBus() {
    sd_bus* bus = nullptr;
    const char* listed = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (listed == nullptr) {
        if (sd_bus_open_user(&bus) < 0) bus = nullptr;
        return Bus(bus);
    }
    if (sd_bus_new(&bus) < 0) bus = nullptr;
    Bus opened(bus);
    if (opened && startAt(bus, socketAddresses(listed)) < 0) opened.reset();
    return opened;
}

// Reads and writes the bus until a condition holds. False when it does not before the deadline.
template<class Condition>
bool awaits(sd_bus* bus, Clock::time_point deadline, Condition holds) {
    while (!holds()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        const int progress = sd_bus_process(bus, nullptr);
        if (progress < 0) return false;
        if (progress > 0) continue;
        const int event = sd_bus_wait(bus, static_cast<std::uint64_t>(left.count()));
        if (event < 0 && event != -EINTR) return false;
    }
    return true;
}

bool isWritten(sd_bus* bus) {
    std::uint64_t queued = 0;
    return sd_bus_get_n_queued_write(bus, &queued) < 0 || queued == 0;
}

} // namespace

// The name is data: a hyphen is not allowed in the names of interfaces and members.
void postSessionChanged(const std::string& agent) noexcept try {
    const auto deadline = Clock::now() + timeout;
    const Bus owner = openSessionBus();
    sd_bus* bus = owner.get();
    // Until the bus has answered, everything sent only waits in the queue of this process.
    if (bus == nullptr || !awaits(bus, deadline, [bus] { return sd_bus_is_ready(bus) > 0; }))
        return;
    if (sd_bus_emit_signal(bus, "/com/sorvane/Notification", "com.sorvane.Notification", "Posted",
                           "ss", "com.sorvane.client-session-changed", agent.c_str()) >= 0)
        awaits(bus, deadline, [bus] { return isWritten(bus); });
} catch (const std::bad_alloc&) {
    // Nothing is posted.
}

} // namespace sorvane
