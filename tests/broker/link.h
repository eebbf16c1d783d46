#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include <doctest/doctest.h>

#include "broker/broker_client.h"
#include "support/helper_failure.h"
#include "tests/broker/fake_application.h"
#include "tests/temporary_directory.h"

namespace sorvane::test {

/// How a call ends, in words: the failure's text, "not JSON", or "answered".
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

/// A client, and the socket at which its application would listen.
struct Link {
    TemporaryDirectory directory;
    std::filesystem::path socket = directory.path() / "sock";
    BrokerClient client{{"codex", "client-1", "secret/token\n"}, socket};

    nlohmann::json call(nlohmann::json fields = nlohmann::json::object()) const {
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

inline constexpr const char* invalidResponse = "Sorvane returned an invalid broker response.";

inline std::string repeated(const std::string& text, std::size_t times) {
    std::string result;
    for (; times > 0; --times) result += text;
    return result;
}

/// A path in a directory, of exactly so many bytes, written in two-byte characters.
inline std::filesystem::path pathOf(std::size_t bytes, const std::filesystem::path& directory) {
    const std::size_t room = bytes - directory.native().size() - 1;
    return directory / (repeated("ä", room / 2) + repeated("x", room % 2));
}

} // namespace sorvane::test
