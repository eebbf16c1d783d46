#include "decoder/confinement/landlock.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <sys/syscall.h>
#include <unistd.h>

#include "decoder/confinement/requirements.h"

namespace sorvane::decoder {

namespace {

// Declared here, since the kernel's headers on the oldest system that builds this know only the
// first versions. A right that is named and that no rule grants is lost.
struct Rights {
    std::uint64_t files;
    std::uint64_t network; // from version 4 on
    std::uint64_t scopes;  // from version 6 on
};

constexpr std::uint32_t askForVersion = 1;

constexpr std::uint64_t lowestBits(int count) { return (std::uint64_t{1} << count) - 1; }

constexpr std::uint64_t fileRights(long version) {
    if (version >= 5) return lowestBits(16); // requests to devices
    if (version >= 3) return lowestBits(15); // cutting files
    return lowestBits(version == 2 ? 14 : 13);
}

// To listen and to connect; to reach abstract sockets and to send signals.
constexpr Rights allRights(long version) {
    return {fileRights(version), lowestBits(2), lowestBits(2)};
}

constexpr std::size_t knownSize(long version) {
    if (version >= 6) return sizeof(Rights);
    return version >= 4 ? offsetof(Rights, scopes) : offsetof(Rights, network);
}

} // namespace

void forbidFilesAndNetwork() {
    const long version = ::syscall(__NR_landlock_create_ruleset, nullptr, 0, askForVersion);
    if (version < 0 && (errno == ENOSYS || errno == EOPNOTSUPP)) return;
    require(version > 0, "the Landlock version cannot be read");
    const Rights rights = allRights(version);
    const long rules = ::syscall(__NR_landlock_create_ruleset, &rights, knownSize(version), 0);
    require(rules >= 0, "the Landlock ruleset cannot be created");
    require(::syscall(__NR_landlock_restrict_self, rules, 0) == 0,
            "the Landlock ruleset cannot be enforced");
    ::close(static_cast<int>(rules));
}

} // namespace sorvane::decoder
