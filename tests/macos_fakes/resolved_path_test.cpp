#include "support/resolved_path.h"

#include <filesystem>

#include <doctest/doctest.h>

#include "tests/macos_fakes/fake_system.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::macos::FakeSystem;

TEST_CASE("a resolved path is not spelled by the way through /private") {
    FakeSystem fake;
    fake.existing = {"/var/folders/x/server", "/tmp", "var", "/"};
    CHECK(resolvedPath("/private/var/folders/x/server") == "/var/folders/x/server");
    CHECK(resolvedPath("/private/tmp") == "/tmp");
}

TEST_CASE("what is not there by the short way keeps the long one") {
    FakeSystem fake;
    fake.existing = {"/", "", "var", "ly/var", "/private/tmp"};
    for (const char* path : {"/private/var/no such/server", "/private", "/privately/var",
                             "/private/private/tmp2", "/elsewhere/private/tmp"}) {
        CAPTURE(path);
        CHECK(resolvedPath(path) == path);
    }
}

TEST_CASE("links are followed as far as the path exists") {
    FakeSystem fake;
    const test::TemporaryDirectory directory;
    const auto folder = std::filesystem::canonical(directory.path());
    test::putFile(folder / "file", "");
    std::filesystem::create_symlink("file", folder / "link");
    CHECK(resolvedPath(folder / "link") == folder / "file");
    CHECK(resolvedPath(folder / "none/../other") == folder / "other");
    CHECK(fake.calls.empty());
}
