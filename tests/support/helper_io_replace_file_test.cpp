#include <climits>
#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/helper_io.h"
#include "tests/scoped_limit.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_view_literals;
using test::fileContent;
using test::namesIn;
using test::putFile;
using test::ScopedLimit;
using test::ScopedSignal;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

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

TEST_CASE("a file of the longest name is replaced") {
    const TemporaryDirectory directory;
    const std::string name(NAME_MAX, 'n');
    putFile(directory.path() / name, "older");
    HelperIO::replaceFile(directory.path() / name, "new");
    CHECK(fileContent(directory.path() / name) == "new");
    CHECK(namesIn(directory.path()) == std::set{name});
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
