#include <chrono>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/child_process.h"
#include "support/unique_descriptor.h"
#include "tests/scoped_limit.h"

using namespace sorvane;

namespace {

// Whether a descriptor of this process is open in a child of it too.
bool reachesChild(int descriptor) {
    ChildStreams streams;
    for (const int standard : {0, 1, 2}) streams.connectNull(standard);
    const std::string script = "test -e /dev/fd/" + std::to_string(descriptor);
    ChildProcess child("/bin/sh", {"sh", "-c", script}, {}, std::move(streams));
    return child.succeeds(ChildProcess::Clock::now() + std::chrono::hours(1));
}

// An open descriptor that every program started from here would get.
UniqueDescriptor inherited(int atLeast) {
    const UniqueDescriptor device(::open("/dev/null", O_RDWR));
    return UniqueDescriptor(::fcntl(device.get(), F_DUPFD, atLeast));
}

} // namespace

TEST_CASE("a child gets its three streams and no other descriptor that is open here") {
    // Some systems begin with 256 at most.
    const test::ScopedLimit room(RLIMIT_NOFILE, 1024);
    for (const int standard : {0, 1, 2}) CHECK(reachesChild(standard));
    for (const int atLeast : {3, 4, 20, 200, 1000}) {
        const UniqueDescriptor descriptor = inherited(atLeast);
        CAPTURE(atLeast);
        REQUIRE(descriptor);
        CHECK_FALSE(reachesChild(descriptor.get()));
    }
}
