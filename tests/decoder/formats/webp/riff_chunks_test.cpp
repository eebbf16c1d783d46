#include "decoder/formats/webp/riff_chunks.h"

#include <string>

#include <doctest/doctest.h>

#include "tests/decoder/input_file.h"

using namespace sorvane::decoder;
using namespace sorvane::test;
using namespace std::string_view_literals;

namespace {

std::string nameOfNext(RiffChunks& chunks) {
    const auto chunk = chunks.next();
    return chunk ? std::string(chunk->name()) : "none";
}

std::string textOf(RiffChunks& chunks) {
    Bytes text(100);
    text.resize(chunks.read(text));
    return {text.begin(), text.end()};
}

} // namespace

TEST_CASE("chunks come one after the other, whatever was taken of them") {
    InputFile file(bytes("ONE \3\0\0\0abc\0TWO \0\0\0\0THRE\4\0\0\0defgmore"sv));
    RiffChunks chunks(file.source(), 32);
    CHECK(nameOfNext(chunks) == "ONE ");
    Bytes first(1);
    CHECK(chunks.read(first) == 1);
    CHECK(first.front() == 'a');
    CHECK(nameOfNext(chunks) == "TWO ");
    CHECK(textOf(chunks).empty());
    const auto third = chunks.next();
    REQUIRE(third);
    CHECK(third->size == 4);
    CHECK(textOf(chunks) == "defg");
    CHECK(nameOfNext(chunks) == "none");
    CHECK_FALSE(chunks.cut());
}

TEST_CASE("chunks inside a chunk end with it") {
    InputFile file(bytes("OUTR\x14\0\0\0head-IN  \3\0\0\0abc\0xyzNEXT\1\0\0\0z"sv));
    RiffChunks chunks(file.source(), 37);
    CHECK(nameOfNext(chunks) == "OUTR");
    Bytes head(5);
    CHECK(chunks.read(head) == 5);
    RiffChunks inner(chunks);
    CHECK(nameOfNext(inner) == "IN  ");
    CHECK(textOf(inner) == "abc");
    CHECK(nameOfNext(inner) == "none");
    CHECK_FALSE(inner.cut());
    CHECK(nameOfNext(chunks) == "NEXT");
    CHECK(textOf(chunks) == "z");
    CHECK(nameOfNext(chunks) == "none");
    CHECK_FALSE(chunks.cut());
}

TEST_CASE("a stretch that ends within a chunk is cut") {
    const Bytes whole = bytes("ONE \4\0\0\0abcdTWO \2\0\0\0ef"sv);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        CAPTURE(length);
        InputFile file(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        RiffChunks chunks(file.source(), whole.size());
        while (chunks.next()) continue;
        CHECK(chunks.cut());
    }
    InputFile file(whole);
    RiffChunks chunks(file.source(), whole.size() - 1);
    CHECK(nameOfNext(chunks) == "ONE ");
    CHECK(nameOfNext(chunks) == "none");
    CHECK(chunks.cut());
}
