#include <chrono>
#include <cmath>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/helper_io.h"
#include "support/unique_descriptor.h"
#include "tests/forked.h"
#include "tests/pipe.h"
#include "tests/scoped_signal.h"

using namespace sorvane;
using namespace std::string_view_literals;
using nlohmann::json;
using test::inForkedChild;
using test::Pipe;
using test::ScopedSignal;

namespace {

// What is written to a descriptor.
std::string written(const std::function<void(int)>& write) {
    Pipe pipe;
    write(pipe.writer.get());
    return pipe.content();
}

std::string line(const json& value) {
    return written([&](int descriptor) { HelperIO::writeLine(value, descriptor); });
}

std::string errorLine(std::string_view message) {
    return written([&](int descriptor) { HelperIO::error(message, descriptor); });
}

// The length of each write that an operation makes.
std::vector<ssize_t> writes(const std::function<void(int)>& write) {
    int ends[2];
    REQUIRE(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == 0);
    const UniqueDescriptor writer(ends[0]);
    const UniqueDescriptor reader(ends[1]);
    write(writer.get());
    std::vector<ssize_t> lengths;
    std::vector<char> packet(100'000);
    ssize_t length = 0;
    while ((length = ::recv(reader.get(), packet.data(), packet.size(), MSG_DONTWAIT)) >= 0)
        lengths.push_back(length);
    return lengths;
}

} // namespace

TEST_CASE("an object or a list is written as one line") {
    CHECK(line({{"continue", true}}) == "{\"continue\":true}\n");
    CHECK(line(json::array()) == "[]\n");
    CHECK(line(json::object()) == "{}\n");
    CHECK(line({{"path", "/a/b"}}) == "{\"path\":\"\\/a\\/b\"}\n");
    CHECK(line({{"text", "a\nb\u2028\0"}}) == "{\"text\":\"a\\nb\u2028\"}\n");
}

TEST_CASE("what is not an object or a list, or has no JSON form, is not written") {
    struct Row {
        std::string_view name;
        json value;
    };
    const std::vector<Row> rows = {
        {"text", "text"},
        {"number", 1},
        {"fraction", 1.5},
        {"flag", true},
        {"null", nullptr},
        {"discarded", json(json::value_t::discarded)},
        {"raw bytes", json::binary({1})},
        {"object with raw bytes", json::object({{"a", json::binary({1})}})},
        {"list without a number", json::array({std::nan("")})},
        {"object with infinity", json::object({{"a", json::array({1, HUGE_VAL})}})},
        {"text that is not UTF-8", json::array({"a\xFF"})},
        {"key that is not UTF-8", json::object({{"a\xFF", 1}})},
    };
    for (const Row& row : rows) {
        CAPTURE(row.name);
        CHECK(line(row.value).empty());
    }
}

TEST_CASE("a message is written as one line, as it stands") {
    CHECK(errorLine("") == "\n");
    CHECK(errorLine("Sorvane: a") == "Sorvane: a\n");
    CHECK(errorLine("caf\u00E9 \xFF\t\"'%s") == "caf\u00E9 \xFF\t\"'%s\n");
    CHECK(errorLine("a\0b"sv) == "a\0b\n"sv);
}

TEST_CASE("each line is one write") {
    const std::string text(1500, 'x');
    CHECK(writes([&](int descriptor) { HelperIO::writeLine(json::array({text}), descriptor); }) ==
          std::vector<ssize_t>{1505});
    CHECK(writes([&](int descriptor) { HelperIO::error(text, descriptor); }) ==
          std::vector<ssize_t>{1501});
    CHECK(writes([](int descriptor) { HelperIO::error("", descriptor); }) ==
          std::vector<ssize_t>{1});
    CHECK(writes([](int descriptor) { HelperIO::writeLine("text", descriptor); }).empty());
}

TEST_CASE("a stream that takes nothing is no failure") {
    static_assert(std::is_nothrow_invocable_v<decltype(HelperIO::writeLine), const json&, int>);
    static_assert(std::is_nothrow_invocable_v<decltype(HelperIO::error), std::string_view, int>);
    const ScopedSignal ignored(SIGPIPE, SIG_IGN);
    Pipe pipe;
    pipe.reader.reset();
    for (const int descriptor : {-1, pipe.writer.get()}) {
        HelperIO::writeLine(json::array({1}), descriptor);
        HelperIO::error("message", descriptor);
    }
}

TEST_CASE("a line that nobody takes is given up after five seconds, whole or torn") {
    const std::string text(10'000, 'x');
    const Pipe full;
    const Pipe onePage;
    const Pipe nonBlocking;
    for (const Pipe* pipe : {&full, &onePage, &nonBlocking}) {
        ::fcntl(pipe->writer.get(), F_SETFL, O_NONBLOCK);
        const std::string filling(4096, 'f');
        while (::write(pipe->writer.get(), filling.data(), filling.size()) > 0) continue;
    }
    std::vector<char> page(4096);
    for (const Pipe* pipe : {&onePage, &nonBlocking})
        REQUIRE(::read(pipe->reader.get(), page.data(), page.size()) == 4096);
    for (const Pipe* pipe : {&full, &onePage}) ::fcntl(pipe->writer.get(), F_SETFL, 0);

    const auto before = std::chrono::steady_clock::now();
    std::thread first([&] { HelperIO::writeLine({{"continue", true}}, full.writer.get()); });
    std::thread second([&] { HelperIO::error(text, onePage.writer.get()); });
    HelperIO::error(text, nonBlocking.writer.get());
    first.join();
    second.join();
    const auto taken = std::chrono::steady_clock::now() - before;
    CHECK(taken > std::chrono::milliseconds(4900));
    CHECK(taken < std::chrono::seconds(8));
}

TEST_CASE("lines go to standard output and messages to standard error") {
    Pipe output;
    Pipe error;
    CHECK(inForkedChild([&] {
              ::dup2(output.writer.get(), STDOUT_FILENO);
              ::dup2(error.writer.get(), STDERR_FILENO);
              HelperIO::writeLine(json::array({1}));
              HelperIO::error("message");
              return true;
          }) == 0);
    CHECK(output.content() == "[1]\n");
    CHECK(error.content() == "message\n");
}
