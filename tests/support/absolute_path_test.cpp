#include "support/absolute_path.h"

#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/forked.h"
#include "tests/scoped_environment.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using Path = std::filesystem::path;

namespace {

/// Another current directory for the time of a scope.
class ScopedCurrentDirectory {
  public:
    explicit ScopedCurrentDirectory(const Path& directory) {
        std::filesystem::current_path(directory);
    }
    ScopedCurrentDirectory(const ScopedCurrentDirectory&) = delete;
    ScopedCurrentDirectory& operator=(const ScopedCurrentDirectory&) = delete;
    ~ScopedCurrentDirectory() { std::filesystem::current_path(before_); }

  private:
    Path before_ = std::filesystem::current_path();
};

} // namespace

TEST_CASE("an absolute text is taken as it stands") {
    for (const std::string text : {"/", "/a", "/a/", "//a", "/a//b", "/a/./b", "/a/../b", "/a/..",
                                   "/~", "/a b", "/caf\u00E9", "/\xFF", "/a\nb"}) {
        CAPTURE(text);
        CHECK(absolutePath(text).native() == text);
    }
}

TEST_CASE("a relative text is taken from the current directory, otherwise as it stands") {
    const test::TemporaryDirectory directory;
    const ScopedCurrentDirectory scope(directory.path());
    const std::string current = std::filesystem::current_path().native();
    const test::ScopedEnvironment home("HOME", "/elsewhere");
    for (const std::string text : {"a", "a/", "a//b", ".", "..", "./a", "../a", "a/../b", "~",
                                   "~/a", "~root/a", "$HOME", " ", "caf\u00E9", "\xFF"}) {
        CAPTURE(text);
        CHECK(absolutePath(text).native() == current + "/" + text);
        CHECK(absolutePath(text).is_absolute());
    }
}

TEST_CASE("an empty text is the current directory") {
    const test::TemporaryDirectory directory;
    const ScopedCurrentDirectory scope(directory.path());
    CHECK(absolutePath("").native() == std::filesystem::current_path().native());
}

TEST_CASE("a location below the root directory has one slash before it") {
    const ScopedCurrentDirectory scope("/");
    CHECK(absolutePath("a").native() == "/a");
    CHECK(absolutePath("").native() == "/");
}

TEST_CASE("no link on the way is resolved") {
    const test::TemporaryDirectory directory;
    std::filesystem::create_symlink("/nowhere", directory.path() / "link");
    const ScopedCurrentDirectory scope(directory.path());
    CHECK(absolutePath("link").native() == std::filesystem::current_path().native() + "/link");
}

TEST_CASE("without a current directory a relative text stays as it is") {
    CHECK(test::inForkedChild([] {
              {
                  const test::TemporaryDirectory directory;
                  std::filesystem::current_path(directory.path());
              }
              return absolutePath("a/b").native() == "a/b" && absolutePath("").native().empty() &&
                     absolutePath("/a").native() == "/a";
          }) == 0);
}
