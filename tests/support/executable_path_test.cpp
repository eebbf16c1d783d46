#include <filesystem>

#include <unistd.h>

#include <doctest/doctest.h>

#include "support/executable_path.h"
#include "tests/started_process.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::StartedProcess;
using test::TemporaryDirectory;

namespace {

// A program that says that it runs, and goes on until its input ends.
StartedProcess started(const std::filesystem::path& shell) {
    return StartedProcess(shell, {"another name", "-c", "echo; read line"});
}

} // namespace

TEST_CASE("the path of this program is known") {
    const auto path = executablePath(::getpid());
    REQUIRE(path);
    CHECK(path->is_absolute());
    CHECK(path->filename() == "unit_tests");
    CHECK(std::filesystem::is_regular_file(*path));
}

TEST_CASE("the path of another program is the file that runs, not how it was called") {
    const TemporaryDirectory directory;
    const auto folder = std::filesystem::canonical(directory.path());
    std::filesystem::copy_file("/bin/sh", folder / "a shell");
    std::filesystem::create_symlink("a shell", folder / "link");
    for (const std::string name : {"a shell", "link"}) {
        CAPTURE(name);
        const StartedProcess process = started(folder / name);
        process.line();
        CHECK(executablePath(process.id()) == folder / "a shell");
    }
}

TEST_CASE("a process that is not there has no path") {
    StartedProcess process = started("/bin/sh");
    process.line();
    const pid_t id = process.id();
    CHECK(executablePath(id));
    process.closeInput();
    process.awaitEnd();
    CHECK_FALSE(executablePath(id));
    process.reap();
    CHECK_FALSE(executablePath(id));
    CHECK_FALSE(executablePath(0));
    CHECK_FALSE(executablePath(-1));
}
