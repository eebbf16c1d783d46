#include <cerrno>
#include <cmath>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include <doctest/doctest.h>

#include "support/date.h"
#include "support/helper_failure.h"
#include "support/helper_io.h"
#include "tests/forked.h"
#include "tests/scoped_mask.h"
#include "tests/support/note.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::fileContent;
using test::inForkedChild;
using test::namesIn;
using test::Note;
using test::putFile;
using test::ScopedMask;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

namespace {

// What the system's chmod is to do during a test, in place of its own work.
std::function<int(const char*, mode_t)> chmodInstead; // NOLINT: the system calls a free function

} // namespace

// Stands before the C library's, in this program only.
extern "C" int chmod(const char* path, mode_t mode) {
    return chmodInstead ? chmodInstead(path, mode) : ::fchmodat(AT_FDCWD, path, mode, 0);
}

namespace {

class ScopedChmod {
  public:
    explicit ScopedChmod(std::function<int(const char*, mode_t)> instead) {
        chmodInstead = std::move(instead);
    }
    ScopedChmod(const ScopedChmod&) = delete;
    ScopedChmod& operator=(const ScopedChmod&) = delete;
    ~ScopedChmod() { chmodInstead = nullptr; }
};

mode_t modeOf(const Path& path) {
    struct stat status {};
    REQUIRE(::lstat(path.c_str(), &status) == 0);
    return status.st_mode & 07777;
}

} // namespace

TEST_CASE("a record is written into directories that are made on the way") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "a" / "b c" / "d" / "note.json";
    {
        const ScopedMask mask(022);
        HelperIO::writeJSON(Note{"a/b", Date(Date::duration(0.5))}, path);
    }
    CHECK(fileContent(path) == R"({"text":"a\/b","writtenAt":0.5})");
    CHECK(modeOf(path) == 0600);
    CHECK(modeOf(path.parent_path()) == 0755);
    CHECK(namesIn(path.parent_path()) == std::set<std::string>{"note.json"});
}

TEST_CASE("a record may be written under a mere name, into the current directory") {
    const TemporaryDirectory directory;
    CHECK(inForkedChild([&] {
              std::filesystem::current_path(directory.path());
              HelperIO::writeJSON(Note{"a"}, "state.json");
              HelperIO::writeJSON(Note{"b"}, "state.json");
              return HelperIO::readJSON<Note>("state.json") == Note{"b"};
          }) == 0);
    CHECK(namesIn(directory.path()) == std::set<std::string>{"state.json"});
    CHECK(modeOf(directory.path() / "state.json") == 0600);
}

TEST_CASE("the mode is the one asked for, whatever mask or older file there is") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    for (const mode_t mask : std::initializer_list<mode_t>{0, 022, 077, 0777}) {
        for (const mode_t older : std::initializer_list<mode_t>{0644, 0600, 0777, 0}) {
            CAPTURE(mask);
            CAPTURE(older);
            putFile(path, "older");
            ::chmod(path.c_str(), older);
            const ScopedMask scope(mask);
            HelperIO::writeJSON(Note{"a"}, path);
            CHECK(modeOf(path) == 0600);
            HelperIO::writeJSON(Note{"a"}, path, 0644);
            CHECK(modeOf(path) == 0644);
            HelperIO::writeJSON(Note{"a"}, path, 0);
            CHECK(modeOf(path) == 0);
            std::filesystem::remove(path);
        }
    }
}

TEST_CASE("the mode is set last, on the new file in its place, which has the default until then") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    putFile(path, "older");
    const ScopedMask mask(027);
    int calls = 0;
    const ScopedChmod chmod([&](const char* changed, mode_t mode) {
        ++calls;
        CHECK(Path(changed) == path);
        CHECK(mode == 0600);
        CHECK(modeOf(path) == 0640);
        CHECK(fileContent(path) == R"({"text":"new","writtenAt":0.0})");
        CHECK(namesIn(directory.path()) == std::set<std::string>{"note.json"});
        return 0;
    });
    HelperIO::writeJSON(Note{"new"}, path);
    CHECK(calls == 1);
}

TEST_CASE("when the mode cannot be set the new file stays and the failure names it") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "codex-hook-state.json";
    putFile(path, "older");
    const ScopedChmod refused([](const char*, mode_t) {
        errno = EPERM;
        return -1;
    });
    std::string text;
    try {
        HelperIO::writeJSON(Note{"new"}, path);
    } catch (const HelperFailure& failure) {
        text = failure.errorDescription();
    }
    CHECK(text == "Agent configuration failed: Could not restrict permissions for "
                  "codex-hook-state.json.");
    CHECK(fileContent(path) == R"({"text":"new","writtenAt":0.0})");
    CHECK(namesIn(directory.path()) == std::set<std::string>{"codex-hook-state.json"});
}

TEST_CASE("a symbolic link is replaced, not followed") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    putFile(directory.path() / "elsewhere", "untouched");
    for (const std::string target : {"elsewhere", "nowhere", "note.json"}) {
        CAPTURE(target);
        std::filesystem::remove(path);
        std::filesystem::create_symlink(target, path);
        HelperIO::writeJSON(Note{"new"}, path);
        CHECK(std::filesystem::is_regular_file(std::filesystem::symlink_status(path)));
        CHECK(fileContent(path) == R"({"text":"new","writtenAt":0.0})");
        CHECK(fileContent(directory.path() / "elsewhere") == "untouched");
        CHECK(namesIn(directory.path()) == std::set<std::string>{"elsewhere", "note.json"});
    }
}

TEST_CASE("a directory that cannot be made or is not there is a failure") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "untouched");
    CHECK_THROWS_AS(HelperIO::writeJSON(Note{"a"}, directory.path() / "file" / "note.json"),
                    std::system_error);
    CHECK_THROWS_AS(HelperIO::writeJSON(Note{"a"}, directory.path() / "file" / "b" / "note.json"),
                    std::system_error);
    CHECK_THROWS_AS(HelperIO::replaceFile(directory.path() / "missing" / "note.json", "a"),
                    std::system_error);
    CHECK(fileContent(directory.path() / "file") == "untouched");
    CHECK(namesIn(directory.path()) == std::set<std::string>{"file"});
}

TEST_CASE("a directory that is there, by a link too, is no failure") {
    const TemporaryDirectory directory;
    std::filesystem::create_directory(directory.path() / "real");
    std::filesystem::create_directory_symlink("real", directory.path() / "link");
    HelperIO::createParentDirectory(directory.path() / "link" / "note.json");
    HelperIO::createParentDirectory(directory.path() / "real" / "note.json");
    HelperIO::writeJSON(Note{"a"}, directory.path() / "link" / "note.json");
    CHECK(namesIn(directory.path() / "real") == std::set<std::string>{"note.json"});
}

TEST_CASE("a record without a JSON form leaves the old file, once its directory is made") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "new" / "note.json";
    const Note undated{"a", Date(Date::duration(std::nan("")))};
    CHECK_THROWS(HelperIO::writeJSON(undated, path));
    CHECK(namesIn(directory.path() / "new").empty());
    HelperIO::writeJSON(Note{"older"}, path);
    CHECK_THROWS(HelperIO::writeJSON(undated, path));
    CHECK_THROWS(HelperIO::writeJSON(Note{"\xFF"}, path));
    CHECK(HelperIO::readJSON<Note>(path) == Note{"older"});
    CHECK(namesIn(directory.path() / "new") == std::set<std::string>{"note.json"});
}
