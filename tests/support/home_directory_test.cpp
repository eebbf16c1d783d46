#include "support/home_directory.h"

#include <pwd.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/forked.h"
#include "tests/scoped_environment.h"

using namespace sorvane;
using test::ScopedEnvironment;

namespace {

std::filesystem::path homeInUserDatabase() {
    const passwd* account = ::getpwuid(::geteuid());
    return account != nullptr ? account->pw_dir : "/var/empty";
}

} // namespace

TEST_CASE("the home directory is that of the account, whatever the environment says") {
    CHECK(homeDirectory() == homeInUserDatabase());
    CHECK(homeDirectory().is_absolute());
    for (const std::string value : {"/elsewhere", "", "relative"}) {
        CAPTURE(value);
        const ScopedEnvironment home("HOME", value);
        const ScopedEnvironment user("USER", "nobody");
        CHECK(homeDirectory() == homeInUserDatabase());
    }
    const ScopedEnvironment noHome("HOME", std::nullopt);
    CHECK(homeDirectory() == homeInUserDatabase());
}

TEST_CASE("an account that the user database does not know has its home where nothing is") {
    if (::geteuid() != 0) return; // only the superuser can be somebody else
    constexpr uid_t unknown = 3'999'999'999;
    REQUIRE(::getpwuid(unknown) == nullptr);
    CHECK(test::inForkedChild(
              [] { return ::seteuid(unknown) == 0 && homeDirectory() == "/var/empty"; }) == 0);
}

TEST_CASE("the account is the one whose rights the process has") {
    if (::geteuid() != 0) return;
    const passwd* other = ::getpwnam("nobody");
    REQUIRE(other != nullptr);
    const uid_t id = other->pw_uid;
    const std::filesystem::path home = other->pw_dir;
    CHECK(test::inForkedChild([&] { return ::seteuid(id) == 0 && homeDirectory() == home; }) == 0);
}
