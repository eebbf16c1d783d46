#include <chrono>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <doctest/doctest.h>

#include "support/unix_socket.h"
#include "tests/scoped_environment.h"
#include "tests/temporary_directory.h"
#include "tools/doctor/checks.h"

using namespace sorvane;
using namespace std::chrono_literals;

TEST_CASE("an application that takes no connection is not waited for") {
    const test::TemporaryDirectory directory;
    const test::ScopedEnvironment testing("SORVANE_TESTING", "1");
    const test::ScopedEnvironment root("SORVANE_APP_SUPPORT", directory.path().c_str());
    const HelperPaths paths;
    std::filesystem::create_directories(paths.socket.parent_path());
    const UniqueDescriptor listener = makeSocket();
    const auto address = socketAddress(paths.socket);
    REQUIRE(address);
    REQUIRE(::bind(listener.get(), address->generic(), address->length) == 0);
    REQUIRE(::chmod(paths.socket.c_str(), 0600) == 0);
    REQUIRE(::listen(listener.get(), 0) == 0);
    CHECK(doctor::checkSocket(paths).status == doctor::Status::ok);

    // Visitors that nobody takes, until no more fit.
    std::vector<UniqueDescriptor> visitors;
    do {
        visitors.push_back(makeSocket());
        ::fcntl(visitors.back().get(), F_SETFL, O_NONBLOCK);
    } while (::connect(visitors.back().get(), address->generic(), address->length) == 0);

    const auto begin = std::chrono::steady_clock::now();
    CHECK(doctor::checkSocket(paths).status == doctor::Status::failed);
    CHECK(std::chrono::steady_clock::now() - begin < 10s);
}
