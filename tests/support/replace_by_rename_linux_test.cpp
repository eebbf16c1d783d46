// File systems and sandboxes that know no exchange of files.

#include "support/replace_by_rename.h"

#include <cerrno>
#include <filesystem>

#include <sys/syscall.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/temporary_directory.h"

using namespace sorvane;
using test::fileContent;
using test::putFile;
using test::TemporaryDirectory;

namespace {

// Why the system refuses to exchange files during a test; 0: it does not.
int exchangeRefusal = 0; // NOLINT: the system calls a free function

// How often it was asked to.
int exchanges = 0; // NOLINT

} // namespace

// Stands before the C library's, in this program only.
extern "C" int renameat2(int oldFolder, const char* oldPath, int newFolder, const char* newPath,
                         unsigned flags) noexcept {
    ++exchanges;
    if (exchangeRefusal == 0)
        return static_cast<int>(
            ::syscall(SYS_renameat2, oldFolder, oldPath, newFolder, newPath, flags));
    errno = exchangeRefusal;
    return -1;
}

TEST_CASE("where files cannot change places the new one replaces the old one") {
    const TemporaryDirectory directory;
    const auto file = directory.path() / "file";
    const auto target = directory.path() / "target";
    for (const int refusal : {EINVAL, ENOSYS, EPERM}) {
        CAPTURE(refusal);
        putFile(file, "new");
        putFile(target, "older");
        exchangeRefusal = refusal;
        const bool moved = replaceByRename(file, target);
        exchangeRefusal = 0;
        CHECK(moved);
        CHECK(fileContent(target) == "new");
        CHECK_FALSE(std::filesystem::exists(file));
    }
}

TEST_CASE("nothing but a file is moved away for a new one, not even for a moment") {
    const TemporaryDirectory directory;
    const auto file = directory.path() / "file";
    const auto target = directory.path() / "target";
    putFile(file, "new");
    putFile(directory.path() / "folder" / "inside", "untouched");
    exchanges = 0;
    CHECK_FALSE(replaceByRename(file, directory.path() / "folder"));
    CHECK(errno == EISDIR);
    CHECK(fileContent(directory.path() / "folder" / "inside") == "untouched");
    std::filesystem::create_directory_symlink("folder", target);
    CHECK(replaceByRename(file, target));
    CHECK(exchanges == 0);
    CHECK(fileContent(target) == "new");
    putFile(file, "newer");
    CHECK(replaceByRename(file, target));
    CHECK(exchanges == 1);
    CHECK(fileContent(target) == "newer");
}
