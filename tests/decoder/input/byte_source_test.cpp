#include "decoder/input/byte_source.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include <sys/socket.h>

#include <doctest/doctest.h>

#include "tests/decoder/input_file.h"
#include "tests/decoder/memory_file.h"

using namespace sorvane;
using namespace sorvane::test;

TEST_CASE("peeking shows the next bytes and leaves them there") {
    InputFile file(bytes("abcdef"));
    CHECK(file.source().peek(3) == "abc");
    CHECK(file.source().peek(100) == "abcdef");
    std::array<std::uint8_t, 2> two;
    CHECK(file.source().read(two) == 2);
    CHECK(file.source().peek(3) == "cde");
}

TEST_CASE("peeking and reading go across the pieces that the system gives") {
    int ends[2];
    // Datagrams are given one by one, and an empty one reads as an end.
    REQUIRE(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends) == 0);
    const UniqueDescriptor reader(ends[0]);
    const UniqueDescriptor writer(ends[1]);
    for (const std::string_view piece : {"ab", "cd", "ef", "gh", ""})
        REQUIRE(::send(writer.get(), piece.data(), piece.size(), 0) ==
                static_cast<ssize_t>(piece.size()));
    decoder::ByteSource source(reader.get());
    CHECK(source.peek(5) == "abcde");
    std::array<std::uint8_t, 7> seven;
    CHECK(source.read(seven) == 7);
    CHECK(Bytes(seven.begin(), seven.end()) == bytes("abcdefg"));
    CHECK(source.read(seven) == 1);
}

TEST_CASE("taking a piece gives what is buffered, then what comes, then nothing") {
    InputFile file(bytes("abc"));
    CHECK(file.source().peek(1) == "a");
    CHECK(file.source().takePiece().size() == 3);
    CHECK(file.source().takePiece().empty());
}

TEST_CASE("a piece is no larger than was asked for") {
    InputFile file(bytes("abcde"));
    CHECK(file.source().takePiece(0).empty());
    CHECK(file.source().takePiece(2).size() == 2);
    CHECK(file.source().peek(1) == "c");
    CHECK(file.source().takePiece(9).size() == 3);
    CHECK(file.source().takePiece(9).empty());
}

TEST_CASE("what has been kept is read again, and then what comes after it") {
    InputFile file(bytes("abcdefghi"));
    decoder::ByteSource& source = file.source();
    std::array<std::uint8_t, 2> two;
    CHECK(source.read(two) == 2);
    source.keep(7);
    CHECK(source.takePiece(3).size() == 3);
    REQUIRE(source.rewind());
    CHECK(source.peek(4) == "cdef");
    CHECK_FALSE(source.rewind());
    std::array<std::uint8_t, 8> more;
    CHECK(source.read(more) == 7);
    CHECK(Bytes(more.begin(), more.begin() + 7) == bytes("cdefghi"));
    CHECK_FALSE(source.rewind());
}

TEST_CASE("what has been kept is read again across the pieces that the system gives") {
    Bytes content(200'000);
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<std::uint8_t>(i / 7);
    const MemoryFile memory;
    decoder::ByteSource source(memory.holding(content));
    source.keep(150'000);
    Bytes piece(140'000);
    CHECK(source.read(std::span(piece).first(130'000)) == 130'000);
    REQUIRE(source.rewind());
    CHECK(source.read(piece) == piece.size());
    CHECK(std::ranges::equal(piece, std::span(content).first(piece.size())));
    CHECK(source.read(std::span(piece).first(60'000)) == 60'000);
    CHECK(std::ranges::equal(std::span(piece).first(60'000), std::span(content).last(60'000)));
}

TEST_CASE("more than the limit is not kept, nor is anything once keeping has ended") {
    for (const std::size_t limit : {0U, 5U}) {
        InputFile file(bytes("abcdef"));
        file.source().keep(limit);
        file.source().takePiece();
        CHECK_FALSE(file.source().rewind());
    }
    InputFile file(bytes("abcdef"));
    file.source().keep(6);
    file.source().takePiece();
    file.source().keep(0);
    CHECK_FALSE(file.source().rewind());
    CHECK(file.source().takePiece().empty());
}

TEST_CASE("draining takes everything that is left") {
    InputFile file(Bytes(60'000, 'x'));
    CHECK(file.source().peek(2) == "xx");
    file.source().drain();
    CHECK(file.source().peek(1).empty());
}

TEST_CASE("a descriptor that cannot be read is an empty file") {
    decoder::ByteSource source(-1);
    CHECK(source.peek(8).empty());
    CHECK(source.takePiece().empty());
}
