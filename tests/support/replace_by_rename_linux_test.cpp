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

} // namespace

// Stands before the C library's, in this program only.
extern "C" int renameat2(int oldFolder, const char* oldPath, int newFolder, const char* newPath,
                         unsigned flags) noexcept {
    if (exchangeRefusal == 0)
        return static_cast<int>(
            ::syscall(SYS_renameat2, oldFolder, oldPath, newFolder, newPath, flags));
    errno = exchangeRefusal;
    return -1;
}

TEST_CASE("where files cannot change places the new one replaces the old one") {
    const TemporaryDirectory directory;
    const auto file = directory.path() / "file";
    const auto place = directory.path() / "place";
    for (const int refusal : {EINVAL, ENOSYS, EPERM}) {
        CAPTURE(refusal);
        putFile(file, "new");
        putFile(place, "older");
        exchangeRefusal = refusal;
        const bool moved = replaceByRename(file, place);
        exchangeRefusal = 0;
        CHECK(moved);
        CHECK(fileContent(place) == "new");
        CHECK_FALSE(std::filesystem::exists(file));
    }
}
