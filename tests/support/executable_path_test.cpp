#include "support/executable_path.h"

#include <filesystem>

#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/scoped_environment.h"
#include "tests/started_process.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::StartedProcess;
using test::TemporaryDirectory;

namespace {

// A program of ours, or a copy of it, that says that it runs and goes on until its input ends. A
// system's own program may be a way to another one, and its copy may not be allowed to run.
StartedProcess started(const std::filesystem::path& recorder) {
    const test::ScopedEnvironment recordsNothing("SORVANE_DIAGNOSTIC", "1");
    return StartedProcess(recorder, {"another name", "codex", "client-1", "name"});
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
    std::filesystem::copy_file(SORVANE_SESSION_RECORDER, folder / "a copy");
    std::filesystem::create_symlink("a copy", folder / "link");
    for (const std::string name : {"a copy", "link"}) {
        CAPTURE(name);
        const StartedProcess process = started(folder / name);
        REQUIRE(process.line() == "recorded");
        CHECK(executablePath(process.id()) == folder / "a copy");
    }
}

TEST_CASE("a process that is not there has no path") {
    StartedProcess process = started(SORVANE_SESSION_RECORDER);
    REQUIRE(process.line() == "recorded");
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
