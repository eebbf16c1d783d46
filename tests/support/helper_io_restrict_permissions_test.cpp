#include <csignal>
#include <cstdint>

#include <sys/wait.h>

#include <doctest/doctest.h>

#include "support/helper_failure.h"
#include "support/helper_io.h"
#include "tests/forked.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::inForkedChild;
using test::putFile;
using test::TemporaryDirectory;

TEST_CASE("the mode of a file that is not there cannot be set") {
    const TemporaryDirectory directory;
    CHECK_THROWS_AS(HelperIO::restrictPermissions(directory.path() / "missing", 0600),
                    HelperFailure);
}

TEST_CASE("a negative mode ends the process") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "");
    for (const int mode : {-1, -0600, -32768}) {
        int status = inForkedChild([&] {
            HelperIO::restrictPermissions(directory.path() / "file",
                                          static_cast<std::int16_t>(mode));
            return true;
        });
        CAPTURE(mode);
        CHECK(WIFSIGNALED(status));
        CHECK(WTERMSIG(status) == SIGABRT);
    }
}
