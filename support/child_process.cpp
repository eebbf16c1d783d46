#include "support/child_process.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>

#include "support/child_isolation.h"

namespace sorvane {

namespace {

void check(int reason, const char* what) {
    if (reason != 0) throw std::system_error(reason, std::generic_category(), what);
}

/// Every signal at its default and none blocked, whatever this process does with them itself.
class SpawnAttributes {
  public:
    explicit SpawnAttributes(short furtherFlags) {
        check(::posix_spawnattr_init(&attributes_), "posix_spawnattr_init");
        sigset_t signals; // filled and emptied by macros on some systems
        sigfillset(&signals);
        check(::posix_spawnattr_setsigdefault(&attributes_, &signals), "default signals");
        sigemptyset(&signals);
        check(::posix_spawnattr_setsigmask(&attributes_, &signals), "signal mask");
        const int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | furtherFlags;
        check(::posix_spawnattr_setflags(&attributes_, static_cast<short>(flags)), "start flags");
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }

    const posix_spawnattr_t* get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_;
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

int reap(pid_t id) {
    int status = 0;
    while (::waitpid(id, &status, 0) < 0 && errno == EINTR) continue;
    return status;
}

// A child that has closed its streams ends within microseconds: begin there, and double up to the
// time that nobody notices.
constexpr long firstPauseNanoseconds = 20'000;
constexpr long longestPauseNanoseconds = 5'000'000;

} // namespace

ChildStreams::ChildStreams() {
    check(::posix_spawn_file_actions_init(&actions_), "posix_spawn_file_actions_init");
}

ChildStreams::~ChildStreams() { ::posix_spawn_file_actions_destroy(&actions_); }

void ChildStreams::connect(int descriptor, int as) {
    check(addConnection(actions_, descriptor, as), "child stream");
}

void ChildStreams::connectNull(int as) {
    check(::posix_spawn_file_actions_addopen(&actions_, as, "/dev/null", O_RDWR, 0), "/dev/null");
}

ChildProcess::ScopedDefaultSigchld::ScopedDefaultSigchld() {
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    ::sigaction(SIGCHLD, &byDefault, &before_);
}

ChildProcess::ScopedDefaultSigchld::~ScopedDefaultSigchld() {
    ::sigaction(SIGCHLD, &before_, nullptr);
}

ChildProcess::ChildProcess(const std::filesystem::path& path, std::vector<std::string> arguments,
                           std::vector<std::string> environment, ChildStreams&& streams) {
    const SpawnAttributes attributes(closeOtherDescriptors(streams.actions_));
    check(::posix_spawn(&id_, path.c_str(), &streams.actions_, attributes.get(),
                        pointers(arguments).data(), pointers(environment).data()),
          path.c_str());
}

ChildProcess::~ChildProcess() {
    if (id_ >= 0) succeeds(Clock::now());
}

std::int32_t ChildProcess::wait() {
    int status = reap(std::exchange(id_, -1)); // some systems' macros take its address
    return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

bool ChildProcess::succeeds(Clock::time_point deadline) {
    const pid_t id = std::exchange(id_, -1);
    int status = 0;
    pid_t ended = 0;
    timespec pause{0, firstPauseNanoseconds};
    while ((ended = ::waitpid(id, &status, WNOHANG)) == 0 && Clock::now() < deadline) {
        ::nanosleep(&pause, nullptr);
        pause.tv_nsec = std::min(2 * pause.tv_nsec, longestPauseNanoseconds);
    }
    if (ended == 0) {
        ::kill(id, SIGKILL);
        reap(id);
        return false;
    }
    return ended == id && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace sorvane
