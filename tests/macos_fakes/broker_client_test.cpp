#include "broker/broker_client.h"

#include <string>
#include <vector>

#include <sys/stat.h>

#include <doctest/doctest.h>

#include "support/helper_failure.h"
#include "tests/macos_fakes/fake_system.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::macos::FakeSystem;

namespace {

const std::string withoutSigpipe = "setsockopt(SO_NOSIGPIPE, 1, 4 bytes)";
const std::string receiving = "setsockopt(SO_RCVTIMEO, 2 s 0 us, 16 bytes)";
const std::string sending = "setsockopt(SO_SNDTIMEO, 2 s 0 us, 16 bytes)";
const std::string connecting = "connect(/run/link, length byte 0, family 1, 11 bytes)";

// Why a call fails; every one does here, for nobody is at the other end.
std::string failure(const std::string& path = "/run/link") {
    try {
        BrokerClient({"codex", "client-1", "secret"}, path).call("resolve");
    } catch (const HelperFailure& told) {
        return told.what();
    }
    return "";
}

} // namespace

TEST_CASE("a link has SIGPIPE turned off, is given its timeouts and connected, in this order") {
    FakeSystem fake;
    CHECK(failure() == "Tandem Link request failed.");
    CHECK(fake.calls == std::vector{withoutSigpipe, receiving, sending, connecting});
}

TEST_CASE("a link whose SIGPIPE cannot be turned off is not used") {
    FakeSystem fake;
    fake.failing = {"SO_NOSIGPIPE"};
    CHECK(failure() == "Tandem Link transport could not be configured.");
    CHECK(fake.calls == std::vector{withoutSigpipe});
}

TEST_CASE("a link without its timeouts is used all the same") {
    FakeSystem fake;
    fake.failing = {"SO_RCVTIMEO", "SO_SNDTIMEO"};
    CHECK(failure() == "Tandem Link request failed.");
    CHECK(fake.calls == std::vector{withoutSigpipe, receiving, sending, connecting});
}

TEST_CASE("a link whose path does not fit is configured and never connected") {
    FakeSystem fake;
    CHECK(failure(std::string(104, 'a')) == "Tandem Link socket path is too long.");
    CHECK(fake.calls == std::vector{withoutSigpipe, receiving, sending});
}

TEST_CASE("a link that nobody serves is tried once") {
    FakeSystem fake;
    fake.failing = {"connect"};
    CHECK(failure() == "Sorvane is not running or Tandem Link is unavailable.");
    CHECK(fake.calls == std::vector{withoutSigpipe, receiving, sending, connecting});
}

TEST_CASE("the probe connects once and sets no option, whatever comes of it") {
    const test::TemporaryDirectory directory;
    const auto path = directory.path() / "link";
    REQUIRE(::mknod(path.c_str(), S_IFSOCK | 0600, 0) == 0);
    const std::string connect = "connect(" + path.native() + ", length byte 0, family 1, " +
                                std::to_string(path.native().size() + 2) + " bytes)";
    for (const bool accepted : {true, false}) {
        FakeSystem fake;
        if (!accepted) fake.failing = {"connect"};
        CHECK(BrokerClient::isLocalBrokerReachable(path) == accepted);
        CHECK(fake.calls == std::vector{connect});
    }
}
