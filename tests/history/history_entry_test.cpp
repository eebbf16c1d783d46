#include "history/history_entry.h"

#include <limits>
#include <string>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "tests/record_trials.h"

using namespace sorvane;
using nlohmann::json;
using test::decoded;
using test::encoded;
using test::isRead;
using test::Kind;
using test::optional;
using test::required;

namespace {

static_assert(test::isImmutable<HelperEntry>());
static_assert(test::isImmutable<HelperClipboardItem>());
static_assert(test::isImmutable<HelperRepresentation>());
static_assert(test::isImmutable<HelperImageMetadata>());

constexpr const char* entryID = "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C";
constexpr const char* itemID = "0C8E6A52-7F31-4B9D-A1C4-5E2D3F6B7A80";
constexpr const char* representationID = "3D5F7B91-2C4E-4A6D-8E0F-1B2C3D4E5F60";

// Every member of every record, in the order in which it is written.
const std::string completeEntry =
    R"({"id":"9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C","createdAt":816919895.25,)"
    R"("primaryKind":"image","items":[{"id":"0C8E6A52-7F31-4B9D-A1C4-5E2D3F6B7A80","index":3,)"
    R"("representations":[{"id":"3D5F7B91-2C4E-4A6D-8E0F-1B2C3D4E5F60","uti":"public.png",)"
    R"("byteCount":4294967296,"sha256":"6b86","storagePath":"Assets\/6b","inlineText":"in line",)"
    R"("isOriginalRepresentation":true,"imageMetadata":{"pixelWidth":1920,"pixelHeight":1080,)"
    R"("pixelHash":"d473","bitsPerComponent":16,"hasAlpha":false,"colorModel":"RGB",)"
    R"("profileName":"Display P3","orientation":6,"frameCount":12,"originalUTI":"public.heic",)"
    R"("isOriginalFile":false,"isBitExact":true,"conversion":"heic to png"},)"
    R"("thumbnailPath":"Thumbnails\/6b"}]}]})";

Uuid uuid(const char* text) { return *Uuid::parse(text); }

HelperImageMetadata completeMetadata() {
    return {1920, 1080, "d473",        16,    false, "RGB",        "Display P3",
            6,    12,   "public.heic", false, true,  "heic to png"};
}

HelperImageMetadata plainMetadata() {
    return {1, 2, {}, {}, {}, {}, {}, {}, {}, "public.png", true, false, {}};
}

HelperRepresentation completeRepresentation() {
    return {
        uuid(representationID), "public.png",   4294967296, "6b86", "Assets/6b", "in line", true,
        completeMetadata(),     "Thumbnails/6b"};
}

HelperRepresentation representation(std::int64_t byteCount,
                                    const std::optional<HelperImageMetadata>& metadata) {
    return {uuid(representationID), "public.png", byteCount, {}, {}, {}, false, metadata, {}};
}

json changed(const char* pointer, const json& value) {
    json entry = parseJSON(completeEntry);
    entry.at(json::json_pointer(pointer)) = value;
    return entry;
}

const std::string item = "/items/0";
const std::string firstRepresentation = item + "/representations/0";
const std::string metadata = firstRepresentation + "/imageMetadata";

} // namespace

TEST_CASE("an entry is written with its members in order, down to the image's facts") {
    const HelperEntry entry{uuid(entryID),
                            Date(Date::duration(816919895.25)),
                            "image",
                            {{uuid(itemID), 3, {completeRepresentation()}}}};
    CHECK(encoded(entry) == completeEntry);
}

TEST_CASE("an entry is read as it was written") {
    const auto entry = decoded<HelperEntry>(completeEntry);
    CHECK(entry.id == uuid(entryID));
    CHECK(entry.createdAt == Date(Date::duration(816919895.25)));
    CHECK(entry.primaryKind == "image");
    REQUIRE(entry.items.size() == 1);
    CHECK(entry.items[0].id == uuid(itemID));
    CHECK(entry.items[0].index == 3);
    REQUIRE(entry.items[0].representations.size() == 1);
    const HelperRepresentation& read = entry.items[0].representations[0];
    CHECK(read.id == uuid(representationID));
    CHECK(read.uti == "public.png");
    CHECK(read.byteCount == 4294967296);
    CHECK(read.sha256 == "6b86");
    CHECK(read.storagePath == "Assets/6b");
    CHECK(read.inlineText == "in line");
    CHECK(read.isOriginalRepresentation);
    CHECK(read.thumbnailPath == "Thumbnails/6b");
    REQUIRE(read.imageMetadata);
    CHECK(read.imageMetadata->pixelWidth == 1920);
    CHECK(read.imageMetadata->pixelHeight == 1080);
    CHECK(read.imageMetadata->pixelHash == "d473");
    CHECK(read.imageMetadata->bitsPerComponent == 16);
    CHECK(read.imageMetadata->hasAlpha == false);
    CHECK(read.imageMetadata->colorModel == "RGB");
    CHECK(read.imageMetadata->profileName == "Display P3");
    CHECK(read.imageMetadata->orientation == 6);
    CHECK(read.imageMetadata->frameCount == 12);
    CHECK(read.imageMetadata->originalUTI == "public.heic");
    CHECK_FALSE(read.imageMetadata->isOriginalFile);
    CHECK(read.imageMetadata->isBitExact);
    CHECK(read.imageMetadata->conversion == "heic to png");
    CHECK(encoded(entry) == completeEntry);
}

TEST_CASE("the order of members does not matter to the reader of an entry") {
    // A JSON value of ours keeps its members in alphabetical order.
    CHECK(encoded(decoded<HelperEntry>(jsonText(parseJSON(completeEntry)))) == completeEntry);
}

TEST_CASE("every member of an entry is held to its kind") {
    test::tryMembers<HelperEntry>(parseJSON(completeEntry), "",
                                  {{"id", Kind::uuid, required},
                                   {"createdAt", Kind::date, required},
                                   {"primaryKind", Kind::text, required},
                                   {"items", Kind::list, required}});
}

TEST_CASE("every member of an item is held to its kind, or the whole entry is rejected") {
    test::tryMembers<HelperEntry>(parseJSON(completeEntry), item,
                                  {{"id", Kind::uuid, required},
                                   {"index", Kind::integer, required},
                                   {"representations", Kind::list, required}});
}

TEST_CASE("every member of a representation is held to its kind, or the whole entry is rejected") {
    test::tryMembers<HelperEntry>(parseJSON(completeEntry), firstRepresentation,
                                  {{"id", Kind::uuid, required},
                                   {"uti", Kind::text, required},
                                   {"byteCount", Kind::integer, required},
                                   {"sha256", Kind::text, optional},
                                   {"storagePath", Kind::text, optional},
                                   {"inlineText", Kind::text, optional},
                                   {"isOriginalRepresentation", Kind::flag, required},
                                   {"imageMetadata", Kind::object, optional},
                                   {"thumbnailPath", Kind::text, optional}});
}

TEST_CASE("every fact about an image is held to its kind, or the whole entry is rejected") {
    test::tryMembers<HelperEntry>(parseJSON(completeEntry), metadata,
                                  {{"pixelWidth", Kind::integer, required},
                                   {"pixelHeight", Kind::integer, required},
                                   {"pixelHash", Kind::text, optional},
                                   {"bitsPerComponent", Kind::integer, optional},
                                   {"hasAlpha", Kind::flag, optional},
                                   {"colorModel", Kind::text, optional},
                                   {"profileName", Kind::text, optional},
                                   {"orientation", Kind::integer, optional},
                                   {"frameCount", Kind::integer, optional},
                                   {"originalUTI", Kind::text, required},
                                   {"isOriginalFile", Kind::flag, required},
                                   {"isBitExact", Kind::flag, required},
                                   {"conversion", Kind::text, optional}});
}

TEST_CASE("a fault in the last of many items fails the whole entry") {
    json entry = parseJSON(completeEntry);
    for (int count = 0; count < 5; ++count) entry["items"].push_back(entry["items"][0]);
    REQUIRE(isRead<HelperEntry>(entry));
    entry["items"][5]["representations"][0]["imageMetadata"]["pixelWidth"] = "1920";
    CHECK_FALSE(isRead<HelperEntry>(entry));
}

TEST_CASE("items and representations keep their order") {
    json entry = parseJSON(completeEntry);
    for (std::size_t index = 0; index < 3; ++index) {
        entry["items"][index] = entry["items"][0];
        entry["items"][index]["index"] = 10 - index;
        json& representations = entry["items"][index]["representations"];
        for (std::size_t other = 0; other < 3; ++other) {
            representations[other] = representations[0];
            representations[other]["byteCount"] = 100 - other;
        }
    }
    CHECK(parseJSON(encoded(record::decode<HelperEntry>(entry))) == entry);
}

TEST_CASE("a representation without image facts has no such key") {
    CHECK(encoded(representation(11, std::nullopt)) ==
          R"({"id":"3D5F7B91-2C4E-4A6D-8E0F-1B2C3D4E5F60","uti":"public.png","byteCount":11,)"
          R"("isOriginalRepresentation":false})");
}

TEST_CASE("image facts without a single optional one hold the required ones and nothing else") {
    const std::string facts = R"({"pixelWidth":1,"pixelHeight":2,"originalUTI":"public.png",)"
                              R"("isOriginalFile":true,"isBitExact":false})";
    CHECK(encoded(plainMetadata()) == facts);
    CHECK(decoded<HelperImageMetadata>(facts) == plainMetadata());
    CHECK(encoded(representation(11, plainMetadata())) ==
          R"({"id":"3D5F7B91-2C4E-4A6D-8E0F-1B2C3D4E5F60","uti":"public.png","byteCount":11,)"
          R"("isOriginalRepresentation":false,"imageMetadata":)" +
              facts + "}");
}

TEST_CASE("an alpha channel that is null or missing is unknown") {
    json facts = parseJSON(encoded(completeMetadata()));
    CHECK(record::decode<HelperImageMetadata>(facts).hasAlpha == false);
    facts["hasAlpha"] = true;
    CHECK(record::decode<HelperImageMetadata>(facts).hasAlpha == true);
    facts["hasAlpha"] = nullptr;
    CHECK_FALSE(record::decode<HelperImageMetadata>(facts).hasAlpha.has_value());
    facts.erase("hasAlpha");
    CHECK_FALSE(record::decode<HelperImageMetadata>(facts).hasAlpha.has_value());
}

TEST_CASE("image facts that do not say whether they are bit for bit the original are rejected") {
    json facts = parseJSON(encoded(plainMetadata()));
    facts.erase("isBitExact");
    CHECK_FALSE(isRead<HelperImageMetadata>(facts));
}

TEST_CASE("a size keeps all of its 64 bits") {
    for (const std::int64_t byteCount :
         {std::int64_t{0}, std::int64_t{-1}, std::int64_t{2147483648}, std::int64_t{4294967297},
          std::int64_t{9007199254740993}, std::numeric_limits<std::int64_t>::max(),
          std::numeric_limits<std::int64_t>::min()}) {
        const HelperRepresentation one = representation(byteCount, std::nullopt);
        const std::string text = encoded(one);
        CAPTURE(text);
        CHECK(text.find("\"byteCount\":" + std::to_string(byteCount) + ",") != std::string::npos);
        CHECK(decoded<HelperRepresentation>(text).byteCount == byteCount);
    }
}

TEST_CASE("an integer may be written with a fraction of nothing or an exponent") {
    for (const auto& row : {std::pair{"1024.0", 1024}, {"1e3", 1000}, {"-0.0", 0}}) {
        CAPTURE(row.first);
        const std::string text = R"({"id":"0C8E6A52-7F31-4B9D-A1C4-5E2D3F6B7A80","index":)" +
                                 std::string(row.first) + R"(,"representations":[]})";
        CHECK(decoded<HelperClipboardItem>(text).index == row.second);
    }
}

TEST_CASE("an entry without items and an item without representations stay as they are") {
    const std::string withoutItems = R"({"id":"9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C",)"
                                     R"("createdAt":-0.5,"primaryKind":"","items":[]})";
    CHECK(encoded(decoded<HelperEntry>(withoutItems)) == withoutItems);
    CHECK(decoded<HelperEntry>(withoutItems).items.empty());

    const std::string withoutRepresentations =
        R"({"id":"9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C","createdAt":0.0,"primaryKind":"text",)"
        R"("items":[{"id":"0C8E6A52-7F31-4B9D-A1C4-5E2D3F6B7A80","index":0,)"
        R"("representations":[]}]})";
    CHECK(encoded(decoded<HelperEntry>(withoutRepresentations)) == withoutRepresentations);
}

TEST_CASE("an identifier in lower or mixed case is written in upper case") {
    for (const char* text :
         {"9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c", "9b2F4C1e-3A7d-4f5B-8c6E-2d1A0F9e8B7c"}) {
        CAPTURE(text);
        const auto entry = record::decode<HelperEntry>(changed("/id", text));
        CHECK(entry.id == uuid(entryID));
        CHECK(encoded(entry) == completeEntry);
    }
    const json lower =
        changed("/items/0/representations/0/id", "3d5f7b91-2c4e-4a6d-8e0f-1b2c3d4e5f60");
    CHECK(encoded(record::decode<HelperEntry>(lower)) == completeEntry);
}

TEST_CASE("a date may be a whole number and may lie before the epoch") {
    CHECK(record::decode<HelperEntry>(changed("/createdAt", 7)).createdAt ==
          Date(Date::duration(7)));
    CHECK(record::decode<HelperEntry>(changed("/createdAt", -1.25)).createdAt ==
          Date(Date::duration(-1.25)));
}

TEST_CASE("an entry is an object and nothing else") {
    for (const json& value : {json::array(), json("text"), json(7), json(true), json()}) {
        CAPTURE(value.dump());
        CHECK_FALSE(isRead<HelperEntry>(value));
    }
}
