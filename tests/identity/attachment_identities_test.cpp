#include "identity/attachment_identities.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "identity/file_identity.h"
#include "support/json.h"
#include "tests/identity/sample_pictures.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_literals;
using nlohmann::json;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

namespace {

const std::string upper = "0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF";
const std::string lower = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
const std::string other(64, 'b');

std::vector<json> identitiesOf(const json& attachments) {
    return SorvaneHook::attachmentIdentities(json::object({{"attachments", attachments}}));
}

// What one attachment gives: its identity, or null when it gives nothing.
json identityOf(const json& attachment) {
    const auto identities = identitiesOf(json::array({attachment}));
    REQUIRE(identities.size() <= 1);
    return identities.empty() ? json(nullptr) : identities.front();
}

json digestRecord(const json& members) {
    json record = {{"sha256", lower}};
    record.update(members);
    return record;
}

// The text with one more or less, in characters and in bytes.
const std::vector<json> notDigests = {"",
                                      "a",
                                      lower.substr(1),
                                      lower + "0",
                                      lower + "\n",
                                      " " + lower,
                                      64,
                                      true,
                                      nullptr,
                                      json::array({lower}),
                                      json::object({{"sha256", lower}})};

} // namespace

TEST_CASE("an event without a list of attachments has no identities") {
    for (const json& event :
         {json::object(), json::object({{"attachments", nullptr}}),
          json::object({{"attachments", "/file"}}), json::object({{"attachments", 1}}),
          json::object({{"attachments", json::object({{"sha256", lower}})}}),
          json::object({{"attachments", json::array()}}),
          json::object({{"Attachments", json::array({json::object({{"sha256", lower}})})}}),
          json(nullptr), json("attachments"), json::array({"attachments"})}) {
        CAPTURE(event.dump());
        CHECK(SorvaneHook::attachmentIdentities(event).empty());
    }
}

TEST_CASE("a path gives the identity of its file") {
    const TemporaryDirectory directory;
    const Path file = directory.path() / "a file";
    test::putFile(file, "content");
    const json identity = {{"sha256", HelperIO::sha256("content")}};
    CHECK(identityOf(file.native()) == identity);
    CHECK(identityOf({{"file_path", file.native()}}) == identity);
    std::filesystem::create_symlink("a file", directory.path() / "link");
    CHECK(identityOf((directory.path() / "link").native()) == identity);
}

TEST_CASE("a relative path is taken from the current directory, and a tilde as it stands") {
    const TemporaryDirectory directory;
    test::putFile(directory.path() / "~" / "file", "content");
    const Path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    const json fromDirectory = identityOf("~/file");
    const json fromRecord = identityOf({{"file_path", "./~/file"}});
    const json directoryItself = identityOf("");
    std::filesystem::current_path(before);
    CHECK(fromDirectory == json{{"sha256", HelperIO::sha256("content")}});
    CHECK(fromRecord == fromDirectory);
    CHECK(directoryItself.is_null());
}

TEST_CASE("a path that cannot be read gives nothing") {
    const TemporaryDirectory directory;
    const Path fifo = directory.path() / "fifo";
    REQUIRE(::mkfifo(fifo.c_str(), 0600) == 0);
    test::putFile(directory.path() / "file", "content");
    const std::string file = (directory.path() / "file").native();
    for (const std::string& path :
         {(directory.path() / "missing").native(), directory.path().native(), fifo.native(),
          "/dev/null"s, file + "/", file + "\0"s, file + "\0.png"s, "file://" + file, ""s,
          std::string(5000, 'x'), "/" + std::string(100'000, 'x')}) {
        CHECK(identityOf(path).is_null());
        CHECK(identityOf({{"file_path", path}}).is_null());
        CHECK(identityOf({{"file_path", path}, {"asset_id", lower}, {"sha256", lower}}).is_null());
    }
}

TEST_CASE("a record with a path is read for nothing else") {
    const TemporaryDirectory directory;
    test::putFile(directory.path() / "file", "content");
    CHECK(identityOf({{"file_path", (directory.path() / "file").native()},
                      {"asset_id", lower},
                      {"sha256", lower},
                      {"pixel_hash", other},
                      {"pixel_width", 1},
                      {"pixel_height", 1}}) == json{{"sha256", HelperIO::sha256("content")}});
}

TEST_CASE("a path that is no text is none") {
    for (const json& path : {json(nullptr), json(1), json(true), json::array({"/dev/null"})}) {
        CHECK(identityOf({{"file_path", path}, {"asset_id", lower}}) == json{{"assetID", lower}});
        CHECK(identityOf({{"file_path", path}, {"sha256", lower}}) == json{{"sha256", lower}});
    }
    CHECK(identityOf({{"filePath", "/dev/null"}, {"sha256", lower}}) == json{{"sha256", lower}});
}

TEST_CASE("an asset record gives its identifier in lower case, alone") {
    CHECK(identityOf({{"asset_id", upper}}) == json{{"assetID", lower}});
    CHECK(identityOf({{"asset_id", lower}}) == json{{"assetID", lower}});
    CHECK(identityOf({{"asset_id", upper},
                      {"sha256", other},
                      {"pixel_hash", other},
                      {"pixel_width", 1},
                      {"pixel_height", 1},
                      {"name", "a"}}) == json{{"assetID", lower}});
}

TEST_CASE("an asset record whose identifier is of another length or kind is a digest record") {
    for (const json& value : notDigests) {
        CAPTURE(value.dump());
        CHECK(identityOf({{"asset_id", value}, {"sha256", upper}}) == json{{"sha256", lower}});
        CHECK(identityOf({{"asset_id", value}}).is_null());
    }
    CHECK(identityOf({{"assetID", lower}}).is_null());
    CHECK(identityOf({{"assetID", other}, {"sha256", lower}}) == json{{"sha256", lower}});
}

TEST_CASE("a digest record gives its digest in lower case") {
    CHECK(identityOf({{"sha256", upper}}) == json{{"sha256", lower}});
    CHECK(identityOf({{"sha256", upper}, {"name", "a"}}) == json{{"sha256", lower}});
    for (const json& value : notDigests) {
        CAPTURE(value.dump());
        CHECK(identityOf({{"sha256", value}}).is_null());
        CHECK(
            identityOf(
                {{"sha256", value}, {"pixel_hash", lower}, {"pixel_width", 1}, {"pixel_height", 1}})
                .is_null());
    }
}

TEST_CASE("a length of 64 is counted in characters, whatever they are") {
    const std::string signs(64, '!');
    std::string accented;
    std::string large;
    std::string small;
    for (int i = 0; i < 64; ++i) {
        accented += "E\u0301";
        large += "\u00C9";
        small += "\u00E9";
    }
    std::string accentedLower = accented;
    for (char& character : accentedLower)
        if (character == 'E') character = 'e';
    CHECK(identityOf({{"asset_id", signs}}) == json{{"assetID", signs}});
    CHECK(identityOf({{"sha256", signs}}) == json{{"sha256", signs}});
    CHECK(identityOf({{"asset_id", accented}}) == json{{"assetID", accentedLower}});
    CHECK(identityOf({{"sha256", large}}) == json{{"sha256", small}});
    CHECK(identityOf({{"asset_id", lower + "\u0301"}}) == json{{"assetID", lower + "\u0301"}});
    // 64 bytes that are 32 characters.
    CHECK(identityOf({{"sha256", small.substr(0, 64)}}).is_null());
    // Longer in lower case than it was.
    CHECK(identityOf({{"sha256", lower.substr(1) + "\u0130"}}) ==
          json{{"sha256", lower.substr(1) + "i\u0307"}});
}

TEST_CASE("pixels go with a digest, under either spelling of each key") {
    const json complete = {
        {"sha256", lower}, {"pixelHash", other}, {"pixelWidth", 800}, {"pixelHeight", 600}};
    for (const std::string hash : {"pixel_hash", "pixelHash"})
        for (const std::string width : {"pixel_width", "pixelWidth"})
            for (const std::string height : {"pixel_height", "pixelHeight"}) {
                CAPTURE(hash);
                CAPTURE(width);
                CAPTURE(height);
                CHECK(identityOf(digestRecord(
                          {{hash, std::string(64, 'B')}, {width, 800}, {height, 600}})) ==
                      complete);
            }
}

TEST_CASE("without one of the three there are no pixels") {
    const json alone = {{"sha256", lower}};
    const json complete =
        digestRecord({{"pixel_hash", other}, {"pixel_width", 1}, {"pixel_height", 1}});
    for (const std::string key : {"pixel_hash", "pixel_width", "pixel_height"}) {
        CAPTURE(key);
        json without = complete;
        without.erase(key);
        CHECK(identityOf(without) == alone);
        for (const json& value :
             {json(nullptr), json(true), json("800"), json(800.5), json::array({800}),
              json::object(), json(9.3e18), json(UINT64_MAX)}) {
            CAPTURE(value.dump());
            json wrong = complete;
            wrong[key] = value;
            CHECK(identityOf(wrong) == alone);
        }
    }
    for (const json& value : notDigests) {
        CAPTURE(value.dump());
        json wrong = complete;
        wrong["pixel_hash"] = value;
        CHECK(identityOf(wrong) == alone);
    }
}

TEST_CASE("the first pixel digest that is a text counts, whatever its length") {
    const json size = {{"pixel_width", 1}, {"pixel_height", 2}};
    const auto pixelHash = [&](const json& snakeCase, const json& camelCase) {
        json record = digestRecord(size);
        record["pixel_hash"] = snakeCase;
        record["pixelHash"] = camelCase;
        return identityOf(record).value("pixelHash", "none");
    };
    CHECK(pixelHash(other, lower) == other);
    CHECK(pixelHash("0123456789", lower) == "none");
    CHECK(pixelHash("", lower) == "none");
    CHECK(pixelHash(nullptr, lower) == lower);
    CHECK(pixelHash(64, lower) == lower);
    CHECK(pixelHash(json::array(), lower) == lower);
    CHECK(pixelHash(nullptr, "0123456789") == "none");
    CHECK(pixelHash(other, nullptr) == other);
}

TEST_CASE("the first width and height that are integers count") {
    const auto size = [](const json& members) {
        json record = digestRecord({{"pixel_hash", other}});
        record.update(members);
        const json identity = identityOf(record);
        if (!identity.contains("pixelHash")) return std::string("none");
        return identity.at("pixelWidth").dump() + "x" + identity.at("pixelHeight").dump();
    };
    CHECK(size({{"pixel_width", 1}, {"pixelWidth", 2}, {"pixel_height", 3}, {"pixelHeight", 4}}) ==
          "1x3");
    CHECK(size({{"pixel_width", 1.5}, {"pixelWidth", 2}, {"pixelHeight", 4}}) == "2x4");
    CHECK(size({{"pixel_width", "1"},
                {"pixelWidth", 2},
                {"pixel_height", true},
                {"pixelHeight", 4}}) == "2x4");
    CHECK(size({{"pixel_width", nullptr},
                {"pixelWidth", 2},
                {"pixel_height", json::array()},
                {"pixelHeight", 4}}) == "2x4");
    CHECK(size({{"pixel_width", 800.5}, {"pixel_height", 4}}) == "none");
    CHECK(size({{"pixel_width", 1}, {"pixelWidth", "2"}, {"pixel_height", 3}}) == "1x3");
    // Numbers are taken by their value, as they are.
    CHECK(size({{"pixel_width", 1024.0}, {"pixel_height", 1e3}}) == "1024x1000");
    CHECK(size({{"pixel_width", 0}, {"pixel_height", -5}}) == "0x-5");
    CHECK(size({{"pixel_width", INT64_MAX}, {"pixel_height", INT64_MIN}}) ==
          "9223372036854775807x-9223372036854775808");
}

TEST_CASE("other elements give nothing") {
    for (const json& element :
         {json(nullptr), json(true), json(0), json(1.5), json::array(), json::array({lower}),
          json::array({json::object({{"sha256", lower}})}), json::object(),
          json::object({{"name", "a"}}), json::object({{"SHA256", lower}}),
          json::object({{"", lower}})}) {
        CAPTURE(element.dump());
        CHECK(identityOf(element).is_null());
    }
}

TEST_CASE("identities come in the order of the attachments, without those that give nothing") {
    const TemporaryDirectory directory;
    const std::string png = test::redPixelPNG();
    test::putFile(directory.path() / "red.png", png);
    const auto identities = identitiesOf(json::array(
        {(directory.path() / "red.png").native(), 7, (directory.path() / "missing").native(),
         json::object({{"sha256", upper}}), nullptr, json::object({{"asset_id", other}}),
         json::object({{"sha256", upper}})}));
    REQUIRE(identities.size() == 4);
    CHECK(identities[0].at("sha256") == HelperIO::sha256(png));
    CHECK(identities[0].at("pixelHash") == HelperIO::sha256("1x1:rgba8-srgb:\xFF\0\0\xFF"s));
    CHECK(identities[0].at("pixelWidth") == 1);
    CHECK(identities[0].at("pixelHeight") == 1);
    CHECK(identities[1] == json{{"sha256", lower}});
    CHECK(identities[2] == json{{"assetID", other}});
    CHECK(identities[3] == json{{"sha256", lower}});
}
