// The root of the shared state, and the socket on which the application answers.

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "broker/broker_client.h"
#include "support/helper_io.h"
#include "support/unix_socket.h"
#include "tools/doctor/checks.h"

namespace sorvane::doctor {

namespace {

constexpr mode_t permissionBits = 0777;

std::string octal(mode_t mode) {
    std::string digits;
    for (mode_t rest = mode & permissionBits; rest != 0; rest /= 8)
        digits.insert(digits.begin(), static_cast<char>('0' + rest % 8));
    return "0" + digits;
}

Finding failed(std::string text, std::string remedy, std::string command = {}) {
    return {"socket", Status::failed, std::move(text), std::move(remedy), std::move(command)};
}

// The probe itself waits as long as the application's queue is full. A thread that still waits then
// ends with the process.
bool answersInTime(const std::filesystem::path& socket) {
    constexpr std::chrono::seconds timeout{2};
    std::promise<bool> promise;
    std::future<bool> answer = promise.get_future();
    std::thread([socket, promise = std::move(promise)]() mutable {
        promise.set_value(BrokerClient::isLocalBrokerReachable(socket));
    }).detach();
    return answer.wait_for(timeout) == std::future_status::ready && answer.get();
}

const char* const startApplication = "Start Sorvane, and see that Tandem Link is switched on.";

} // namespace

Finding checkRoot(const HelperPaths& paths) {
    const std::string root = paths.appSupport.native();
    const bool moved = std::getenv("SORVANE_APP_SUPPORT") != nullptr;
    std::error_code error;
    if (!std::filesystem::is_directory(paths.appSupport, error))
        return {"root", Status::failed, "there is no folder " + root,
                moved && isTesting() ? "Let SORVANE_APP_SUPPORT name the application's folder, or "
                                       "make it with the command below."
                                     : "Start Sorvane once: it makes the folder.",
                moved && isTesting() ? "mkdir -p " + HelperIO::shellQuoted(root) : ""};
    if (isTesting())
        return {"root", Status::ok,
                root +
                    (moved ? " (testing mode, moved by SORVANE_APP_SUPPORT)" : " (testing mode)")};
    if (moved)
        return {
            "root", Status::warning,
            root + "; SORVANE_APP_SUPPORT is set, and counts in testing mode only",
            "Take SORVANE_APP_SUPPORT out of the environment, or set SORVANE_TESTING to 1 for a "
            "test.",
            "unset SORVANE_APP_SUPPORT"};
    return {"root", Status::ok, root};
}

Finding checkSocket(const HelperPaths& paths) {
    const std::string path = paths.socket.native();
    const std::string quoted = HelperIO::shellQuoted(path);
    if (!socketAddress(paths.socket))
        return failed("the path is longer than a socket's may be: " + path,
                      "Use a root with a shorter path: the system takes about 100 bytes.");
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR;
        return failed(missing ? "Sorvane is not running: there is no " + path
                              : path + ": " + std::generic_category().message(errno),
                      startApplication);
    }
    if (!S_ISSOCK(status.st_mode))
        return failed(
            path + " is no socket",
            "Quit Sorvane if it runs, remove that with the command below, and start Sorvane.",
            "rm -r " + quoted);
    if (status.st_uid != ::geteuid())
        return failed(path + " belongs to another user",
                      "Let Sorvane run as the same user as the agent.");
    if ((status.st_mode & permissionBits) != BrokerClient::socketPermissions)
        return failed("others may open " + path + " (mode " + octal(status.st_mode) +
                          "), so it is not trusted",
                      "Take the others' permissions away.", "chmod 600 " + quoted);
    if (!answersInTime(paths.socket))
        return failed(
            "nobody answers on " + path + ": Sorvane has ended or hangs",
            "Quit Sorvane if it still runs, start it, and see that Tandem Link is switched "
            "on.");
    return {"socket", Status::ok, "Sorvane answers on " + path};
}

} // namespace sorvane::doctor
