#include "identity/decoder_process.h"

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

#include "identity/decoder_program.h"
#include "tests/children.h"
#include "tests/forked.h"
#include "tests/identity/fake_decoder.h"
#include "tests/identity/identity_in.h"
#include "tests/scoped_environment.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_literals;
using test::FakePicture;
using test::hasChild;
using test::hasNoChild;
using test::inForkedChild;
using Path = std::filesystem::path;

namespace {

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

// More than a decoder is given before it reads. Made where it is wanted: every test of the program
// runs in a process of its own.
const std::string& large() {
    static const std::string text = bytes(3'000'000);
    return text;
}

std::optional<PixelIdentity> answerTo(const std::string& program, std::string_view content,
                                      std::size_t pieceSize = 131'072) {
    DecoderProcess process(program);
    for (; !content.empty(); content.remove_prefix(std::min(pieceSize, content.size())))
        process.write(content.substr(0, pieceSize));
    return test::identityIn(process.answer());
}

// Whether a decoder's answer is about exactly these bytes.
bool tellsOf(const std::optional<PixelIdentity>& identity, std::string_view content) {
    FakePicture picture;
    picture.add(content);
    return identity && identity->digest == picture.digest() &&
           identity->width == static_cast<std::int64_t>(content.size()) + 1 &&
           identity->height == 2;
}

} // namespace

TEST_CASE("a decoder gets every byte in order, and its answer is taken") {
    const std::string right = decoder("answers_right");
    CHECK(tellsOf(answerTo(right, ""), ""));
    CHECK(tellsOf(answerTo(right, "a"), "a"));
    CHECK(tellsOf(answerTo(right, bytes(1000), 1), bytes(1000)));
    CHECK(tellsOf(answerTo(right, large()), large()));
    CHECK(tellsOf(answerTo(right, large(), large().size()), large()));
    CHECK(hasNoChild());
}

TEST_CASE("an answer may come in pieces, and before everything was read") {
    CHECK(tellsOf(answerTo(decoder("answers_in_pieces"), "abc"), "abc"));
    // The decoder has ended when the rest is written.
    const auto early = answerTo(decoder("answers_early"), large());
    REQUIRE(early);
    CHECK(early->height == 2);
    CHECK(hasNoChild());
}

TEST_CASE("a decoder finds its name and its time, and no access to a secret") {
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
        CHECK_FALSE(answerTo(decoder(behaviour), large()));
        CHECK_FALSE(answerTo(decoder(behaviour), ""));
        CHECK(hasNoChild());
    }
}

TEST_CASE("a decoder is believed no picture over the budget") {
    const auto whole = answerTo(decoder("answers_7500_by_8000"), "abc");
    REQUIRE(whole);
    CHECK(whole->width == 7500);
    CHECK(whole->height == 8000);
    CHECK_FALSE(answerTo(decoder("answers_8000_by_8000"), "abc"));
    CHECK_FALSE(answerTo(decoder("answers_60000001_by_1"), "abc"));
    CHECK(hasNoChild());
}

TEST_CASE("a decoder that has gone raises no signal") {
    CHECK(inForkedChild([] {
              std::signal(SIGPIPE, SIG_DFL);
              return !answerTo(decoder("is_killed_at_once"), large()) &&
                     !answerTo(decoder("closes_and_hangs"), large());
          }) == 0);
}

TEST_CASE("a decoder that is not there, or is no program, gives no identity") {
    CHECK_FALSE(answerTo("fake_decoders/there_is_none", large()));
    CHECK_FALSE(answerTo("fake_decoders", large()));
    CHECK_FALSE(answerTo("", large()));
    const test::TemporaryDirectory directory;
    test::putFile(directory.path() / "text", "no program");
    CHECK_FALSE(answerTo((directory.path() / "text").native(), large()));
    CHECK(hasNoChild());
}

TEST_CASE("without descriptors to be had there is no identity, and no failure") {
    const std::string right = decoder("answers_right");
    for (const rlim_t max : {3U, 4U, 5U}) {
        CAPTURE(max);
        CHECK(inForkedChild([&] {
                  for (int descriptor = 3; descriptor < 256; ++descriptor) ::close(descriptor);
                  const rlimit limit{max, max};
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
                  return tellsOf(answerTo(right, large()), large());
              }) == 0);
    }
}

TEST_CASE("a decoder whose answer nobody asks for is ended with its owner") {
    {
        DecoderProcess process(decoder("never_answers"));
        process.write("abc");
        CHECK(hasChild());
    }
    CHECK(hasNoChild());
}

TEST_CASE("a decoder that hangs is given up 10 seconds after its start, and no sooner") {
    // All at once, so that the test waits but once.
    const auto before = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<DecoderProcess>> processes;
    for (const std::string behaviour :
         {"never_reads", "never_answers", "answers_and_hangs", "answers_closes_and_hangs"}) {
        processes.push_back(std::make_unique<DecoderProcess>(decoder(behaviour)));
        processes.back()->write("abc");
    }
    processes.front()->write(large());
    CHECK(std::chrono::steady_clock::now() - before >= std::chrono::seconds(10));
    for (const auto& process : processes) CHECK_FALSE(process->answer());
    CHECK(hasNoChild());
}

TEST_CASE("a decoder has no more time than the deadline leaves, in whole seconds") {
    using Clock = DecoderProcess::Clock;
    const auto secondsOf = [](Clock::time_point deadline) {
        const auto answer =
            test::identityIn(DecoderProcess(decoder("answers_its_seconds"), deadline).answer());
        return answer ? answer->width : 0;
    };
    CHECK(secondsOf(Clock::now() + std::chrono::hours(1)) == 10);
    CHECK(secondsOf(Clock::now() + std::chrono::milliseconds(2500)) == 3);
    CHECK(secondsOf(Clock::now() - std::chrono::seconds(1)) == 0);

    const auto before = Clock::now();
    DecoderProcess process(decoder("never_answers"), before + std::chrono::milliseconds(300));
    CHECK_FALSE(process.answer());
    CHECK(Clock::now() - before >= std::chrono::milliseconds(300));
    CHECK(Clock::now() - before < std::chrono::seconds(3));
}

TEST_CASE("no decoder is started after the deadline") {
    const DecoderProcess process(decoder("never_answers"), DecoderProcess::Clock::now());
    CHECK(hasNoChild());
}

TEST_CASE("an answer of any other kind is taken whole, up to a limit") {
    const auto textOf = [](const std::string& behaviour, std::size_t limit) {
        DecoderProcess child(decoder(behaviour));
        child.write(large());
        return child.text(limit);
    };
    const auto line = textOf("answers_right", 4096);
    REQUIRE(line);
    CHECK(parseDecoderAnswer(*line));
    CHECK(textOf("answers_right", line->size()) == line);
    CHECK_FALSE(textOf("answers_right", line->size() - 1));
    CHECK(textOf("answers_nonsense", 4096));
    CHECK_FALSE(textOf("answers_without_end", 4096));
    CHECK_FALSE(textOf("answers_and_exits_3", 4096));
    CHECK_FALSE(DecoderProcess("no_such_decoder").text(4096));
    CHECK(hasNoChild());
}
