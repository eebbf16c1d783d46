#include "decoder/threaded_sha256.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/sha256.h"
#include "tests/decoder/bytes.h"
#include "tests/forked.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::string_view prefix = "2x1:";

Bytes noise(std::size_t count) {
    Bytes bytes(count);
    std::uint32_t state = 1;
    std::generate(bytes.begin(), bytes.end(), [&] {
        state = state * 1'664'525 + 1'013'904'223;
        return static_cast<std::uint8_t>(state >> 24);
    });
    return bytes;
}

std::string plainDigest(const Bytes& pixels) {
    return sorvane::Sha256::hexOf(std::string(prefix) + std::string(pixels.begin(), pixels.end()));
}

void updateInPieces(ThreadedSha256& digest, const Bytes& pixels, std::size_t piece) {
    for (std::size_t done = 0; done < pixels.size(); done += piece)
        digest.update(pixels.data() + done, std::min(piece, pixels.size() - done));
}

std::size_t threadCount() {
    std::size_t count = 0;
    DIR* folder = ::opendir("/proc/self/task");
    REQUIRE(folder != nullptr);
    while (const dirent* entry = ::readdir(folder))
        if (entry->d_name[0] != '.') ++count;
    ::closedir(folder);
    return count;
}

// A thread that has been joined is listed until the system has taken it away.
bool hasAgain(std::size_t count) {
    for (int pauses = 0; pauses < 500 && threadCount() != count; ++pauses)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return threadCount() == count;
}

} // namespace

TEST_CASE("a picture's pixels are digested after the prefix, on whichever thread") {
    constexpr auto threaded = static_cast<std::size_t>(ThreadedSha256::minThreadedBytes);
    for (const std::size_t size : {std::size_t{0}, std::size_t{8}, threaded - 1, threaded,
                                   threaded + 1, 3 * threaded + 12'345})
        for (const std::size_t piece : {std::size_t{4'092}, std::size_t{65'536}, threaded}) {
            CAPTURE(size);
            CAPTURE(piece);
            const Bytes pixels = noise(size);
            ThreadedSha256 digest(prefix, size);
            updateInPieces(digest, pixels, piece);
            CHECK(digest.hex() == plainDigest(pixels));
        }
}

TEST_CASE("only a picture that is worth it has a second thread, and it ends with the digest") {
    const std::size_t before = threadCount();
    const ThreadedSha256 small(prefix, ThreadedSha256::minThreadedBytes - 1);
    CHECK(threadCount() == before);
    {
        ThreadedSha256 large(prefix, ThreadedSha256::minThreadedBytes);
        CHECK(threadCount() == before + 1);
        large.hex();
        CHECK(hasAgain(before));
    }
    { const ThreadedSha256 abandoned(prefix, ThreadedSha256::minThreadedBytes); }
    CHECK(hasAgain(before));
}

TEST_CASE("a picture that is damaged before its last pixel lets the second thread end") {
    const std::size_t before = threadCount();
    for (const std::size_t size : {std::size_t{1}, std::size_t{65'536}, std::size_t{900'000}}) {
        CAPTURE(size);
        ThreadedSha256 digest(prefix, ThreadedSha256::minThreadedBytes);
        const Bytes pixels = noise(size);
        digest.update(pixels.data(), pixels.size());
    }
    CHECK(hasAgain(before));
}

TEST_CASE("where the system gives no thread, the pixels are digested as they come") {
    const Bytes pixels = noise(ThreadedSha256::minThreadedBytes);
    const std::string digest = plainDigest(pixels);
    CHECK(inForkedChild([&] {
              constexpr uid_t nobody = 65'534; // the limit is not the super-user's
              const rlimit none{0, 0};
              ::setrlimit(RLIMIT_NPROC, &none);
              [[maybe_unused]] const int changed = ::setuid(nobody);
              const std::size_t before = threadCount();
              ThreadedSha256 alone(prefix, pixels.size());
              if (threadCount() != before) return false;
              updateInPieces(alone, pixels, 65'536);
              return alone.hex() == digest;
          }) == 0);
}
