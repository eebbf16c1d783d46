#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "identity/pixel_child.h"
#include "support/executable_path.h"
#include "tests/forked.h"
#include "tests/identity/fake_decoder.h"
#include "tests/scoped_environment.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_literals;
using test::FakePicture;
using test::hasNoChild;
using test::inForkedChild;
using Path = std::filesystem::path;

namespace {

const std::string digest = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

// A decoder that behaves as its name says; missing, it would behave like many another.
std::string decoder(const std::string& behaviour) {
    std::string program = "fake_decoders/" + behaviour;
    REQUIRE(std::filesystem::exists(decoderCandidates(program).front()));
    return program;
}

std::string bytes(std::size_t length) {
    std::string text;
    text.reserve(length + 8);
    for (int number = 0; text.size() < length; ++number) text += std::to_string(number) + '\0';
    text.resize(length);
    return text;
}

// More than a child is given before it reads.
const std::string large = bytes(3'000'000);

std::optional<PixelIdentity> answerTo(const std::string& program, std::string_view content,
                                      std::size_t pieceSize = 131'072) {
    PixelChild child(program);
    for (; !content.empty(); content.remove_prefix(std::min(pieceSize, content.size())))
        child.pour(content.substr(0, pieceSize));
    return child.answer();
}

// Whether a decoder's answer is about exactly these bytes.
bool tellsOf(const std::optional<PixelIdentity>& identity, std::string_view content) {
    FakePicture picture;
    picture.add(content);
    return identity && identity->hash == picture.digest() &&
           identity->width == static_cast<std::int64_t>(content.size()) + 1 &&
           identity->height == 2;
}

} // namespace

TEST_CASE("an answer is a digest and a size within the budget") {
    struct Row {
        std::string size;
        std::int64_t width, height;
    };
    const std::vector<Row> rows = {
        {" 1 1", 1, 1},
        {" 1024 768", 1024, 768},
        {" 7500 8000", 7500, 8000},
        {" 60000000 1", 60'000'000, 1},
        {" 1 60000000", 1, 60'000'000},
        {" 7745 7746", 7745, 7746},
    };
    for (const Row& row : rows) {
        CAPTURE(row.size);
        const auto identity = parsePixelAnswer(digest + row.size + "\n");
        REQUIRE(identity);
        CHECK(identity->hash == digest);
        CHECK(identity->width == row.width);
        CHECK(identity->height == row.height);
    }
}

TEST_CASE("what is not quite an answer is none") {
    const std::string upper = "0123456789ABCDEF0123456789abcdef0123456789abcdef0123456789abcdef";
    const std::vector<std::string> lines = {"",
                                            "\n",
                                            " ",
                                            "0",
                                            digest,
                                            digest + "\n",
                                            digest + " ",
                                            digest + " 1",
                                            digest + " 1\n",
                                            digest + " 1 ",
                                            digest + " 1 \n",
                                            digest + " 1 1",
                                            digest + " 1 1 \n",
                                            digest + " 1 1\r\n",
                                            digest + " 1 1\n\n",
                                            digest + " 1 1\n ",
                                            digest + " 1 1\n\0"s,
                                            digest + " 1 1 1\n",
                                            digest + " 1 1\n" + digest + " 1 1\n",
                                            digest + "  1 1\n",
                                            digest + " 1  1\n",
                                            digest + "\t1 1\n",
                                            digest + " 1\t1\n",
                                            digest + " 1,1\n",
                                            digest + " 1x1\n",
                                            digest + "1 1\n",
                                            "\n" + digest + " 1 1\n",
                                            " " + digest + " 1 1\n",
                                            "\xEF\xBB\xBF" + digest + " 1 1\n",
                                            digest.substr(1) + " 1 1\n",
                                            digest + "0 1 1\n",
                                            upper + " 1 1\n",
                                            digest.substr(0, 63) + "g 1 1\n",
                                            digest.substr(0, 63) + "  1 1\n",
                                            digest.substr(0, 63) + "\0 1 1\n"s,
                                            digest + " 0 1\n",
                                            digest + " 1 0\n",
                                            digest + " 0 0\n",
                                            digest + " -1 1\n",
                                            digest + " 1 -1\n",
                                            digest + " -1 -1\n",
                                            digest + " +1 1\n",
                                            digest + " 1 +1\n",
                                            digest + " 1.0 1\n",
                                            digest + " 1 1.0\n",
                                            digest + " 1e1 1\n",
                                            digest + " 0x1 1\n",
                                            digest + " a 1\n",
                                            digest + " 1 a\n",
                                            digest + " 1a 1\n",
                                            digest + " 1 1a\n",
                                            digest + " 8000 8000\n",
                                            digest + " 60000001 1\n",
                                            digest + " 1 60000001\n",
                                            digest + " 7746 7746\n",
                                            digest + " 4294967296 4294967296\n",
                                            digest + " 9223372036854775807 2\n",
                                            digest + " 2 9223372036854775807\n",
                                            digest + " 9223372036854775808 1\n",
                                            digest + " 18446744073709551617 1\n",
                                            digest + " 1 18446744073709551617\n"};
    for (const std::string& line : lines) {
        CAPTURE(line);
        CHECK_FALSE(parsePixelAnswer(line));
    }
}

TEST_CASE("a decoder is looked for beside the running program, in its libexec, where an install "
          "lays it") {
    const auto executable = executablePath(::getpid());
    REQUIRE(executable);
    const Path folder = executable->parent_path();
    const test::ScopedEnvironment path("PATH", "/tmp:.:");
    const auto candidates = decoderCandidates("sorvane-pixels");
    REQUIRE(candidates.size() == 3);
    CHECK(candidates[0] == folder / "sorvane-pixels");
    CHECK(candidates[1] == folder.parent_path() / "libexec/sorvane/sorvane-pixels");
    CHECK(candidates[2].filename() == "sorvane-pixels");
    for (const Path& candidate : candidates) CHECK(candidate.is_absolute());
    CHECK(decoderCandidates("another")[0] == folder / "another");
}

TEST_CASE("a decoder gets every byte in order, and its answer is taken") {
    const std::string right = decoder("answers_right");
    CHECK(tellsOf(answerTo(right, ""), ""));
    CHECK(tellsOf(answerTo(right, "a"), "a"));
    CHECK(tellsOf(answerTo(right, bytes(1000), 1), bytes(1000)));
    CHECK(tellsOf(answerTo(right, large), large));
    CHECK(tellsOf(answerTo(right, large, large.size()), large));
    CHECK(hasNoChild());
}

TEST_CASE("an answer may come in pieces, and before everything was read") {
    CHECK(tellsOf(answerTo(decoder("answers_in_pieces"), "abc"), "abc"));
    // The decoder has ended when the rest is poured.
    const auto early = answerTo(decoder("answers_early"), large);
    REQUIRE(early);
    CHECK(early->height == 2);
    CHECK(hasNoChild());
}

TEST_CASE("a decoder finds its name and its time, and no way to a secret") {
    const test::ScopedEnvironment secret("SORVANE_SECRET", "a");
    const test::ScopedSignal ignored(SIGPIPE, SIG_IGN);
    const int open = ::fcntl(STDIN_FILENO, F_DUPFD, 100); // without its close on exec
    const auto identity = answerTo(decoder("answers_when_surroundings_are_right"), "abc");
    ::close(open);
    CHECK(tellsOf(identity, "abc"));
}

TEST_CASE("any other answer, or end, gives no identity") {
    for (const std::string behaviour :
         {"answers_nothing", "answers_nonsense", "answers_without_line_feed", "answers_twice",
          "answers_too_long", "answers_without_end", "answers_and_exits_3", "answers_and_is_killed",
          "closes_and_hangs", "is_killed_at_once", "ends_at_once"}) {
        CAPTURE(behaviour);
        CHECK_FALSE(answerTo(decoder(behaviour), "abc"));
        CHECK_FALSE(answerTo(decoder(behaviour), large));
        CHECK_FALSE(answerTo(decoder(behaviour), ""));
        CHECK(hasNoChild());
    }
}

TEST_CASE("a decoder that has gone raises no signal") {
    CHECK(inForkedChild([] {
              std::signal(SIGPIPE, SIG_DFL);
              return !answerTo(decoder("is_killed_at_once"), large) &&
                     !answerTo(decoder("closes_and_hangs"), large);
          }) == 0);
}

TEST_CASE("a decoder that is not there, or is no program, gives no identity") {
    CHECK_FALSE(answerTo("fake_decoders/there_is_none", large));
    CHECK_FALSE(answerTo("fake_decoders", large));
    CHECK_FALSE(answerTo("", large));
    const test::TemporaryDirectory directory;
    test::putFile(directory.path() / "text", "no program");
    CHECK_FALSE(answerTo((directory.path() / "text").native(), large));
    CHECK(hasNoChild());
}

TEST_CASE("without descriptors to be had there is no identity, and no failure") {
    const std::string right = decoder("answers_right");
    for (const rlim_t most : {3u, 4u, 5u}) {
        CAPTURE(most);
        CHECK(inForkedChild([&] {
                  for (int descriptor = 3; descriptor < 256; ++descriptor) ::close(descriptor);
                  const rlimit limit{most, most};
                  ::setrlimit(RLIMIT_NOFILE, &limit);
                  const auto identity = answerTo(right, "abc");
                  return !identity || tellsOf(identity, "abc");
              }) == 0);
    }
}

TEST_CASE("standard streams that are closed here do not get in the way") {
    const std::string right = decoder("answers_right");
    for (unsigned closed = 1; closed < 8; ++closed) {
        CAPTURE(closed);
        CHECK(inForkedChild([&] {
                  for (int descriptor = 0; descriptor < 3; ++descriptor)
                      if ((closed >> descriptor & 1) != 0) ::close(descriptor);
                  return tellsOf(answerTo(right, large), large);
              }) == 0);
    }
}

TEST_CASE("a decoder whose answer nobody asks for is ended with its owner") {
    {
        PixelChild child(decoder("never_answers"));
        child.pour("abc");
        CHECK_FALSE(hasNoChild());
    }
    CHECK(hasNoChild());
}

TEST_CASE("a decoder that hangs is given up 10 seconds after its start, and no sooner") {
    // All at once, so that the test waits but once.
    const auto before = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<PixelChild>> children;
    for (const std::string behaviour :
         {"never_reads", "never_answers", "answers_and_hangs", "answers_closes_and_hangs"}) {
        children.push_back(std::make_unique<PixelChild>(decoder(behaviour)));
        children.back()->pour("abc");
    }
    children.front()->pour(large);
    CHECK(std::chrono::steady_clock::now() - before >= std::chrono::seconds(10));
    for (const auto& child : children) CHECK_FALSE(child->answer());
    CHECK(hasNoChild());
}
