#include <atomic>
#include <cmath>
#include <csignal>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "broker/broker_client.h"
#include "support/helper_failure.h"
#include "tests/broker/fake_application.h"
#include "tests/scoped_environment.h"
#include "tests/scoped_limit.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

namespace sorvane {

namespace {

using nlohmann::json;
using test::agreeing;
using test::agreement;
using test::answering;
using test::Conversation;
using test::FakeApplication;
using test::ScopedLimit;

constexpr const char* notReachable = "Sorvane is not running or Tandem Link is unavailable.";
constexpr const char* notSent = "Tandem Link request failed.";
constexpr const char* noResponse = "Tandem Link did not respond.";
constexpr const char* pathTooLong = "Tandem Link socket path is too long.";
constexpr const char* invalidResponse = "Sorvane returned an invalid broker response.";
constexpr const char* refusal = "Sorvane denied the request.";

constexpr std::size_t largestAnswer = 1'048'576;

// How a call ends, in words: the failure's text, "not JSON", or "answered".
template<class Action>
std::string outcome(Action&& action) {
    try {
        action();
    } catch (const HelperFailure& failure) {
        CHECK(failure == HelperFailure::unavailable(failure.errorDescription()));
        return failure.errorDescription();
    } catch (const std::runtime_error& error) {
        CHECK(std::string(error.what()).find('\n') == std::string::npos);
        return "not JSON";
    }
    return "answered";
}

/// A client and the place where its application would listen.
struct Link {
    test::TemporaryDirectory directory;
    std::filesystem::path socket = directory.path() / "sock";
    BrokerClient client{{"codex", "client-1", "secret/token\n"}, socket};

    json call(json fields = json::object()) const {
        return client.call("resolve", std::move(fields));
    }

    std::string outcomeOfCall() const {
        return outcome([this] { call(); });
    }

    std::string outcomeWhenAnswered(const std::string& text) const {
        std::filesystem::remove(socket);
        FakeApplication application(socket, answering(text));
        return outcomeOfCall();
    }
};

// An agreement of exactly so many bytes, padded inside; without a line feed.
std::string agreementOf(std::size_t bytes, const json& request) {
    json answer = agreement(request, {{"padding", ""}});
    answer["padding"] = std::string(bytes - answer.dump().size(), '.');
    return answer.dump();
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string result;
    for (; times > 0; --times) result += text;
    return result;
}

// A path in a directory whose bytes are exactly so many, written in two-byte characters.
std::filesystem::path pathOf(std::size_t bytes, const std::filesystem::path& directory) {
    const std::size_t room = bytes - directory.native().size() - 1;
    return directory / (repeated("ä", room / 2) + repeated("x", room % 2));
}

int lowestFreeDescriptor() {
    const UniqueDescriptor free(::open("/dev/null", O_RDONLY));
    return free.get();
}

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
    static void everyMilliseconds(int milliseconds) {
        const itimerval timer{{0, milliseconds * 1000}, {0, milliseconds * 1000}};
        ::setitimer(ITIMER_REAL, &timer, nullptr);
    }

    test::ScopedSignal counting_{SIGALRM, [](int) { ++alarms; }};
};

} // namespace

TEST_CASE("the request has exactly the six members of the envelope") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    link.call();

    const json request = application.request();
    CHECK(request.size() == 6);
    CHECK(request.at("version").is_number_integer());
    CHECK(request.at("version") == 1);
    CHECK(request.at("requestID").is_string());
    CHECK(request.at("operation") == "resolve");
    CHECK(request.at("agent") == "codex");
    CHECK(request.at("clientID") == "client-1");
    CHECK(request.at("credential") == "secret/token\n");
}

TEST_CASE("the request is one line, compact, with its only line feed at the end") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    link.call({{"text", "a\nb"}, {"list", {1, 2}}});

    REQUIRE(application.received().size() == 1);
    const std::string& bytes = application.received()[0];
    CHECK(bytes.find('\n') == bytes.size() - 1);
    CHECK(bytes.find(' ') == std::string::npos);
    const bool plainNumber = bytes.find("\"version\":1,") != std::string::npos ||
                             bytes.find("\"version\":1}") != std::string::npos;
    CHECK(plainNumber);
    CHECK(bytes.find("\"list\":[1,2]") != std::string::npos);
}

TEST_CASE("the request has every slash escaped") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    link.call({{"a/key", "/home/a"}});

    REQUIRE(application.received().size() == 1);
    const std::string& bytes = application.received()[0];
    CHECK(bytes.find("\"a\\/key\":\"\\/home\\/a\"") != std::string::npos);
    CHECK(bytes.find("secret\\/token") != std::string::npos);
}

TEST_CASE("the request carries a random identifier in lower case, another one each time") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    constexpr std::size_t calls = 40;
    for (std::size_t call = 0; call < calls; ++call) link.call();

    std::set<std::string> identifiers;
    REQUIRE(application.received().size() == calls);
    for (const std::string& bytes : application.received()) {
        const std::string identifier = json::parse(bytes).at("requestID");
        CAPTURE(identifier);
        REQUIRE(identifier.size() == 36);
        for (std::size_t at = 0; at < identifier.size(); ++at) {
            const bool hyphen = at == 8 || at == 13 || at == 18 || at == 23;
            const std::string allowed = hyphen ? "-" : "0123456789abcdef";
            CHECK(allowed.find(identifier[at]) != std::string::npos);
        }
        CHECK(identifier[14] == '4');
        CHECK(std::string("89ab").find(identifier[19]) != std::string::npos);
        identifiers.insert(identifier);
    }
    CHECK(identifiers.size() == calls);
}

TEST_CASE("the request takes the caller's fields as they are") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    const json fields = {{"text", "\u00e4\u4e2d"},
                         {"yes", true},
                         {"nothing", nullptr},
                         {"list", {1, 2.5, -3}},
                         {"object", {{"inner", json::object()}}},
                         {"", "an empty key"}};
    link.call(fields);

    const json request = application.request();
    CHECK(request.size() == 6 + fields.size());
    for (const auto& member : fields.items()) {
        CAPTURE(member.key());
        CHECK(request.at(member.key()) == member.value());
    }
}

TEST_CASE("the request lets the caller's fields take the place of the envelope's") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    link.call({{"operation", "other"}, {"credential", 7}, {"version", "x"}, {"agent", nullptr}});

    const json request = application.request();
    CHECK(request.size() == 6);
    CHECK(request.at("operation") == "other");
    CHECK(request.at("credential") == 7);
    CHECK(request.at("version") == "x");
    CHECK(request.at("agent") == nullptr);
    CHECK(request.at("clientID") == "client-1");
}

TEST_CASE("the request with an identifier of the caller's still waits for an answer to its own") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    CHECK(outcome([&] { link.call({{"requestID", "mine"}}); }) == invalidResponse);
    CHECK(application.request().at("requestID") == "mine");
}

TEST_CASE("the request is never sent when its fields have no JSON form") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    CHECK_THROWS_AS(link.call({{"number", std::nan("")}}), std::domain_error);
    CHECK_THROWS_AS(link.call({{"number", std::numeric_limits<double>::infinity()}}),
                    std::domain_error);
    CHECK_THROWS_AS(link.call({{"text", "\xff"}}), json::exception);
    CHECK(application.received().empty());
}

TEST_CASE("the request goes to the application of the account when no other socket is named") {
    const test::TemporaryDirectory root;
    const test::ScopedEnvironment testing("SORVANE_TESTING", "1");
    const test::ScopedEnvironment support("SORVANE_APP_SUPPORT", root.path().native());
    FakeApplication application(root.path() / "Runtime/sorvane.sock", agreeing());
    const BrokerClient client({"cursor", "c", "t"});
    client.call("ping");
    CHECK(application.request().at("operation") == "ping");
}

TEST_CASE("an answer that only agrees is given back with its three members") {
    const Link link;
    FakeApplication application(link.socket, agreeing());
    const json answer = link.call();
    CHECK(answer.size() == 3);
    CHECK(answer == agreement(application.request()));
}

TEST_CASE("an answer is given back whole") {
    const Link link;
    const json members = {{"matched", true},
                          {"images", {{{"width", 800.5}}}},
                          {"error", "kept, though nothing is wrong"},
                          {"other", nullptr}};
    FakeApplication application(link.socket, agreeing(members));
    const json answer = link.call();
    CHECK(answer == agreement(application.request(), members));
}

TEST_CASE("an answer is accepted in every spelling of version 1 and yes") {
    const Link link;
    for (const char* version : {"1", "1.0", "1e0", "10e-1"})
        for (const char* ok : {"true", "1", "1.0"}) {
            const std::string answer = std::string("{\"ok\":") + ok + ",\"version\":" + version +
                                       ",\"requestID\":\"$ID\"}\n";
            CAPTURE(answer);
            CHECK(link.outcomeWhenAnswered(answer) == "answered");
        }
}

TEST_CASE("an answer is invalid when it is no object, of another version or to another request") {
    const Link link;
    for (const char* answer : {
             R"([])",
             R"([{"version":1,"requestID":"$ID","ok":true}])",
             R"(["version",1])",
             R"({})",
             R"({"requestID":"$ID","ok":true})",
             R"({"version":2,"requestID":"$ID","ok":true})",
             R"({"version":0,"requestID":"$ID","ok":true})",
             R"({"version":-1,"requestID":"$ID","ok":true})",
             R"({"version":1.5,"requestID":"$ID","ok":true})",
             R"({"version":1.0000001,"requestID":"$ID","ok":true})",
             R"({"version":"1","requestID":"$ID","ok":true})",
             R"({"version":true,"requestID":"$ID","ok":true})",
             R"({"version":null,"requestID":"$ID","ok":true})",
             R"({"version":[1],"requestID":"$ID","ok":true})",
             R"({"version":18446744073709551617,"requestID":"$ID","ok":true})",
             R"({"Version":1,"requestID":"$ID","ok":true})",
             R"({"version":1,"ok":true})",
             R"({"version":1,"requestID":"","ok":true})",
             R"({"version":1,"requestID":"$ID ","ok":true})",
             R"({"version":1,"requestID":"$ID\u0000","ok":true})",
             R"({"version":1,"requestID":"9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c","ok":true})",
             R"({"version":1,"requestID":null,"ok":true})",
             R"({"version":1,"requestID":["$ID"],"ok":true})",
             R"({"version":1,"requestid":"$ID","ok":true})",
             R"({"version":2,"requestID":"$ID","ok":false,"error":"not shown"})",
             R"({"version":1,"requestID":"other","ok":false,"error":"not shown"})",
         }) {
        CAPTURE(answer);
        CHECK(link.outcomeWhenAnswered(std::string(answer) + "\n") == invalidResponse);
    }
}

TEST_CASE("an answer to the same request in upper case is invalid") {
    const Link link;
    FakeApplication application(link.socket, [](Conversation& client) {
        json request = client.request();
        std::string identifier = request["requestID"];
        for (char& digit : identifier)
            if (digit >= 'a' && digit <= 'f') digit = static_cast<char>(digit - 'a' + 'A');
        request["requestID"] = identifier;
        client.send(agreement(request).dump() + "\n");
    });
    CHECK(link.outcomeOfCall() == invalidResponse);
}

TEST_CASE("an answer that does not say yes is a refusal, whatever else it holds") {
    const Link link;
    for (const char* ok :
         {"", R"(,"ok":false)", R"(,"ok":null)", R"(,"ok":0)", R"(,"ok":2)", R"(,"ok":-1)",
          R"(,"ok":1.5)", R"(,"ok":"true")", R"(,"ok":"1")", R"(,"ok":"")", R"(,"ok":[true])",
          R"(,"ok":{"ok":true})", R"(,"OK":true)", R"(,"ok":0.0)"}) {
        const std::string answer = R"({"version":1,"requestID":"$ID","matched":true,"images":[])" +
                                   std::string(ok) + "}\n";
        CAPTURE(answer);
        CHECK(link.outcomeWhenAnswered(answer) == refusal);
    }
}

TEST_CASE("an answer that refuses is shown in the application's own words") {
    const Link link;
    const std::vector<std::pair<const char*, std::string>> words = {
        {R"("Pair again.")", "Pair again."},
        {R"("")", ""},
        {R"(" two\nlines ")", " two\nlines "},
        {R"("\u00e4 / \"")", "ä / \""},
        {R"("with\u0000in")", std::string("with\0in", 7)},
        {R"(null)", refusal},
        {R"(5)", refusal},
        {R"(["text"])", refusal},
        {R"({"text":"x"})", refusal},
        {R"(false)", refusal},
    };
    for (const auto& [error, shown] : words)
        for (const char* ok : {"", R"("ok":false,)", R"("ok":"true",)"}) {
            const std::string answer = std::string("{") + ok + R"("error":)" + error +
                                       R"(,"version":1,"requestID":"$ID"})" + "\n";
            CAPTURE(answer);
            CHECK(link.outcomeWhenAnswered(answer) == shown);
        }
}

TEST_CASE("an answer that is not JSON is the parser's failure") {
    const Link link;
    const std::string members = R"("version":1,"requestID":"$ID","ok":true)";
    const std::vector<std::string> answers = {
        "\n",
        "   \n",
        "{\n",
        "hello\n",
        "1\n",
        "true\n",
        "null\n",
        "\"text\"\n",
        "{" + members + "\n",
        "{" + members + ",}\n",
        "{" + members + "} x\n",
        "{" + members + "}{" + members + "}\n",
        "{" + members + "}\n{" + members + "}\n",
        "{" + members + R"(,"x":NaN})" + "\n",
        "{" + members + R"(,"x":'y'})" + "\n",
        "{" + members + R"(,"x":01})" + "\n",
        "{" + members + R"(,"x":"\ud800"})" + "\n",
        "{" + members + ",\"x\":\"\xff\"}\n",
        "{" + members + ",\"x\":\"\xed\xa0\x80\"}\n",
        "{" + members + ",\"x\":\"a\tb\"}\n",
        "{" + members + "} // done\n",
        "\xEF\xBB\xBF\xEF\xBB\xBF{" + members + "}\n",
        "{" + members + "}" + std::string(1, '\0') + "\n",
        "{" + members + "}" + std::string(1, '\0') + "nonsense\n",
        std::string(1, '\0') + "{" + members + "}\n",
    };
    for (const std::string& answer : answers) {
        CAPTURE(answer);
        CHECK(link.outcomeWhenAnswered(answer) == "not JSON");
    }
}

TEST_CASE("an answer may be surrounded by white space and begin with one byte-order mark") {
    const Link link;
    const std::string answer = R"({"version":1,"requestID":"$ID","ok":true})";
    CHECK(link.outcomeWhenAnswered(" \t\r\n" + answer + " \t\r\n") == "answered");
    CHECK(link.outcomeWhenAnswered("\xEF\xBB\xBF" + answer + "\n") == "answered");
}

TEST_CASE("an answer with a key twice is read by its last value") {
    const Link link;
    CHECK(link.outcomeWhenAnswered(R"({"version":1,"requestID":"$ID","ok":false,"ok":true})"
                                   "\n") == "answered");
    CHECK(link.outcomeWhenAnswered(
              R"({"version":1,"requestID":"$ID","ok":true,"ok":{"a":1},"ok":false})"
              "\n") == refusal);
}

TEST_CASE("an answer may be nested as deep as the limit, and no deeper") {
    const Link link;
    const auto nested = [](std::size_t arrays) {
        return R"({"version":1,"requestID":"$ID","ok":true,"x":)" + repeated("[", arrays) +
               repeated("]", arrays) + "}\n";
    };
    CHECK(link.outcomeWhenAnswered(nested(511)) == "answered");
    CHECK(link.outcomeWhenAnswered(nested(512)) == "not JSON");
    CHECK(link.outcomeWhenAnswered(nested(200'000)) == "not JSON");
}

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
    const auto longest = pathOf(sizeof(sockaddr_un::sun_path) - 1, directory.path());
    FakeApplication application(longest, agreeing());
    const BrokerClient reaching({"codex", "c", "t"}, longest);
    CHECK(outcome([&] { reaching.call("resolve"); }) == "answered");

    for (const std::size_t excess : {0U, 1U, 2U, 500U}) {
        const auto path = pathOf(sizeof(sockaddr_un::sun_path) + excess, directory.path());
        CAPTURE(path.native());
        const BrokerClient client({"codex", "c", "t"}, path);
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
    const std::string text(4'000'000, 'x');
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
    const std::string text(4'000'000, 'x');
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
         {Row{largestAnswer - 1, false, "answered"}, Row{largestAnswer, false, "answered"},
          Row{largestAnswer, true, "answered"}, Row{largestAnswer + 1, false, noResponse},
          Row{largestAnswer + 1, true, noResponse}, Row{largestAnswer + 4096, true, noResponse},
          Row{largestAnswer + 4097, true, noResponse}, Row{2 * largestAnswer, true, noResponse}}) {
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
    CHECK(link.outcomeOfCall() == noResponse);
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
    CHECK(outcome([&] { link.call(fields); }) == notSent);
    ended = true;
    CHECK(application.received().size() == 1);
    CHECK(closed);
}

} // namespace sorvane
