#include "support/child_process.h"

#include <csignal>
#include <system_error>

#include <fcntl.h>

#include "support/child_isolation.h"

namespace sorvane {

namespace {

void check(int reason, const char* what) {
    if (reason != 0) throw std::system_error(reason, std::generic_category(), what);
}

/// Every signal at its default and none blocked, whatever this process has set for itself.
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

    posix_spawnattr_t& get() { return attributes_; }

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

ChildProcess::ChildProcess(const std::filesystem::path& path, std::vector<std::string> arguments,
                           std::vector<std::string> environment, ChildStreams&& streams) {
    SpawnAttributes attributes(closeOtherDescriptors(streams.actions_));
    status_.emplace(path.c_str(), streams.actions_, attributes.get(), pointers(arguments).data(),
                    pointers(environment).data());
}

ChildProcess::~ChildProcess() {
    if (status_) status_->kill();
}

std::int32_t ChildProcess::wait() {
    const ChildEnd end = status_->awaitEnd();
    status_.reset();
    return end.number;
}

bool ChildProcess::succeeds(Clock::time_point deadline) {
    const auto end = status_->awaitEnd(deadline);
    if (!end) status_->kill();
    status_.reset();
    return end && end->exited && end->number == 0;
}

} // namespace sorvane
