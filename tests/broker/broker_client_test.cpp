#include "broker/broker_client.h"

#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "tests/broker/link.h"
#include "tests/scoped_environment.h"

namespace sorvane {

namespace {

using nlohmann::json;
using test::agreeing;
using test::agreement;
using test::Conversation;
using test::FakeApplication;
using test::invalidResponse;
using test::Link;
using test::outcome;
using test::repeated;

constexpr const char* refusal = "Sorvane denied the request.";

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

TEST_CASE("the request has the caller's fields replace the envelope's") {
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

} // namespace sorvane
