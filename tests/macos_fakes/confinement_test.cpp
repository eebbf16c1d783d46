#include "decoder/confinement/confinement.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "tests/forked.h"

using namespace sorvane;
using namespace std::chrono_literals;

namespace {

bool isForbidden(auto resource) {
    rlimit limit{1, 1};
    return ::getrlimit(resource, &limit) == 0 && limit.rlim_cur == 0 && limit.rlim_max == 0;
}

} // namespace

TEST_CASE("a confined decoder starts nothing, writes no file and leaves no core file") {
    CHECK(test::inForkedChild([] {
              decoder::limitTime(5s);
              decoder::confine(0);
              return isForbidden(RLIMIT_NPROC) && isForbidden(RLIMIT_CORE) &&
                     isForbidden(RLIMIT_FSIZE);
          }) == 0);
}

TEST_CASE("a confined decoder has its time by the clock and by the processor") {
    CHECK(test::inForkedChild([] {
              decoder::limitTime(5s);
              decoder::confine(0);
              rlimit processor{};
              ::getrlimit(RLIMIT_CPU, &processor);
              return processor.rlim_cur == 5 && processor.rlim_max == 5 && ::alarm(0) > 0;
          }) == 0);
}

TEST_CASE("a confined decoder survives the file that it may not write") {
    const auto folder = std::filesystem::temp_directory_path();
    CHECK(test::inForkedChild([&] {
              const int file = ::open(folder.c_str(), O_TMPFILE | O_WRONLY, 0600);
              if (file < 0) return true; // no such files here
              decoder::limitTime(5s);
              decoder::confine(0);
              return ::write(file, "x", 1) < 0 && errno == EFBIG;
          }) == 0);
}
