#include "identity/decoder_program.h"

#include <filesystem>

#include <unistd.h>

#include <doctest/doctest.h>

#include "support/executable_path.h"
#include "tests/scoped_environment.h"

using namespace sorvane;
using Path = std::filesystem::path;

TEST_CASE("a file that begins like a picture is decoded by the program of its format") {
    CHECK(decoderProgramFor("\x89PNG\r\n\x1a\n") == "sorvane-pixels");
}

TEST_CASE("an empty file is worth no decoder") { CHECK_FALSE(decoderProgramFor("")); }

TEST_CASE("a decoder is looked for beside the running program, in its libexec, where an install "
          "lays it") {
    const auto executable = executablePath(::getpid());
    REQUIRE(executable);
    const Path folder = executable->parent_path();
    const test::ScopedEnvironment path("PATH", "/tmp:.:");
    const auto candidates = decoderCandidates("sorvane-pixels");
    REQUIRE(candidates.size() == 3);
    CHECK(candidates[0] == folder / "sorvane-pixels");
    CHECK(candidates[1] == folder.parent_path() / "libexec/sorvane/sorvane-pixels");
    CHECK(candidates[2].filename() == "sorvane-pixels");
    for (const Path& candidate : candidates) CHECK(candidate.is_absolute());
    CHECK(decoderCandidates("another")[0] == folder / "another");
}
