#include "support/helper_io.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/date.h"
#include "support/helper_failure.h"
#include "support/record.h"
#include "tests/forked.h"
#include "tests/pipe.h"
#include "tests/scoped_limit.h"
#include "tests/scoped_mask.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_view_literals;
using nlohmann::json;
using test::fileContent;
using test::inForkedChild;
using test::Pipe;
using test::putFile;
using test::ScopedLimit;
using test::ScopedMask;
using test::ScopedSignal;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

namespace {

// What the system's chmod is to do during a test, in place of its own work.
std::function<int(const char*, mode_t)> chmodInstead; // NOLINT: the system calls a free function

} // namespace

// Stands before the C library's, in this program only.
extern "C" int chmod(const char* path, mode_t mode) {
    return chmodInstead ? chmodInstead(path, mode) : ::fchmodat(AT_FDCWD, path, mode, 0);
}

namespace {

class ScopedChmod {
  public:
    explicit ScopedChmod(std::function<int(const char*, mode_t)> instead) {
        chmodInstead = std::move(instead);
    }
    ScopedChmod(const ScopedChmod&) = delete;
    ScopedChmod& operator=(const ScopedChmod&) = delete;
    ~ScopedChmod() { chmodInstead = nullptr; }
};

struct Note {
    const std::string text;
    const Date writtenAt = {};

    static constexpr auto fields() {
        return std::tuple{record::field("text", &Note::text),
                          record::field("writtenAt", &Note::writtenAt)};
    }
    bool operator==(const Note&) const = default;
};

mode_t modeOf(const Path& path) {
    struct stat status {};
    REQUIRE(::lstat(path.c_str(), &status) == 0);
    return status.st_mode & 07777;
}

std::set<std::string> namesIn(const Path& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.insert(entry.path().filename().native());
    return names;
}

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

TEST_CASE("a record is written into directories that are made on the way") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "a" / "b c" / "d" / "note.json";
    {
        const ScopedMask mask(022);
        HelperIO::writeJSON(Note{"a/b", Date(Date::duration(0.5))}, path);
    }
    CHECK(fileContent(path) == R"({"text":"a\/b","writtenAt":0.5})");
    CHECK(modeOf(path) == 0600);
    CHECK(modeOf(path.parent_path()) == 0755);
    CHECK(namesIn(path.parent_path()) == std::set<std::string>{"note.json"});
}

TEST_CASE("a record may be written under a mere name, into the current directory") {
    const TemporaryDirectory directory;
    CHECK(inForkedChild([&] {
              std::filesystem::current_path(directory.path());
              HelperIO::writeJSON(Note{"a"}, "state.json");
              HelperIO::writeJSON(Note{"b"}, "state.json");
              return HelperIO::readJSON<Note>("state.json") == Note{"b"};
          }) == 0);
    CHECK(namesIn(directory.path()) == std::set<std::string>{"state.json"});
    CHECK(modeOf(directory.path() / "state.json") == 0600);
}

TEST_CASE("a record that was written is read back the same") {
    const TemporaryDirectory directory;
    const Note note{"caf\u00E9\n\"/", Date(Date::duration(700000000.125))};
    HelperIO::writeJSON(note, directory.path() / "note.json");
    CHECK(HelperIO::readJSON<Note>(directory.path() / "note.json") == note);
}

TEST_CASE("the mode is the one asked for, whatever mask or older file there is") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    for (const mode_t mask : std::initializer_list<mode_t>{0, 022, 077, 0777}) {
        for (const mode_t older : std::initializer_list<mode_t>{0644, 0600, 0777, 0}) {
            CAPTURE(mask);
            CAPTURE(older);
            putFile(path, "older");
            ::chmod(path.c_str(), older);
            const ScopedMask scope(mask);
            HelperIO::writeJSON(Note{"a"}, path);
            CHECK(modeOf(path) == 0600);
            HelperIO::writeJSON(Note{"a"}, path, 0644);
            CHECK(modeOf(path) == 0644);
            HelperIO::writeJSON(Note{"a"}, path, 0);
            CHECK(modeOf(path) == 0);
            std::filesystem::remove(path);
        }
    }
}

TEST_CASE("the mode is set last, on the new file in its place, which has the default until then") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    putFile(path, "older");
    const ScopedMask mask(027);
    int calls = 0;
    const ScopedChmod chmod([&](const char* changed, mode_t mode) {
        ++calls;
        CHECK(Path(changed) == path);
        CHECK(mode == 0600);
        CHECK(modeOf(path) == 0640);
        CHECK(fileContent(path) == R"({"text":"new","writtenAt":0.0})");
        CHECK(namesIn(directory.path()) == std::set<std::string>{"note.json"});
        return 0;
    });
    HelperIO::writeJSON(Note{"new"}, path);
    CHECK(calls == 1);
}

TEST_CASE("when the mode cannot be set the new file stays and the failure names it") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "codex-hook-state.json";
    putFile(path, "older");
    const ScopedChmod refused([](const char*, mode_t) {
        errno = EPERM;
        return -1;
    });
    std::string text;
    try {
        HelperIO::writeJSON(Note{"new"}, path);
    } catch (const HelperFailure& failure) {
        text = failure.errorDescription();
    }
    CHECK(text == "Agent configuration failed: Could not restrict permissions for "
                  "codex-hook-state.json.");
    CHECK(fileContent(path) == R"({"text":"new","writtenAt":0.0})");
    CHECK(namesIn(directory.path()) == std::set<std::string>{"codex-hook-state.json"});
}

TEST_CASE("the mode of a file that is not there cannot be set") {
    const TemporaryDirectory directory;
    CHECK_THROWS_AS(HelperIO::restrictPermissions(directory.path() / "missing", 0600),
                    HelperFailure);
}

TEST_CASE("a negative mode ends the process") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "");
    for (const int mode : {-1, -0600, -32768}) {
        int status = inForkedChild([&] {
            HelperIO::restrictPermissions(directory.path() / "file",
                                          static_cast<std::int16_t>(mode));
            return true;
        });
        CAPTURE(mode);
        CHECK(WIFSIGNALED(status));
        CHECK(WTERMSIG(status) == SIGABRT);
    }
}

TEST_CASE("a symbolic link is replaced, not followed") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    putFile(directory.path() / "elsewhere", "untouched");
    for (const std::string target : {"elsewhere", "nowhere", "note.json"}) {
        CAPTURE(target);
        std::filesystem::remove(path);
        std::filesystem::create_symlink(target, path);
        HelperIO::writeJSON(Note{"new"}, path);
        CHECK(std::filesystem::is_regular_file(std::filesystem::symlink_status(path)));
        CHECK(fileContent(path) == R"({"text":"new","writtenAt":0.0})");
        CHECK(fileContent(directory.path() / "elsewhere") == "untouched");
        CHECK(namesIn(directory.path()) == std::set<std::string>{"elsewhere", "note.json"});
    }
}

TEST_CASE("a file that has another name keeps its content there") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "note.json", "older");
    std::filesystem::create_hard_link(directory.path() / "note.json", directory.path() / "other");
    HelperIO::replaceFile(directory.path() / "note.json", "new");
    CHECK(fileContent(directory.path() / "note.json") == "new");
    CHECK(fileContent(directory.path() / "other") == "older");
}

TEST_CASE("a file that may not be written is replaced all the same") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "note.json", "older");
    ::chmod((directory.path() / "note.json").c_str(), 0400);
    HelperIO::replaceFile(directory.path() / "note.json", "new");
    CHECK(fileContent(directory.path() / "note.json") == "new");
}

TEST_CASE("any bytes replace any bytes") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "file";
    for (const std::string& bytes : {std::string("short"), std::string(), std::string("\0\xFF\n"sv),
                                     std::string(3'000'000, 'x'), std::string("short again")}) {
        HelperIO::replaceFile(path, bytes);
        CHECK((fileContent(path) == bytes));
    }
    CHECK(namesIn(directory.path()) == std::set<std::string>{"file"});
}

TEST_CASE("a replacement that cannot take its place leaves nothing beside it") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    putFile(path / "inside", "untouched");
    std::error_code reason;
    try {
        HelperIO::replaceFile(path, "new");
    } catch (const std::system_error& failure) {
        reason = failure.code();
    }
    CHECK(reason == std::errc::is_a_directory);
    CHECK(fileContent(path / "inside") == "untouched");
    CHECK(namesIn(directory.path()) == std::set<std::string>{"note.json"});
}

TEST_CASE("a replacement that does not fit on the disk leaves the old file and nothing else") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    putFile(path, "older");
    for (const rlim_t bytes : {0U, 1U, 5'000U}) {
        CAPTURE(bytes);
        std::error_code reason;
        {
            const ScopedSignal silence(SIGXFSZ, SIG_IGN);
            const ScopedLimit limit(RLIMIT_FSIZE, bytes);
            try {
                HelperIO::replaceFile(path, std::string(5'001, 'n'));
            } catch (const std::system_error& failure) {
                reason = failure.code();
            }
        }
        CHECK(reason == std::errc::file_too_large);
        CHECK(fileContent(path) == "older");
        CHECK(namesIn(directory.path()) == std::set<std::string>{"note.json"});
    }
}

TEST_CASE("a directory that cannot be made or is not there is a failure") {
    const TemporaryDirectory directory;
    putFile(directory.path() / "file", "untouched");
    CHECK_THROWS_AS(HelperIO::writeJSON(Note{"a"}, directory.path() / "file" / "note.json"),
                    std::system_error);
    CHECK_THROWS_AS(HelperIO::writeJSON(Note{"a"}, directory.path() / "file" / "b" / "note.json"),
                    std::system_error);
    CHECK_THROWS_AS(HelperIO::replaceFile(directory.path() / "missing" / "note.json", "a"),
                    std::system_error);
    CHECK(fileContent(directory.path() / "file") == "untouched");
    CHECK(namesIn(directory.path()) == std::set<std::string>{"file"});
}

TEST_CASE("a directory that is there, by a link too, is no failure") {
    const TemporaryDirectory directory;
    std::filesystem::create_directory(directory.path() / "real");
    std::filesystem::create_directory_symlink("real", directory.path() / "link");
    HelperIO::createParentDirectory(directory.path() / "link" / "note.json");
    HelperIO::createParentDirectory(directory.path() / "real" / "note.json");
    HelperIO::writeJSON(Note{"a"}, directory.path() / "link" / "note.json");
    CHECK(namesIn(directory.path() / "real") == std::set<std::string>{"note.json"});
}

TEST_CASE("a record without a JSON form leaves the old file, once its directory is made") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "new" / "note.json";
    const Note undated{"a", Date(Date::duration(std::nan("")))};
    CHECK_THROWS(HelperIO::writeJSON(undated, path));
    CHECK(namesIn(directory.path() / "new").empty());
    HelperIO::writeJSON(Note{"older"}, path);
    CHECK_THROWS(HelperIO::writeJSON(undated, path));
    CHECK_THROWS(HelperIO::writeJSON(Note{"\xFF"}, path));
    CHECK(HelperIO::readJSON<Note>(path) == Note{"older"});
    CHECK(namesIn(directory.path() / "new") == std::set<std::string>{"note.json"});
}

TEST_CASE("a reader beside many writers never sees half a file") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "file";
    const auto content = [](char writer) { return std::string(50'000, writer); };
    HelperIO::replaceFile(path, content('0'));
    const auto replaceOften = [&](char writer) {
        for (int time = 0; time < 200; ++time) HelperIO::replaceFile(path, content(writer));
    };
    std::vector<pid_t> writers;
    for (const char writer : {'1', '2', '3'}) {
        writers.push_back(::fork());
        if (writers.back() == 0) {
            replaceOften(writer);
            ::_exit(0);
        }
    }
    int torn = 0;
    int writing = static_cast<int>(writers.size());
    int status = 0;
    int failed = 0;
    while (writing > 0) {
        const std::string read = readFile(path);
        if (read.empty() || read != content(read[0])) ++torn;
        if (::waitpid(-1, &status, WNOHANG) > 0) {
            --writing;
            failed += status == 0 ? 0 : 1;
        }
    }
    CHECK(torn == 0);
    CHECK(failed == 0);
    CHECK(namesIn(directory.path()) == std::set<std::string>{"file"});
}

TEST_CASE(
    "a record that cannot be read tells in its error whether file, JSON or record is at fault") {
    const TemporaryDirectory directory;
    const Path path = directory.path() / "note.json";
    CHECK_THROWS_AS(HelperIO::readJSON<Note>(path), std::system_error);
    CHECK_THROWS_AS(HelperIO::readJSON<Note>(directory.path()), std::system_error);
    for (const std::string_view text : {"", "{", "null", "\"text\"", "{\"text\":\"\xFF\"}"}) {
        CAPTURE(text);
        putFile(path, text);
        CHECK_THROWS_AS(HelperIO::readJSON<Note>(path), std::runtime_error);
    }
    for (const std::string_view text :
         {"[]", "{}", R"({"text":"a"})", R"({"text":"a","writtenAt":"2001-01-01T00:00:00Z"})"}) {
        CAPTURE(text);
        putFile(path, text);
        CHECK_THROWS_AS(HelperIO::readJSON<Note>(path), record::DecodingError);
    }
    putFile(path, "\xEF\xBB\xBF {\"writtenAt\":0,\"more\":1,\"text\":\"a\"}\n");
    CHECK(HelperIO::readJSON<Note>(path) == Note{"a"});
}

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
