#include "tools/standin/misbehaviour.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "support/json.h"
#include "support/uuid.h"

namespace sorvane::standin {

namespace {

using namespace std::chrono_literals;

// A client takes no larger answer.
constexpr std::size_t maxAnswer = 1'048'576;

// A client waits 2 seconds: a longer delay shows nothing more.
constexpr std::chrono::milliseconds maxDelay = 60s;

// At most 100 pauses of 5 ms: a client that puts pieces together has them all within its 2 seconds.
constexpr std::size_t pieceCount = 100;
constexpr std::chrono::milliseconds shortPause = 5ms;

// One pause is within the client's 2 seconds, two are not.
constexpr std::chrono::milliseconds slowPause = 1200ms;

void answerWhole(Client& client, const Reply& reply) { client.send(reply.text); }

void answerInPieces(Client& client, const Reply& reply) {
    const std::size_t size = reply.text.size() / pieceCount + 1;
    for (std::size_t start = 0; start < reply.text.size(); start += size) {
        client.pause(shortPause);
        client.send(std::string_view(reply.text).substr(start, size));
    }
}

void answerInSlowHalves(Client& client, const Reply& reply) {
    const std::string_view text = reply.text;
    client.pause(slowPause);
    client.send(text.substr(0, text.size() / 2));
    client.pause(slowPause);
    client.send(text.substr(text.size() / 2));
}

std::string_view withoutLineFeed(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    return text;
}

// The right answer, padded with blanks so that nothing but its size is wrong: with `last` it is one
// byte too large.
void answerOversized(Client& client, const Reply& reply, char last) {
    std::string text(withoutLineFeed(reply.text));
    text.resize(std::max(text.size(), maxAnswer), ' ');
    client.send(text + last);
}

void answerWithWrongID(Client& client, const Reply& reply) {
    std::string text = reply.text;
    const std::size_t offset = text.find(reply.requestID);
    if (offset != text.npos)
        text.replace(offset, reply.requestID.size(), Uuid::random().lowerText());
    client.send(text);
}

void answerUnterminated(Client& client, const Reply& reply) {
    client.send(withoutLineFeed(reply.text));
    client.pause(timeout);
}

Behaviour refusing(const std::optional<std::string>& error) {
    return {[error](Client& client, const Reply& reply) {
        client.send(jsonText(refusal(reply.requestID, error)) + '\n');
    }};
}

std::optional<Behaviour> delaying(std::string_view milliseconds) {
    int count = 0;
    const char* end = milliseconds.data() + milliseconds.size();
    const auto [rest, failure] = std::from_chars(milliseconds.data(), end, count);
    if (failure != std::errc{} || rest != end || count < 0 || count > maxDelay.count())
        return std::nullopt;
    return Behaviour{[count](Client& client, const Reply& reply) {
        client.pause(std::chrono::milliseconds(count));
        client.send(reply.text);
    }};
}

struct Named {
    std::string_view name;
    void (*answer)(Client&, const Reply&);
};

constexpr std::array plainKinds = {
    Named{"silence", [](Client& client, const Reply&) { client.pause(timeout); }},
    Named{"pieces", answerInPieces},
    Named{"pieces-slow", answerInSlowHalves},
    Named{"nonsense", [](Client& client, const Reply&) { client.send("this is not JSON\n"); }},
    Named{"oversized", [](Client& client, const Reply& r) { answerOversized(client, r, ' '); }},
    Named{"oversized-line",
          [](Client& client, const Reply& r) { answerOversized(client, r, '\n'); }},
    Named{"wrong-id", answerWithWrongID},
    Named{"hang-up", [](Client&, const Reply&) {}},
    Named{"cut",
          [](Client& client, const Reply& r) { client.send(r.text.substr(0, r.text.size() / 2)); }},
    Named{"unterminated", answerUnterminated},
};

std::optional<std::string_view> after(std::string_view prefix, std::string_view text) {
    if (!text.starts_with(prefix)) return std::nullopt;
    return text.substr(prefix.size());
}

} // namespace

Behaviour correctBehaviour() { return {answerWhole}; }

std::optional<Behaviour> misbehaviour(std::string_view kind) {
    for (const Named& plain : plainKinds)
        if (plain.name == kind) return Behaviour{plain.answer};
    if (kind == "hang-up-early") return Behaviour{nullptr, true};
    if (kind == "refuse") return refusing("The stand-in refuses every request.");
    if (kind == "refuse-mute") return refusing(std::nullopt);
    if (const auto error = after("refuse:", kind)) return refusing(std::string(*error));
    if (const auto milliseconds = after("delay:", kind)) return delaying(*milliseconds);
    return std::nullopt;
}

nlohmann::json refusal(std::string_view requestID, std::optional<std::string_view> error) {
    nlohmann::json answer = {{"version", 1}, {"requestID", requestID}, {"ok", false}};
    if (error) answer["error"] = *error;
    return answer;
}

} // namespace sorvane::standin
