#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <doctest/doctest.h>

#include "support/date.h"
#include "support/helper_io.h"
#include "support/record.h"
#include "tests/support/note.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::Note;
using test::putFile;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

TEST_CASE("a record that was written is read back the same") {
    const TemporaryDirectory directory;
    const Note note{"caf\u00E9\n\"/", Date(Date::duration(700000000.125))};
    HelperIO::writeJSON(note, directory.path() / "note.json");
    CHECK(HelperIO::readJSON<Note>(directory.path() / "note.json") == note);
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
