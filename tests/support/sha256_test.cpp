#include "support/sha256.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "identity/file_identity.h"

using namespace sorvane;
using namespace std::string_literals;

namespace {

std::string digestInPieces(std::string_view text, std::size_t pieceSize) {
    Sha256 digest;
    for (; !text.empty(); text.remove_prefix(std::min(pieceSize, text.size())))
        digest.update(text.substr(0, pieceSize));
    return digest.hex();
}

} // namespace

TEST_CASE("the digests are those of the standard's examples") {
    struct Row {
        std::string text;
        std::string_view digest;
    };
    const std::vector<Row> rows = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmno"
         "ijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
         "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {std::string(1'000'000, 'a'),
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        {"\0"s, "6e340b9cffb37a989ca544e6bb780a2c78901d3fb33738768511a30617afa01d"},
        {"\xFF", "a8100ae6aa1940d0b663bb31cd466142ebbdbd5187131b92d93818987832eb89"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.digest);
        CHECK(HelperIO::sha256(row.text) == row.digest);
        CHECK(digestInPieces(row.text, 1'000'000) == row.digest);
    }
}

TEST_CASE("pieces have the digest of the whole") {
    std::string text;
    for (int number = 0; text.size() < 1000; ++number) text += std::to_string(number);
    for (const std::size_t pieceSize : {1U, 7U, 55U, 56U, 63U, 64U, 65U, 127U, 128U, 999U}) {
        CAPTURE(pieceSize);
        CHECK(digestInPieces(text, pieceSize) == HelperIO::sha256(text));
    }
}

TEST_CASE("an empty piece changes nothing") {
    Sha256 digest;
    digest.update({});
    digest.update("abc");
    digest.update("");
    CHECK(digest.hex() == HelperIO::sha256("abc"));
}

TEST_CASE("computations at the same time do not meet") {
    Sha256 one;
    Sha256 other;
    one.update("a");
    other.update("x");
    one.update("bc");
    CHECK(one.hex() == HelperIO::sha256("abc"));
    CHECK(other.hex() == HelperIO::sha256("x"));
}
