#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "support/unique_descriptor.h"
#include "support/unix_socket.h"
#include "tests/pipe.h"

namespace sorvane::test {

/// One connection as the application sees it.
class Conversation {
  public:
    explicit Conversation(UniqueDescriptor socket) : socket_(std::move(socket)) {}

    /// Reads until a line has arrived, or the client has hung up.
    std::string readLine() {
        while ((received_.empty() || received_.back() != '\n') && readPiece()) {
        }
        return received_;
    }

    nlohmann::json request() { return nlohmann::json::parse(readLine()); }

    /// False when the client has hung up.
    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = sendWithoutSigpipe(socket_, bytes);
            if (count <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

    /// Pauses, so that the client reads what was sent so far before the next piece comes.
    static void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(20)); }

    /// Whether the client hangs up within a time that is far beyond its own timeout.
    bool awaitHangUp() {
        constexpr int milliseconds = 20'000;
        pollfd waiting{socket_.get(), POLLIN, 0};
        while (::poll(&waiting, 1, milliseconds) > 0)
            if (!readPiece()) return true;
        return false;
    }

    const std::string& received() const { return received_; }
    int descriptor() const { return socket_.get(); }

  private:
    bool readPiece() {
        char piece[65536];
        const ssize_t count = ::read(socket_.get(), piece, sizeof piece);
        if (count <= 0) return false;
        received_.append(piece, static_cast<std::size_t>(count));
        return true;
    }

    UniqueDescriptor socket_;
    std::string received_;
};

/// The application at its end of the Tandem Link, in a thread: plays a script to every client that
/// connects, then closes the connection.
class FakeApplication {
  public:
    using Script = std::function<void(Conversation&)>;

    FakeApplication(const std::filesystem::path& socket, Script script)
        : script_(std::move(script)), listener_(makeSocket()) {
        listenAt(socket);
        startThread();
    }
    FakeApplication(const FakeApplication&) = delete;
    FakeApplication& operator=(const FakeApplication&) = delete;
    ~FakeApplication() { finish(); }

    /// What each client sent, one text a connection; the application serves nobody after this.
    const std::vector<std::string>& received() {
        finish();
        if (failure_) std::rethrow_exception(failure_);
        return received_;
    }

    /// The request of the only client.
    nlohmann::json request() {
        if (received().size() != 1) throw std::runtime_error("not one connection");
        return nlohmann::json::parse(received_[0]);
    }

  private:
    void listenAt(const std::filesystem::path& socket) const {
        std::filesystem::create_directories(socket.parent_path());
        const auto address = socketAddress(socket);
        if (!address) throw std::runtime_error("no room for " + socket.native());
        // Where the socket says that no signal is raised, accepted ones inherit it.
        if (!suppressSigpipe(listener_) ||
            ::bind(listener_.get(), address->generic(), address->length) != 0 ||
            ::listen(listener_.get(), 8) != 0)
            throw std::runtime_error("nobody can listen at " + socket.native());
    }

    // Signals are for the thread under test.
    void startThread() {
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before);
        thread_ = std::thread([this] { serveAll(); });
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    void serveAll() try {
        while (true) {
            pollfd waiting[2] = {{listener_.get(), POLLIN, 0}, {stop_.reader.get(), POLLIN, 0}};
            ::poll(waiting, 2, -1);
            // A client that connected before the end is still served and counted.
            if (waiting[0].revents != 0)
                serve(UniqueDescriptor(::accept(listener_.get(), nullptr, nullptr)));
            else if (waiting[1].revents != 0)
                return;
        }
    } catch (...) {
        failure_ = std::current_exception();
        listener_.reset();
    }

    void serve(UniqueDescriptor socket) {
        Conversation conversation(std::move(socket));
        script_(conversation);
        received_.push_back(conversation.received());
    }

    void finish() {
        stop_.writer.reset();
        if (thread_.joinable()) thread_.join();
    }

    Script script_;
    UniqueDescriptor listener_;
    Pipe stop_;
    std::vector<std::string> received_;
    std::exception_ptr failure_;
    std::thread thread_;
};

/// The answer that says yes to a request, with further members.
inline nlohmann::json agreement(const nlohmann::json& request,
                                const nlohmann::json& members = nlohmann::json::object()) {
    nlohmann::json answer = {{"version", 1}, {"requestID", request.at("requestID")}, {"ok", true}};
    answer.update(members);
    return answer;
}

/// Says yes, with further members, and waits for the client to hang up.
inline FakeApplication::Script agreeing(nlohmann::json members = nlohmann::json::object()) {
    return [members = std::move(members)](Conversation& client) {
        client.send(agreement(client.request(), members).dump() + "\n");
        client.awaitHangUp();
    };
}

/// Sends a text as the answer; every "$ID" in it is the request's identifier.
inline FakeApplication::Script answering(std::string text) {
    return [text = std::move(text)](Conversation& client) {
        const std::string identifier = client.request().at("requestID");
        std::string answer = text;
        for (auto at = answer.find("$ID"); at != std::string::npos; at = answer.find("$ID"))
            answer.replace(at, 3, identifier);
        client.send(answer);
    };
}

} // namespace sorvane::test
