#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "broker/broker_client.h"
#include "tests/broker/link.h"
#include "tests/scoped_limit.h"
#include "tests/scoped_signal.h"

namespace sorvane {

namespace {

using nlohmann::json;
using test::agreeing;
using test::agreement;
using test::answering;
using test::Conversation;
using test::FakeApplication;
using test::invalidResponse;
using test::Link;
using test::outcome;
using test::pathOf;
using test::ScopedLimit;

constexpr const char* notReachable = "Sorvane is not running or Tandem Link is unavailable.";
constexpr const char* notSent = "Tandem Link request failed.";
constexpr const char* noResponse = "Tandem Link did not respond.";
constexpr const char* pathTooLong = "Tandem Link socket path is too long.";
constexpr std::size_t maxAnswer = 1'048'576;

// An agreement of exactly so many bytes, padded inside; without a line feed.
std::string agreementOf(std::size_t bytes, const json& request) {
    json answer = agreement(request, {{"padding", ""}});
    answer["padding"] = std::string(bytes - answer.dump().size(), '.');
    return answer.dump();
}

int lowestFreeDescriptor() {
    const UniqueDescriptor free(::open("/dev/null", O_RDONLY));
    return free.get();
}

using Clock = std::chrono::steady_clock;

// Beyond the timeout of 2 seconds by what a busy machine may add.
constexpr std::chrono::milliseconds atLeast{1900};
constexpr std::chrono::milliseconds atMost{3300};

/// Takes the superuser's privileges away as long as it lives, so that permissions count.
class OrdinaryUser {
  public:
    OrdinaryUser() {
        constexpr uid_t nobody = 65534;
        if (isRoot_) REQUIRE(::seteuid(nobody) == 0);
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() {
        if (isRoot_ && ::seteuid(0) != 0) std::abort();
    }

  private:
    bool isRoot_ = ::geteuid() == 0;
};

std::atomic<int> alarms = 0;

/// Counts alarms, which interrupt whatever waits, as long as it lives.
class Alarms {
  public:
    Alarms() { alarms = 0; }
    Alarms(const Alarms&) = delete;
    Alarms& operator=(const Alarms&) = delete;
    ~Alarms() { stop(); }

    static void start() { everyMilliseconds(2); }
    static void stop() { everyMilliseconds(0); }

  private:
    static void everyMilliseconds(suseconds_t milliseconds) {
        const itimerval timer{{0, milliseconds * 1000}, {0, milliseconds * 1000}};
        ::setitimer(ITIMER_REAL, &timer, nullptr);
    }

    test::ScopedSignal counting_{SIGALRM, [](int) { ++alarms; }};
};

} // namespace

TEST_CASE("the exchange fails as a whole when there is no descriptor for a socket") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    std::string text;
    {
        const ScopedLimit descriptors(RLIMIT_NOFILE, 0);
        text = link.outcomeOfCall();
    }
    CHECK(text == "Tandem Link transport is unavailable.");
    CHECK(application.received().empty());
}

TEST_CASE("the exchange asks for a socket before it looks at the path") {
    const test::TemporaryDirectory directory;
    const BrokerClient client({"codex", "c", "t"}, pathOf(300, directory.path()));
    std::string text;
    {
        const ScopedLimit descriptors(RLIMIT_NOFILE, 0);
        text = outcome([&] { client.call("resolve"); });
    }
    CHECK(text == "Tandem Link transport is unavailable.");
}

TEST_CASE("the exchange reaches a socket whose path just fits, and refuses one byte more") {
    const test::TemporaryDirectory directory;
    const auto path = pathOf(sizeof(sockaddr_un::sun_path) - 1, directory.path());
    FakeApplication application(path, agreeing());
    const BrokerClient reaching({"codex", "c", "t"}, path);
    CHECK(outcome([&] { reaching.call("resolve"); }) == "answered");

    for (const std::size_t excess : {0U, 1U, 2U, 500U}) {
        const auto tooLong = pathOf(sizeof(sockaddr_un::sun_path) + excess, directory.path());
        CAPTURE(tooLong.native());
        const BrokerClient client({"codex", "c", "t"}, tooLong);
        CHECK(outcome([&] { client.call("resolve"); }) == pathTooLong);
    }
    CHECK(application.received().size() == 1);
}

TEST_CASE("the exchange does not find an application where nobody listens") {
    const Link link;
    const auto reached = [&](const std::filesystem::path& path) {
        const BrokerClient client({"codex", "c", "t"}, path);
        return outcome([&] { client.call("resolve"); });
    };
    const auto file = link.directory.path() / "file";
    test::putFile(file, "not a socket");
    { const FakeApplication gone(link.socket, agreeing()); }

    CHECK(reached(link.directory.path() / "missing") == notReachable);
    CHECK(reached(link.directory.path() / "missing/below") == notReachable);
    CHECK(reached(link.directory.path()) == notReachable);
    CHECK(reached(file) == notReachable);
    CHECK(reached(file / "below") == notReachable);
    CHECK(reached(link.socket) == notReachable);
    CHECK(reached("") == notReachable);
}

TEST_CASE("the exchange does not find an application whose socket it may not use") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    ::chmod(link.socket.c_str(), 0);
    std::string text;
    {
        const OrdinaryUser user;
        text = link.outcomeOfCall();
    }
    CHECK(text == notReachable);
    CHECK(application.received().empty());
}

TEST_CASE("the exchange is one connection, closed at its end however it ends") {
    const Link link;
    const int before = lowestFreeDescriptor();
    for (const char* answer :
         {"{}\n", "", "nonsense\n", "{\"version\":1,\"requestID\":\"$ID\",\"ok\":true}\n"}) {
        CAPTURE(answer);
        std::filesystem::remove(link.socket);
        bool closed = false;
        FakeApplication application(link.socket, [&](Conversation& client) {
            answering(answer)(client);
            if (*answer != '\0') closed = client.awaitHangUp();
        });
        link.outcomeOfCall();
        CHECK(application.received().size() == 1);
        CHECK(closed == (*answer != '\0'));
    }
    link.outcomeOfCall();
    outcome([&] {
        BrokerClient({"a", "c", "t"}, pathOf(500, link.directory.path())).call("resolve");
    });
    CHECK(lowestFreeDescriptor() == before);
}

TEST_CASE("the exchange fails, and nothing more, when the application closes before all is sent") {
    const Link link;
    const test::ScopedSignal deadly(SIGPIPE, SIG_DFL);
    FakeApplication application(link.socket, [](Conversation&) {});
    const json fields = {{"text", std::string(4'000'000, 'x')}};
    CHECK(outcome([&] { link.call(fields); }) == notSent);
    CHECK(application.received().size() == 1);
}

TEST_CASE("the exchange sends a request that is larger than any buffer, whole") {
    const Link link;
    const std::string text(1'000'000, 'x');
    FakeApplication application(link.socket, [](Conversation& client) {
        Conversation::pause();
        agreeing()(client);
    });
    link.call({{"text", text}});
    CHECK(application.request().at("text") == text);
}

TEST_CASE("the exchange goes on sending after an interruption") {
    const Link link;
    const Alarms interruptions;
    const std::string text(1'000'000, 'x');
    FakeApplication application(link.socket, [](Conversation& client) {
        Alarms::start();
        while (alarms < 20) Conversation::pause();
        Alarms::stop();
        agreeing()(client);
    });
    CHECK(outcome([&] { link.call({{"text", text}}); }) == "answered");
    CHECK(application.request().at("text") == text);
}

TEST_CASE("the exchange takes an interruption for the end of the answer") {
    const Link link;
    const Alarms interruptions;
    bool closed = false;
    FakeApplication application(link.socket, [&](Conversation& client) {
        client.request();
        Alarms::start();
        closed = client.awaitHangUp();
    });
    CHECK(link.outcomeOfCall() == noResponse);
    Alarms::stop();
    CHECK(application.received().size() == 1);
    CHECK(closed);
}

TEST_CASE("the exchange leaves its sending side open while it waits") {
    const Link link;
    FakeApplication application(link.socket, [](Conversation& client) {
        const json request = client.request();
        pollfd hungUp{client.descriptor(), POLLIN, 0};
        const bool open = ::poll(&hungUp, 1, 50) == 0;
        client.send(agreement(request, {{"open", open}}).dump() + "\n");
    });
    CHECK(link.call().at("open") == true);
}

TEST_CASE("the exchange has no response when the application closes without a word") {
    const Link link;
    FakeApplication application(link.socket, [](Conversation& client) { client.request(); });
    CHECK(link.outcomeOfCall() == noResponse);
}

TEST_CASE("the exchange puts an answer together from its pieces") {
    const Link link;
    FakeApplication application(link.socket, [](Conversation& client) {
        std::string answer = agreement(client.request()).dump() + "\n";
        for (std::size_t at = 0; at < answer.size(); at += 11) {
            client.send(answer.substr(at, 11));
            Conversation::pause();
        }
    });
    CHECK(link.outcomeOfCall() == "answered");
}

TEST_CASE("the exchange reads on past a lone answer without its line feed") {
    const Link link;
    FakeApplication application(link.socket, [](Conversation& client) {
        client.request();
        client.send("{}");
        Conversation::pause();
        client.send("\n");
    });
    CHECK(link.outcomeOfCall() == invalidResponse);
}

TEST_CASE("the exchange waits for a line feed that comes by itself, and ends with it") {
    const Link link;
    bool waited = false;
    bool closed = false;
    Clock::duration left{};
    FakeApplication application(link.socket, [&](Conversation& client) {
        client.send(agreement(client.request()).dump());
        pollfd hungUp{client.descriptor(), POLLIN, 0};
        waited = ::poll(&hungUp, 1, 300) == 0;
        client.send("\n");
        const auto before = Clock::now();
        closed = client.awaitHangUp();
        left = Clock::now() - before;
    });
    CHECK(link.outcomeOfCall() == "answered");
    CHECK(application.received().size() == 1);
    CHECK(waited);
    CHECK(closed);
    CHECK((left < std::chrono::seconds(1))); // at the line feed, not at the timeout
}

TEST_CASE("the exchange reads pieces of 4,096 bytes") {
    // The answer ends where a piece does, so where the line feeds are shows how long pieces are.
    const auto outcomeOf = [](std::size_t lineFeeds, const std::string& rest) {
        const Link link;
        FakeApplication application(link.socket, [&](Conversation& client) {
            client.request();
            client.send(std::string(lineFeeds, '\n') + rest);
        });
        return link.outcomeOfCall();
    };
    CHECK(outcomeOf(4094, "{}") == invalidResponse);
    CHECK(outcomeOf(4095, "{}\n") == invalidResponse);
    CHECK(outcomeOf(4096, "{}\n") == "not JSON");
    CHECK(outcomeOf(8192, "{}\n") == "not JSON");
}

TEST_CASE("the exchange reads on past a line feed inside a piece") {
    const Link link;
    FakeApplication application(link.socket, [](Conversation& client) {
        const std::string answer = agreement(client.request()).dump(1);
        client.send(answer.substr(0, answer.size() - 5));
        Conversation::pause();
        client.send(answer.substr(answer.size() - 5) + "\n");
    });
    CHECK(link.outcomeOfCall() == "answered");
}

TEST_CASE("the exchange ends at a line feed, though the application would go on") {
    const Link link;
    bool closed = false;
    FakeApplication application(link.socket, [&](Conversation& client) {
        client.send(agreement(client.request()).dump());
        // Whichever of them the client sees last, the answer ends there.
        for (int lineFeeds = 0; lineFeeds < 500 && !closed; ++lineFeeds) {
            closed = !client.send("\n");
            Conversation::pause();
        }
    });
    CHECK(link.outcomeOfCall() == "answered");
    CHECK(application.received().size() == 1);
    CHECK(closed);
}

TEST_CASE("the exchange takes an answer without a line feed when the application closes") {
    const Link link;
    FakeApplication application(
        link.socket, [](Conversation& client) { client.send(agreement(client.request()).dump()); });
    CHECK(link.outcomeOfCall() == "answered");
}

TEST_CASE(
    "the exchange takes an answer up to the limit, its line feed included, and nothing larger") {
    struct Row {
        std::size_t bytes;
        bool lineFeed;
        const char* outcome;
    };
    for (const Row row :
         {Row{maxAnswer - 1, false, "answered"}, Row{maxAnswer, false, "answered"},
          Row{maxAnswer, true, "answered"}, Row{maxAnswer + 1, false, noResponse},
          Row{maxAnswer + 1, true, noResponse}, Row{maxAnswer + 4096, true, noResponse},
          Row{maxAnswer + 4097, true, noResponse}, Row{2 * maxAnswer, true, noResponse}}) {
        CAPTURE(row.bytes);
        CAPTURE(row.lineFeed);
        const Link link;
        FakeApplication application(link.socket, [&row](Conversation& client) {
            const std::size_t lineFeed = row.lineFeed ? 1 : 0;
            client.send(agreementOf(row.bytes - lineFeed, client.request()) +
                        std::string(lineFeed, '\n'));
        });
        CHECK(link.outcomeOfCall() == row.outcome);
    }
}

TEST_CASE("the exchange hangs up on an application that does not stop talking") {
    const Link link;
    bool closed = false;
    FakeApplication application(link.socket, [&](Conversation& client) {
        client.request();
        const std::string piece(4096, ' ');
        for (int pieces = 0; pieces < 4096 && !closed; ++pieces) closed = !client.send(piece);
    });
    CHECK(link.outcomeOfCall() == noResponse);
    CHECK(application.received().size() == 1);
    CHECK(closed);
}

TEST_CASE("the exchange does not wait for ever for an answer") {
    const Link link;
    bool closed = false;
    FakeApplication application(link.socket, [&](Conversation& client) {
        client.request();
        closed = client.awaitHangUp();
    });
    const auto before = Clock::now();
    CHECK(link.outcomeOfCall() == noResponse);
    const auto time = Clock::now() - before;
    CHECK((time >= atLeast));
    CHECK((time <= atMost));
    CHECK(application.received().size() == 1);
    CHECK(closed);
}

TEST_CASE("the exchange takes what has come when no more comes") {
    const Link link;
    bool closed = false;
    FakeApplication application(link.socket, [&](Conversation& client) {
        client.send(agreement(client.request()).dump());
        closed = client.awaitHangUp();
    });
    CHECK(link.outcomeOfCall() == "answered");
    CHECK(application.received().size() == 1);
    CHECK(closed);
}

TEST_CASE("the exchange does not wait for ever for an application that does not read") {
    const Link link;
    std::atomic<bool> ended = false;
    bool closed = false;
    FakeApplication application(link.socket, [&](Conversation&) {
        for (int pauses = 0; pauses < 1000 && !ended; ++pauses) Conversation::pause();
        closed = ended;
    });
    const json fields = {{"text", std::string(4'000'000, 'x')}};
    const auto before = Clock::now();
    CHECK(outcome([&] { link.call(fields); }) == notSent);
    const auto time = Clock::now() - before;
    ended = true;
    // Two writes: one that is taken in part, and one that is not taken.
    CHECK((time >= atLeast));
    CHECK((time <= 2 * atMost));
    CHECK(application.received().size() == 1);
    CHECK(closed);
}

} // namespace sorvane
