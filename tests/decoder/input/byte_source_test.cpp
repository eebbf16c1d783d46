#include "decoder/input/byte_source.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include <sys/socket.h>

#include <doctest/doctest.h>

#include "tests/decoder/input_file.h"

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
