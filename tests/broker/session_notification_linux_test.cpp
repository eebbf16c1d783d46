// The notification as others see it: on a session bus that the test starts for itself, received by
// a process of its own; and everything that may stand where a bus is expected.

#include "broker/session_notification.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <doctest/doctest.h>
#include <systemd/sd-bus.h>

#include "support/descriptor_io.h"
#include "support/unix_socket.h"
#include "tests/broker/fake_application.h"
#include "tests/broker/session_stage.h"
#include "tests/forked.h"
#include "tests/pipe.h"
#include "tests/scoped_environment.h"
#include "tests/scoped_signal.h"
#include "tests/started_process.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::Conversation;
using test::FakeApplication;
using test::ScopedEnvironment;
using test::SessionStage;
using test::StartedProcess;

namespace {

/// A session bus that nobody else knows.
class PrivateBus {
  public:
    PrivateBus() {
        test::putFile(directory_.path() / "conf",
                      "<busconfig><type>session</type><listen>" + ownAddress() +
                          "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                          "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                          "<allow own=\"*\"/></policy></busconfig>");
        daemon_.emplace("sh",
                        std::vector<std::string>{
                            "sh", "-c",
                            "exec dbus-daemon --config-file=conf --nofork --print-address=1 "
                            "2>complaints"},
                        directory());
        REQUIRE_MESSAGE(daemon_->line().starts_with("unix:"),
                        test::fileContent(directory() / "complaints"));
    }

    std::string ownAddress() const { return "unix:path=" + socket().native(); }
    std::filesystem::path socket() const { return directory() / "bus"; }
    const std::filesystem::path& directory() const { return directory_.path(); }

  private:
    const test::TemporaryDirectory directory_;
    std::optional<StartedProcess> daemon_;
};

std::string textOf(const char* text) { return text == nullptr ? "-" : text; }

// A signal in one line: path, interface, member, signature and its texts.
std::string lineOf(sd_bus_message* signal) {
    std::string line = textOf(sd_bus_message_get_path(signal)) + ' ' +
                       textOf(sd_bus_message_get_interface(signal)) + ' ' +
                       textOf(sd_bus_message_get_member(signal)) + ' ' +
                       textOf(sd_bus_message_get_signature(signal, 1));
    const char* text = nullptr;
    while (sd_bus_message_read_basic(signal, SD_BUS_TYPE_STRING, &text) > 0)
        line += std::string(" ") + text;
    return line + '\n';
}

/// A process of its own that hears every signal on a bus.
class Listener {
  public:
    explicit Listener(const PrivateBus& bus) {
        const std::string address = bus.ownAddress();
        id_ = ::fork();
        if (id_ == 0) ::_exit(listen(address) ? 0 : 1);
        pipe_.writer.reset();
        REQUIRE(heard() == "listening");
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }

    /// The next signal that has not been returned yet.
    std::string heard() const { return test::nextLine(pipe_.reader.get()); }

  private:
    static int hear(sd_bus_message* signal, void* self, sd_bus_error* /*error*/) {
        if (textOf(sd_bus_message_get_sender(signal)) == "org.freedesktop.DBus") return 0;
        writeAll(static_cast<Listener*>(self)->pipe_.writer.get(), lineOf(signal));
        return 0;
    }

    bool listen(const std::string& address) {
        sd_bus* bus = nullptr;
        if (sd_bus_new(&bus) < 0 || sd_bus_set_address(bus, address.c_str()) < 0 ||
            sd_bus_set_bus_client(bus, 1) < 0 || sd_bus_start(bus) < 0 ||
            sd_bus_match_signal(bus, nullptr, nullptr, nullptr, nullptr, nullptr, &hear, this) < 0)
            return false;
        writeAll(pipe_.writer.get(), "listening\n");
        while (true) {
            const int progress = sd_bus_process(bus, nullptr);
            if (progress < 0) return false;
            if (progress == 0) sd_bus_wait(bus, UINT64_MAX);
        }
    }

    test::Pipe pipe_;
    pid_t id_ = -1;
};

std::string posted(const std::string& agent) {
    return "/com/sorvane/Notification com.sorvane.Notification Posted ss "
           "com.sorvane.client-session-changed " +
           agent;
}

/// A session of agents whose bus somebody listens to.
struct Stage : SessionStage {
    PrivateBus bus;
    Listener listener{bus};
    ScopedEnvironment address{"DBUS_SESSION_BUS_ADDRESS", bus.ownAddress()};
};

/// A socket that takes connections and is silent for ever.
struct MuteSocket {
    explicit MuteSocket(const std::filesystem::path& path, int backlog) {
        const auto address = socketAddress(path);
        REQUIRE(::bind(listener.get(), address->generic(), address->length) == 0);
        REQUIRE(::listen(listener.get(), backlog) == 0);
    }

    UniqueDescriptor listener = makeSocket();
};

// Far more than the timeout of the notification, far less than that of the D-Bus library, which is
// 25 seconds and more.
constexpr std::chrono::seconds farTooLong(20);

// Whether, with this address, a session is recorded in time and nothing else happens.
void checkSilence(const std::optional<std::string>& address) {
    const SessionStage stage;
    const ScopedEnvironment bus("DBUS_SESSION_BUS_ADDRESS", address);
    const auto before = std::chrono::steady_clock::now();
    SessionStage::record("codex");
    CHECK((std::chrono::steady_clock::now() - before < farTooLong));
    CHECK(std::filesystem::exists(stage.file("codex")));
}

std::atomic<int> interruptions = 0;

/// The bus's end of a connection, up to its answer to the client's greeting; from there on nothing
/// is read but by `bytesUntilHangUp`.
class GreetingBus {
  public:
    explicit GreetingBus(const Conversation& client) : descriptor_(client.descriptor()) {
        const int own = ::dup(descriptor_);
        REQUIRE(sd_bus_new(&bus_) >= 0);
        REQUIRE(sd_bus_set_fd(bus_, own, own) >= 0);
        REQUIRE(sd_bus_set_server(bus_, 1, sd_id128_t{}) >= 0);
        REQUIRE(sd_bus_add_filter(bus_, nullptr, &greet, this) >= 0);
        REQUIRE(sd_bus_start(bus_) >= 0);
        while (!greeted_) {
            const int progress = sd_bus_process(bus_, nullptr);
            REQUIRE(progress >= 0);
            if (progress == 0) sd_bus_wait(bus_, UINT64_MAX);
        }
    }
    GreetingBus(const GreetingBus&) = delete;
    GreetingBus& operator=(const GreetingBus&) = delete;
    ~GreetingBus() { sd_bus_close_unref(bus_); }

    std::size_t bytesUntilHangUp() const {
        std::string content;
        ::fcntl(descriptor_, F_SETFL, 0);
        appendToEnd(descriptor_, content);
        return content.size();
    }

  private:
    static int greet(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
        if (sd_bus_message_is_method_call(message, nullptr, "Hello") <= 0) return 0;
        static_cast<GreetingBus*>(self)->greeted_ = true;
        return sd_bus_reply_method_return(message, "s", ":1.1");
    }

    int descriptor_;
    sd_bus* bus_ = nullptr;
    bool greeted_ = false;
};

// An agent's name that no socket takes at once.
std::string longName() {
    std::string name;
    name.resize(4'000'000, 'x');
    return name;
}

} // namespace

TEST_CASE("a recorded session is posted to everyone on the bus") {
    const Stage stage;
    stage.record("codex");
    CHECK(stage.listener.heard() == posted("codex"));
    CHECK(std::filesystem::exists(stage.file("codex")));
}

TEST_CASE("every record is posted once, under its own agent's name") {
    const Stage stage;
    for (const std::string agent :
         {"claude-code", "cursor", "custom-0c8e6a52-7f31-4b9d-a1c4-5e2d3f6b7a80", "codex",
          "codex"}) {
        stage.record(agent);
        CHECK(stage.listener.heard() == posted(agent));
    }
    postSessionChanged("the end");
    CHECK(stage.listener.heard() == posted("the end"));
}

TEST_CASE("the file is written before the notification is posted") {
    const SessionStage stage;
    const auto file = stage.file("codex");
    test::putFile(file, "an old session");
    std::string whenCalled;
    FakeApplication bus(stage.directory() / "bus", [&](Conversation& client) {
        whenCalled = test::fileContent(file);
        client.awaitHangUp();
    });
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS",
                                    "unix:path=" + (stage.directory() / "bus").native());
    stage.record("codex");
    REQUIRE(bus.received().size() == 1);
    CHECK(whenCalled == test::fileContent(file));
}

TEST_CASE("a session that could not be written is posted all the same") {
    const Stage stage;
    stage.blockAgents();
    stage.record("codex");
    CHECK(stage.listener.heard() == posted("codex"));
    CHECK_FALSE(std::filesystem::exists(stage.file("codex")));
}

TEST_CASE("a session that has no text form is posted all the same") {
    const Stage stage;
    MCPClientSession::record({"codex", "client-1", "secret"}, "name \xff");
    CHECK(stage.listener.heard() == posted("codex"));
}

TEST_CASE("nothing is posted while diagnosing") {
    const Stage stage;
    {
        const ScopedEnvironment diagnostic("SORVANE_DIAGNOSTIC", "1");
        stage.record("codex");
    }
    for (const std::string value : {"true", "0", ""}) {
        const ScopedEnvironment diagnostic("SORVANE_DIAGNOSTIC", value);
        stage.record("cursor");
        CHECK(stage.listener.heard() == posted("cursor"));
    }
}

TEST_CASE("a notification is on its way when the call returns") {
    const Stage stage;
    CHECK(test::inForkedChild([] {
              postSessionChanged("codex");
              ::kill(::getpid(), SIGKILL);
              return true;
          }) == SIGKILL);
    CHECK(stage.listener.heard() == posted("codex"));
}

TEST_CASE("a notification that the bus takes in pieces is written whole before the call returns") {
    const test::TemporaryDirectory directory;
    std::size_t read = 0;
    FakeApplication bus(directory.path() / "bus", [&](Conversation& client) {
        const GreetingBus greeting(client);
        Conversation::pause();
        read = greeting.bytesUntilHangUp();
    });
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS",
                                    "unix:path=" + (directory.path() / "bus").native());
    postSessionChanged(longName());
    REQUIRE(bus.received().size() == 1);
    CHECK(read > longName().size());
}

TEST_CASE("another process is heard as well") {
    const Stage stage;
    const StartedProcess process(stage.recorder(), {"server", "claude-code", "client-1", "name"});
    CHECK(process.line() == "recorded");
    CHECK(stage.listener.heard() == posted("claude-code"));
}

TEST_CASE("without an address the bus is looked for in the user's runtime directory") {
    const Stage stage;
    const ScopedEnvironment none("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    const ScopedEnvironment directory("XDG_RUNTIME_DIR", stage.bus.directory().native());
    stage.record("codex");
    CHECK(stage.listener.heard() == posted("codex"));
}

TEST_CASE("a notification leaves nothing open") {
    const Stage stage;
    const auto nextFree = [] { return UniqueDescriptor(::dup(STDIN_FILENO)).get(); };
    const int before = nextFree();
    stage.record("codex");
    CHECK(nextFree() == before);
    CHECK(stage.listener.heard() == posted("codex"));
}

TEST_CASE("a notification goes out under a storm of signals") {
    const Stage stage;
    const test::ScopedSignal handler(SIGALRM, [](int) { ++interruptions; });
    const itimerval often{{0, 100}, {0, 100}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    for (int count = 0; count < 20; ++count) postSessionChanged("agent-" + std::to_string(count));
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    for (int count = 0; count < 20; ++count)
        REQUIRE(stage.listener.heard() == posted("agent-" + std::to_string(count)));
    CHECK(interruptions > 0);
}

TEST_CASE("without a bus there is silence") {
    const test::TemporaryDirectory directory;
    test::putFile(directory.path() / "file", "");
    { const MuteSocket dead(directory.path() / "dead", 1); }
    checkSilence(std::nullopt);
    for (const std::string& address :
         {std::string(), std::string("no address"), std::string("unix:"),
          std::string("unix:path=relative"), std::string("unix:abstract=sorvane-nobody-is-here"),
          std::string("autolaunch:"), std::string("autolaunch:;unix:path=/nowhere"),
          "unix:path=" + (directory.path() / "missing").native(),
          "unix:path=" + (directory.path() / "file").native(),
          "unix:path=" + (directory.path() / "dead").native(),
          "unix:path=/" + std::string(300, 'x')}) {
        CAPTURE(address);
        checkSilence(address);
    }
}

TEST_CASE("a bus that takes the connection and never answers is not waited for") {
    const test::TemporaryDirectory directory;
    const MuteSocket mute(directory.path() / "bus", 8);
    checkSilence("unix:path=" + (directory.path() / "bus").native());
}

TEST_CASE("a bus that does not take the whole notification is not waited for") {
    const test::TemporaryDirectory directory;
    std::atomic<bool> returned = false;
    FakeApplication bus(directory.path() / "bus", [&](Conversation& client) {
        const GreetingBus greeting(client);
        for (int pauses = 0; pauses < 500 && !returned; ++pauses) Conversation::pause();
    });
    const ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS",
                                    "unix:path=" + (directory.path() / "bus").native());
    const auto before = std::chrono::steady_clock::now();
    postSessionChanged(longName());
    const auto time = std::chrono::steady_clock::now() - before;
    returned = true;
    CHECK((time < std::chrono::seconds(5)));
    CHECK(bus.received().size() == 1);
}

TEST_CASE("an address that starts a program or names a host is not followed, the others are") {
    const Stage stage;
    const auto started = stage.directory() / "started";
    const std::string program = "unixexec:path=touch,argv1=" + started.native();
    const ScopedEnvironment onlyProgram("DBUS_SESSION_BUS_ADDRESS", program);
    stage.record("codex");
    const ScopedEnvironment both("DBUS_SESSION_BUS_ADDRESS",
                                 program + ";tcp:host=127.0.0.1,port=9;" + stage.bus.ownAddress());
    stage.record("cursor");
    CHECK(stage.listener.heard() == posted("cursor"));
    CHECK_FALSE(std::filesystem::exists(started));
}

TEST_CASE("a bus too busy to take the connection is not waited for") {
    const test::TemporaryDirectory directory;
    const MuteSocket busy(directory.path() / "bus", 0);
    const auto address = socketAddress(directory.path() / "bus");
    std::vector<UniqueDescriptor> others;
    do {
        others.push_back(makeSocket());
        ::fcntl(others.back().get(), F_SETFL, O_NONBLOCK);
    } while (::connect(others.back().get(), address->generic(), address->length) == 0);
    checkSilence("unix:path=" + (directory.path() / "bus").native());
}

TEST_CASE("whatever answers instead of a bus is no failure") {
    const std::string agreement =
        "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n";
    const struct {
        const char* text;
        std::string answer;
        bool hangsUp;
    } rows[] = {
        {"hangs up", "", true},
        {"refuses", "REJECTED EXTERNAL\r\n", false},
        {"talks nonsense", "HTTP/1.1 400 Bad Request\r\n\r\n", false},
        {"talks without an end", std::string(1'000'000, 'x'), false},
        {"lets us in and hangs up", agreement, true},
        {"lets us in and is silent", agreement, false},
        {"lets us in and talks nonsense", agreement + std::string(1000, '\xff'), false},
    };
    for (const auto& row : rows) {
        CAPTURE(row.text);
        const test::TemporaryDirectory directory;
        FakeApplication bus(directory.path() / "bus", [&](Conversation& client) {
            client.send(row.answer);
            if (!row.hangsUp) client.awaitHangUp();
        });
        checkSilence("unix:path=" + (directory.path() / "bus").native());
        CHECK(bus.received().size() == 1);
    }
}

TEST_CASE("an agent without a text form is not posted, and is no failure") {
    const Stage stage;
    postSessionChanged("agent \xff");
    postSessionChanged("the end");
    CHECK(stage.listener.heard() == posted("the end"));
}
