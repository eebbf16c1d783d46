#include "support/replace_by_rename.h"

#include <cerrno>
#include <filesystem>

#include <doctest/doctest.h>

#include "tests/temporary_directory.h"

using namespace sorvane;
using test::fileContent;
using test::putFile;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

TEST_CASE("a file takes the place of nothing, of a file, and of a link, which is not followed") {
    const TemporaryDirectory directory;
    const Path file = directory.path() / "file";
    const Path place = directory.path() / "place";
    for (const char* content : {"first", "second", "third"}) {
        putFile(file, content);
        CHECK(replaceByRename(file, place));
        CHECK(fileContent(place) == content);
        CHECK_FALSE(std::filesystem::exists(file));
    }
    putFile(directory.path() / "elsewhere", "untouched");
    std::filesystem::remove(place);
    std::filesystem::create_symlink("elsewhere", place);
    putFile(file, "new");
    CHECK(replaceByRename(file, place));
    CHECK(std::filesystem::is_regular_file(std::filesystem::symlink_status(place)));
    CHECK(fileContent(place) == "new");
    CHECK(fileContent(directory.path() / "elsewhere") == "untouched");
}

TEST_CASE("what cannot be moved over stays as it was, and so does the file") {
    const TemporaryDirectory directory;
    const Path file = directory.path() / "file";
    const Path place = directory.path() / "place";
    putFile(file, "new");
    putFile(place / "inside", "untouched");
    struct Row {
        Path place;
        int reason;
    };
    for (const Row& row : {Row{place, EISDIR}, Row{directory.path() / "none" / "place", ENOENT},
                           Row{place / "inside" / "place", ENOTDIR}}) {
        CAPTURE(row.reason);
        errno = 0;
        CHECK_FALSE(replaceByRename(file, row.place));
        CHECK(errno == row.reason);
        CHECK(fileContent(file) == "new");
        CHECK(fileContent(place / "inside") == "untouched");
    }
}
