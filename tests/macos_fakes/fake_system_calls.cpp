// What macOS has beside the frameworks, and the calls of this system that are asked for something
// it does not know.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <crt_externs.h>
#include <libproc.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <CommonCrypto/CommonDigest.h>

#include "tests/macos_fakes/fake_system.h"

using sorvane::test::macos::FakeSystem;

namespace {

std::string nameOf(int option) {
    switch (option) {
    case SO_NOSIGPIPE:
        return "SO_NOSIGPIPE";
    case SO_SNDBUF:
        return "SO_SNDBUF";
    case SO_RCVBUF:
        return "SO_RCVBUF";
    case SO_RCVTIMEO:
        return "SO_RCVTIMEO";
    case SO_SNDTIMEO:
        return "SO_SNDTIMEO";
    default:
        return "another";
    }
}

const sockaddr_un& recordOf(const sockaddr* address) {
    return *reinterpret_cast<const sockaddr_un*>(address);
}

std::string described(const sockaddr* address, socklen_t length) {
    const sockaddr_un& record = recordOf(address);
    return std::string(record.sun_path) + ", length byte " + std::to_string(record.sun_len) +
           ", family " + std::to_string(record.sun_family) + ", " + std::to_string(length) +
           " bytes";
}

// An option's value: a number, or the seconds and microseconds of a time.
std::string described(const void* value, socklen_t length) {
    if (length == sizeof(timeval)) {
        timeval time{};
        std::memcpy(&time, value, sizeof time);
        return std::to_string(time.tv_sec) + " s " + std::to_string(time.tv_usec) + " us";
    }
    int number = 0;
    std::memcpy(&number, value, std::min<std::size_t>(length, sizeof number));
    return std::to_string(number);
}

} // namespace

extern "C" {

int CC_SHA256_Init(CC_SHA256_CTX* context) { return ::SHA256_Init(&context->context); }

int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length) {
    FakeSystem& fake = FakeSystem::current();
    fake.digestedLengths.push_back(length);
    return fake.digests ? ::SHA256_Update(&context->context, data, length) : 1;
}

int CC_SHA256_Final(unsigned char* digest, CC_SHA256_CTX* context) {
    return ::SHA256_Final(digest, &context->context);
}

int proc_pidpath(int process, void* buffer, std::uint32_t capacity) {
    FakeSystem& fake = FakeSystem::current();
    auto* bytes = static_cast<char*>(buffer);
    if (std::any_of(bytes, bytes + capacity, [](char byte) { return byte != 0; }))
        fake.faults.emplace_back("a buffer that is not empty");
    fake.called("proc_pidpath", std::to_string(process) + ", " + std::to_string(capacity));
    std::copy(fake.processPath.begin(), fake.processPath.end(), bytes);
    return fake.processPathLength;
}

int* _NSGetArgc() {
    static int count;
    count = static_cast<int>(FakeSystem::current().arguments.size());
    return &count;
}

char*** _NSGetArgv() {
    static std::vector<char*> pointers;
    static char** first;
    pointers.clear();
    for (std::string& argument : FakeSystem::current().arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    first = pointers.data();
    return &first;
}

int posix_spawn_file_actions_addinherit_np(posix_spawn_file_actions_t* /*actions*/,
                                           int descriptor) {
    return FakeSystem::current().called("addinherit", std::to_string(descriptor)) ? 0 : ENOMEM;
}

// These stand in for the C library's in the whole program, where nothing else asks for them.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the library's are reserved

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* /*actions*/, int descriptor,
                                     int as) noexcept {
    return FakeSystem::current().called("adddup2",
                                        std::to_string(descriptor) + ", " + std::to_string(as))
               ? 0
               : ENOMEM;
}

int setsockopt(int /*descriptor*/, int level, int option, const void* value,
               socklen_t length) noexcept {
    FakeSystem& fake = FakeSystem::current();
    const auto name = level == SOL_SOCKET ? nameOf(option) : "another";
    const bool granted = fake.called("setsockopt", name + ", " + described(value, length) + ", " +
                                                       std::to_string(length) + " bytes") &&
                         !fake.failing.contains(name);
    return granted ? 0 : -1;
}

int connect(int /*descriptor*/, const sockaddr* address, socklen_t length) {
    return FakeSystem::current().called("connect", described(address, length)) ? 0 : -1;
}

int bind(int /*descriptor*/, const sockaddr* address, socklen_t length) noexcept {
    std::ofstream(recordOf(address).sun_path).close();
    return FakeSystem::current().called("bind", described(address, length)) ? 0 : -1;
}

int listen(int /*descriptor*/, int /*backlog*/) noexcept {
    return FakeSystem::current().called("listen") ? 0 : -1;
}

// A descriptor that is asked for no event tells of none, not even of its end.
int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    std::vector<pollfd> asked(descriptors, descriptors + count);
    for (pollfd& one : asked)
        if (one.events == 0) one.fd = -1;
    const timespec time{milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
    const int ready = ::ppoll(asked.data(), count, milliseconds < 0 ? nullptr : &time, nullptr);
    for (nfds_t i = 0; i < count; ++i) descriptors[i].revents = asked[i].revents;
    return ready;
}

int access(const char* path, int mode) noexcept {
    FakeSystem& fake = FakeSystem::current();
    if (mode != F_OK) fake.faults.emplace_back("access that is no mere existence");
    fake.called("access", path);
    return fake.existing.contains(path) ? 0 : -1;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}
