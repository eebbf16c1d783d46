#include "support/home_directory.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include <pwd.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/pipe.h"
#include "tests/scoped_environment.h"

using namespace sorvane;
using test::ScopedEnvironment;

namespace {

// The home directory with a preloaded user database, asked by a thread that has not asked before.
std::filesystem::path homeWith(const std::string& behaviour) {
    const ScopedEnvironment database("LD_PRELOAD", SORVANE_FAKE_USER_DATABASE);
    const ScopedEnvironment behaves("FAKE_USER_DATABASE", behaviour);
    std::filesystem::path home;
    std::thread([&home] { home = homeDirectory(); }).join();
    return home;
}

std::filesystem::path homeInFile() {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/etc/passwd", "re"),
                                                               std::fclose);
    while (const passwd* entry = file ? ::fgetpwent(file.get()) : nullptr)
        if (entry->pw_uid == ::geteuid()) return entry->pw_dir;
    return "/var/empty";
}

} // namespace

TEST_CASE("a user database that is preloaded is asked before the file") {
    CHECK(homeWith("answers") == "/homes/somebody");
}

TEST_CASE("a user database that does not answer within two seconds is not waited for") {
    const auto begun = std::chrono::steady_clock::now();
    CHECK(homeWith("hangs") == homeInFile());
    const auto elapsed = std::chrono::steady_clock::now() - begun;
    CHECK(elapsed >= std::chrono::seconds(2));
    CHECK(elapsed < std::chrono::seconds(10)); // a busy machine is late
}

TEST_CASE("what a user database complains of is written nowhere") {
    test::Pipe pipe;
    const int before = ::dup(STDERR_FILENO);
    ::dup2(pipe.writer.get(), STDERR_FILENO);
    const std::filesystem::path home = homeWith("complains");
    ::dup2(before, STDERR_FILENO);
    ::close(before);
    CHECK(home == "/homes/somebody");
    CHECK(pipe.content().empty());
}
