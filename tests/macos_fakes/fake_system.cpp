// What macOS has beside the frameworks, and the calls of this system that are asked for something
// it does not know.

#include <CommonCrypto/CommonDigest.h>
#include <algorithm>
#include <cerrno>
#include <crt_externs.h>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <libproc.h>
#include <string>

#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/macos_fakes/world.h"

using sorvane::test::apple::World;

namespace {

std::string nameOf(int option) {
    switch (option) {
    case SO_NOSIGPIPE:
        return "SO_NOSIGPIPE";
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

} // namespace

extern "C" {

int CC_SHA256_Init(CC_SHA256_CTX* context) {
    sha256_init(&context->context);
    return 1;
}

int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length) {
    World& world = World::current();
    world.digestedLengths.push_back(length);
    if (world.hashes)
        sha256_update(&context->context, length, static_cast<const std::uint8_t*>(data));
    return 1;
}

int CC_SHA256_Final(unsigned char* digest, CC_SHA256_CTX* context) {
    sha256_digest(&context->context, CC_SHA256_DIGEST_LENGTH, digest);
    return 1;
}

int proc_pidpath(int process, void* buffer, std::uint32_t capacity) {
    World& world = World::current();
    auto* bytes = static_cast<char*>(buffer);
    if (std::any_of(bytes, bytes + capacity, [](char byte) { return byte != 0; }))
        world.faults.emplace_back("a buffer that is not empty");
    world.called("proc_pidpath", std::to_string(process) + ", " + std::to_string(capacity));
    std::copy(world.processPath.begin(), world.processPath.end(), bytes);
    return world.processPathLength;
}

int* _NSGetArgc() {
    static int count;
    count = static_cast<int>(World::current().arguments.size());
    return &count;
}

char*** _NSGetArgv() {
    static std::vector<char*> pointers;
    static char** first;
    pointers.clear();
    for (std::string& argument : World::current().arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    first = pointers.data();
    return &first;
}

int posix_spawn_file_actions_addinherit_np(posix_spawn_file_actions_t* /*actions*/,
                                           int descriptor) {
    return World::current().called("addinherit", std::to_string(descriptor)) ? 0 : ENOMEM;
}

// These stand in for the C library's in the whole program, where nothing else asks for them.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the library's are reserved

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* /*actions*/, int descriptor,
                                     int as) noexcept {
    return World::current().called("adddup2",
                                   std::to_string(descriptor) + ", " + std::to_string(as))
               ? 0
               : ENOMEM;
}

int setsockopt(int /*descriptor*/, int level, int option, const void* value,
               socklen_t length) noexcept {
    World& world = World::current();
    const auto name = level == SOL_SOCKET ? nameOf(option) : "another";
    int number = 0;
    std::memcpy(&number, value, std::min<std::size_t>(length, sizeof number));
    const bool granted = world.called("setsockopt", name + ", " + std::to_string(number) + ", " +
                                                        std::to_string(length) + " bytes") &&
                         !world.failing.contains(name);
    return granted ? 0 : -1;
}

int connect(int /*descriptor*/, const sockaddr* address, socklen_t length) {
    return World::current().called("connect", described(address, length)) ? 0 : -1;
}

int bind(int /*descriptor*/, const sockaddr* address, socklen_t length) noexcept {
    std::ofstream(recordOf(address).sun_path).close();
    return World::current().called("bind", described(address, length)) ? 0 : -1;
}

int listen(int /*descriptor*/, int /*backlog*/) noexcept {
    return World::current().called("listen") ? 0 : -1;
}

int access(const char* path, int mode) noexcept {
    World& world = World::current();
    if (mode != F_OK) world.faults.emplace_back("access that is no mere existence");
    world.called("access", path);
    return world.existing.contains(path) ? 0 : -1;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}
