#include "integration/pairing_request_record.h"

#include <array>
#include <string>
#include <utility>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/helper_io.h"
#include "tests/record_trials.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using nlohmann::json;
using test::decoded;
using test::encoded;
using test::isMutable;
using test::isRead;
using test::Kind;
using test::optional;
using test::required;
using State = PairingRequestRecord::State;

namespace {

static_assert(!isMutable(&PairingRequestRecord::id));
static_assert(!isMutable(&PairingRequestRecord::agent));
static_assert(!isMutable(&PairingRequestRecord::createdAt));
static_assert(!isMutable(&PairingRequestRecord::expiresAt));
static_assert(isMutable(&PairingRequestRecord::state));
static_assert(isMutable(&PairingRequestRecord::clientID));
static_assert(isMutable(&PairingRequestRecord::credential));
static_assert(!std::is_copy_assignable_v<PairingRequestRecord>);

const std::string granted =
    R"({"id":"pr-1","agent":"claude-code","createdAt":816919800.5,"expiresAt":816920400.0,)"
    R"("state":"approved","clientID":"5b1c-claude","credential":"b2f1\/c0d4"})";

const std::string fresh =
    R"({"id":"pr-1","agent":"claude-code","createdAt":816919800.5,"expiresAt":816920400.0,)"
    R"("state":"pending"})";

constexpr std::array<std::pair<State, const char*>, 5> states{
    {{State::pending, "pending"},
     {State::awaitingApproval, "awaitingApproval"},
     {State::approved, "approved"},
     {State::denied, "denied"},
     {State::consumed, "consumed"}}};

PairingRequestRecord freshRequest() {
    return {.id = "pr-1",
            .agent = "claude-code",
            .createdAt = Date(Date::duration(816919800.5)),
            .expiresAt = Date(Date::duration(816920400)),
            .state = State::pending};
}

json with(const char* key, const json& value) {
    json request = parseJSON(granted);
    request[key] = value;
    return request;
}

} // namespace

TEST_CASE("a request that was granted nothing yet holds neither client nor credential") {
    const PairingRequestRecord request = freshRequest();
    CHECK_FALSE(request.clientID.has_value());
    CHECK_FALSE(request.credential.has_value());
    CHECK(encoded(request) == fresh);
    CHECK(decoded<PairingRequestRecord>(fresh) == request);
}

TEST_CASE("a request is made of its members in order, the grants last") {
    const PairingRequestRecord request{"pr-1",
                                       "claude-code",
                                       Date(Date::duration(816919800.5)),
                                       Date(Date::duration(816920400)),
                                       State::approved,
                                       "5b1c-claude",
                                       "b2f1/c0d4"};
    CHECK(encoded(request) == granted);
    CHECK(decoded<PairingRequestRecord>(granted) == request);
}

TEST_CASE("only the state and the grants of a request change") {
    PairingRequestRecord request = freshRequest();
    request.state = State::approved;
    request.clientID = "5b1c-claude";
    request.credential = "b2f1/c0d4";
    CHECK(encoded(request) == granted);
    request.state = State::pending;
    request.clientID.reset();
    request.credential.reset();
    CHECK(encoded(request) == fresh);
}

TEST_CASE("one grant may stand without the other") {
    json request = parseJSON(granted);
    request.erase("clientID");
    CHECK(record::decode<PairingRequestRecord>(request).credential == "b2f1/c0d4");
    CHECK_FALSE(record::decode<PairingRequestRecord>(request).clientID.has_value());
    CHECK(parseJSON(encoded(record::decode<PairingRequestRecord>(request))) == request);
}

TEST_CASE("every member of a request is held to its kind") {
    test::tryMembers<PairingRequestRecord>(parseJSON(granted), "",
                                           {{"id", Kind::text, required},
                                            {"agent", Kind::text, required},
                                            {"createdAt", Kind::date, required},
                                            {"expiresAt", Kind::date, required},
                                            {"state", Kind::text, required},
                                            {"clientID", Kind::text, optional},
                                            {"credential", Kind::text, optional}});
}

TEST_CASE("every state is stored as its text, and read back from it") {
    for (const auto& row : states) {
        const State state = row.first;
        const char* text = row.second;
        CAPTURE(text);
        CHECK(record::text(state) == text);
        CHECK(record::named<State>(text) == state);
        PairingRequestRecord request = freshRequest();
        request.state = state;
        CHECK(parseJSON(encoded(request)).at("state") == text);
        CHECK(record::decode<PairingRequestRecord>(with("state", text)).state == state);
    }
}

TEST_CASE("a state in any other spelling is none") {
    for (const char* text :
         {"", "Approved", "APPROVED", "approved ", " approved", "approve", "approvedd",
          "awaitingapproval", "awaiting-approval", "awaiting_approval", "expired", "2", "null"}) {
        CAPTURE(text);
        CHECK_FALSE(record::named<State>(text).has_value());
        CHECK_FALSE(isRead<PairingRequestRecord>(with("state", text)));
    }
    using namespace std::string_literals;
    CHECK_FALSE(record::named<State>("approved\0"s).has_value());
    CHECK_FALSE(isRead<PairingRequestRecord>(with("state", "approved\0"s)));
}

TEST_CASE("a state is never read from its number") {
    for (int number = -1; number < 6; ++number)
        CHECK_FALSE(isRead<PairingRequestRecord>(with("state", number)));
}

TEST_CASE("an expired request is read like another") {
    const auto request = record::decode<PairingRequestRecord>(with("expiresAt", -1e9));
    CHECK(request.expiresAt < request.createdAt);
    CHECK(request.state == State::approved);
}

TEST_CASE("a request that was written is read back the same") {
    const test::TemporaryDirectory directory;
    const auto file = directory.path() / "PairingRequests/pr-1.json";
    HelperIO::writeJSON(freshRequest(), file);
    CHECK(test::fileContent(file) == fresh);
    CHECK(HelperIO::readJSON<PairingRequestRecord>(file) == freshRequest());
}

TEST_CASE("a request's file without its expiry is not read") {
    const test::TemporaryDirectory directory;
    json request = parseJSON(granted);
    request.erase("expiresAt");
    test::putFile(directory.path() / "pr.json", jsonText(request));
    CHECK_THROWS_AS(HelperIO::readJSON<PairingRequestRecord>(directory.path() / "pr.json"),
                    record::DecodingError);
}
