// The hook is linked statically: it must not load the modules of the user database into itself. The
// accounts of this machine are read from their file; for every other `getent`, which loads them, is
// asked. It is asked first when LD_PRELOAD is set: what is preloaded may be a user database, and is
// not loaded into a static program.

#include "support/home_directory.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/descriptor_io.h"
#include "support/pipe.h"

namespace sorvane {

namespace {

// A directory service that does not answer must not keep a prompt waiting.
constexpr std::chrono::seconds getentTimeout{2};

constexpr std::size_t maxLine = 16'384;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// In lines like those of the passwd file.
std::optional<std::filesystem::path> homeIn(File lines, uid_t account) {
    if (!lines) return std::nullopt;
    std::array<char, maxLine> buffer;
    passwd entry{};
    passwd* found = nullptr;
    while (::fgetpwent_r(lines.get(), &entry, buffer.data(), buffer.size(), &found) == 0)
        if (entry.pw_uid == account && entry.pw_dir != nullptr && *entry.pw_dir != '\0')
            return entry.pw_dir;
    return std::nullopt;
}

std::optional<std::filesystem::path> homeInFile(uid_t account) {
    return homeIn({std::fopen("/etc/passwd", "re"), std::fclose}, account);
}

std::vector<std::string> wholeEnvironment() {
    std::vector<std::string> variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        variables.emplace_back(*entry);
    return variables;
}

std::optional<std::filesystem::path> homeByGetent(uid_t account) try {
    const auto deadline = ChildProcess::Clock::now() + getentTimeout;
    Pipe pipe = makePipe();
    ChildStreams streams;
    streams.connect(pipe.writingEnd.get(), STDOUT_FILENO);
    streams.connectNull(STDIN_FILENO);
    streams.connectNull(STDERR_FILENO);
    ChildProcess getent("/usr/bin/getent", {"getent", "passwd", std::to_string(account)},
                        wholeEnvironment(), std::move(streams));
    // Its output is read when it has ended: a line fits into the pipe. After a failure the pipe may
    // be empty and held open by another process, so it is not read at all.
    if (!getent.succeeds(deadline)) return std::nullopt;
    std::array<char, maxLine> line;
    const ssize_t length = readSome(pipe.readingEnd.get(), line);
    if (length <= 0) return std::nullopt;
    return homeIn({::fmemopen(line.data(), static_cast<std::size_t>(length), "r"), std::fclose},
                  account);
} catch (const std::system_error&) {
    return std::nullopt;
}

std::filesystem::path homeOf(uid_t account) {
    const bool preloads = std::getenv("LD_PRELOAD") != nullptr;
    auto home = preloads ? homeByGetent(account) : homeInFile(account);
    if (!home) home = preloads ? homeInFile(account) : homeByGetent(account);
    return home.value_or("/var/empty");
}

struct Account {
    uid_t id;
    std::filesystem::path home;
};

} // namespace

// A run asks several times, and getent is a program to be started.
std::filesystem::path homeDirectory() {
    thread_local std::optional<Account> last;
    const uid_t account = ::geteuid();
    if (!last || last->id != account) last = Account{account, homeOf(account)};
    return last->home;
}

} // namespace sorvane
