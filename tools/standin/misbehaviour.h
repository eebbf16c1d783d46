#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/standin/link.h"

namespace sorvane::standin {

/// The right answer to a request.
struct Reply {
    std::string requestID;
    std::string text; ///< as it goes over the link, with its line feed
};

/// How a client gets its answer: correctly, or with one misbehaviour. The connection is closed when
/// `answer` returns. Only with `hangsUpEarly` is the request not even read.
struct Behaviour {
    std::function<void(Client&, const Reply&)> answer;
    bool hangsUpEarly = false;
};

Behaviour correctBehaviour();

/// The behaviour that a text names: "silence", "delay:MS", "pieces", "pieces-slow", "nonsense",
/// "oversized", "oversized-line", "wrong-id", "hang-up", "hang-up-early", "cut", "unterminated",
/// "refuse", "refuse:TEXT", "refuse-mute". Nothing for any other text.
std::optional<Behaviour> misbehaviour(std::string_view kind);

/// "ok" false, with the text for the user when there is one.
nlohmann::json refusal(std::string_view requestID, std::optional<std::string_view> error);

} // namespace sorvane::standin
