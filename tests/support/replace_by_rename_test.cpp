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
    const Path target = directory.path() / "target";
    for (const char* content : {"first", "second", "third"}) {
        putFile(file, content);
        CHECK(replaceByRename(file, target));
        CHECK(fileContent(target) == content);
        CHECK_FALSE(std::filesystem::exists(file));
    }
    putFile(directory.path() / "elsewhere", "untouched");
    std::filesystem::remove(target);
    std::filesystem::create_symlink("elsewhere", target);
    putFile(file, "new");
    CHECK(replaceByRename(file, target));
    CHECK(std::filesystem::is_regular_file(std::filesystem::symlink_status(target)));
    CHECK(fileContent(target) == "new");
    CHECK(fileContent(directory.path() / "elsewhere") == "untouched");
}

TEST_CASE("what cannot be moved over stays as it was, and so does the file") {
    const TemporaryDirectory directory;
    const Path file = directory.path() / "file";
    const Path target = directory.path() / "target";
    putFile(file, "new");
    putFile(target / "inside", "untouched");
    struct Row {
        Path target;
        int reason;
    };
    for (const Row& row : {Row{target, EISDIR}, Row{directory.path() / "none" / "target", ENOENT},
                           Row{target / "inside" / "target", ENOTDIR}}) {
        CAPTURE(row.reason);
        errno = 0;
        CHECK_FALSE(replaceByRename(file, row.target));
        CHECK(errno == row.reason);
        CHECK(fileContent(file) == "new");
        CHECK(fileContent(target / "inside") == "untouched");
    }
}
