#include "decoder/memory_limit.h"

#include <doctest/doctest.h>

using namespace sorvane::decoder;

namespace {

constexpr std::uint64_t megabyte = 1'000'000;

} // namespace

TEST_CASE("a picture may take what its format needs, and no more than the limit of all") {
    CHECK(memoryLimit(300 * megabyte, 64'000 * megabyte) == 300 * megabyte);
    CHECK(memoryLimit(5'000 * megabyte, 64'000 * megabyte) == maxMemory);
}

TEST_CASE(
    "a picture may take half of the machine's memory, but what everyday pictures need always") {
    CHECK(memoryLimit(5'000 * megabyte, 2'000 * megabyte) == 1'000 * megabyte);
    CHECK(memoryLimit(5'000 * megabyte, 500 * megabyte) == everydayMemory);
    CHECK(memoryLimit(300 * megabyte, 0) == 300 * megabyte);
}
