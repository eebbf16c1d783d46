// The decoder's entry, which nothing may leave but its status.

#include <string>

#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/forked.h"
#include "tests/macos_fakes/fake_system.h"
#include "tests/pipe.h"

using namespace sorvane;
using test::macos::FakeSystem;

int decoderMain(int count, char** arguments);

namespace {

// The status with which the decoder ends on a small file, and what it has written.
struct Run {
    Run() {
        test::Pipe input;
        REQUIRE(::write(input.writer.get(), "file", 4) == 4);
        input.writer.reset();
        test::Pipe output;
        const int ended = test::inForkedChild([&] {
            ::dup2(input.reader.get(), STDIN_FILENO);
            ::dup2(output.writer.get(), STDOUT_FILENO);
            std::string name = "sorvane-pixels";
            std::string seconds = "5";
            char* arguments[] = {name.data(), seconds.data(), nullptr};
            return decoderMain(2, arguments) == 0;
        });
        REQUIRE(WIFEXITED(ended));
        status = WEXITSTATUS(ended);
        written = output.content();
    }

    int status = 0;
    std::string written;
};

} // namespace

TEST_CASE("the decoder answers one line") {
    FakeSystem fake;
    const Run run;
    CHECK(run.status == 0);
    CHECK(run.written.ends_with(" 2 1\n"));
}

TEST_CASE("the decoder ends in order when the system's own reader throws") {
    for (const char* function :
         {"CGImageSourceCreateWithData", "CGImageSourceCopyPropertiesAtIndex",
          "CGImageSourceCreateThumbnailAtIndex", "CGContextDrawImage"}) {
        CAPTURE(function);
        FakeSystem fake;
        fake.throwing = function;
        const Run run;
        CHECK(run.status == 1);
        CHECK(run.written.empty());
    }
}
