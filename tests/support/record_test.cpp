#include "support/record.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

using namespace sorvane;
using nlohmann::json;

namespace {

struct Corner {
    const std::int64_t x;
    const std::optional<std::int64_t> y;

    static constexpr auto fields() {
        return std::tuple{record::field("x", &Corner::x), record::field("y", &Corner::y)};
    }
    bool operator==(const Corner&) const = default;
};

struct Drawing {
    const std::string title;
    const bool visible;
    const std::int32_t layer;
    const std::int64_t size;
    const Date madeAt;
    const Uuid id;
    const Corner origin;
    const std::vector<Corner> corners;
    const std::vector<std::string> tags;
    const std::optional<std::string> note;
    const std::optional<bool> locked;
    const std::optional<Date> printedAt;
    const std::optional<Uuid> parent;
    const std::optional<Corner> centre;
    const std::optional<std::vector<std::int64_t>> steps;

    static constexpr auto fields() {
        return std::tuple{
            record::field("title", &Drawing::title),
            record::field("visible", &Drawing::visible),
            record::field("layer", &Drawing::layer),
            record::field("size", &Drawing::size),
            record::field("madeAt", &Drawing::madeAt),
            record::field("id", &Drawing::id),
            record::field("origin", &Drawing::origin),
            record::field("corners", &Drawing::corners),
            record::field("tags", &Drawing::tags),
            record::field("note", &Drawing::note),
            record::field("locked", &Drawing::locked),
            record::field("printedAt", &Drawing::printedAt),
            record::field("parent", &Drawing::parent),
            record::field("centre", &Drawing::centre),
            record::field("steps", &Drawing::steps),
        };
    }
    bool operator==(const Drawing&) const = default;
};

constexpr std::string_view uuidText = "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C";

Drawing plainDrawing() {
    return {"a/b",
            true,
            -7,
            1LL << 40,
            Date(Date::duration(700000000.25)),
            *Uuid::parse(uuidText),
            {1, {}},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {}};
}

Drawing fullDrawing() {
    return {"a/b",
            false,
            INT32_MIN,
            INT64_MAX,
            Date(Date::duration(-0.5)),
            *Uuid::parse(uuidText),
            {1, 2},
            {{3, {}}, {4, 5}},
            {"", "x/y"},
            "note",
            false,
            Date(Date::duration(0.125)),
            *Uuid::parse(uuidText),
            Corner{6, {}},
            std::vector<std::int64_t>{1, -2}};
}

template<class Record>
std::string textOf(const Record& value) {
    std::string text;
    record::append(text, value);
    return text;
}

json plainJSON() { return parseJSON(textOf(plainDrawing())); }

json with(json object, const std::string& key, json value) {
    object[key] = std::move(value);
    return object;
}

json without(json object, const std::string& key) {
    object.erase(key);
    return object;
}

// What a failed decode says, or nothing when the record is read.
template<class Record>
std::optional<std::string> fault(const json& value) {
    try {
        record::decode<Record>(value);
    } catch (const record::DecodingError& error) {
        return error.what();
    }
    return std::nullopt;
}

// Tables with a mistake, over members that make it hard to see: all of one type here.
enum class Mistake {
    none,
    firstForgotten,
    middleForgotten,
    lastForgotten,
    firstDoubled,
    lastDoubled,
    lastInPlaceOfMiddle,
    neighboursSwapped,
    endsSwapped,
    keyDoubled,
    distantKeyDoubled
};

template<Mistake mistake>
struct Texts {
    std::string first;
    std::string middle;
    std::string last;

    static constexpr auto fields() {
        constexpr auto a = record::field("first", &Texts::first);
        constexpr auto b = record::field("middle", &Texts::middle);
        constexpr auto c = record::field("last", &Texts::last);
        if constexpr (mistake == Mistake::none) return std::tuple{a, b, c};
        if constexpr (mistake == Mistake::firstForgotten) return std::tuple{b, c};
        if constexpr (mistake == Mistake::middleForgotten) return std::tuple{a, c};
        if constexpr (mistake == Mistake::lastForgotten) return std::tuple{a, b};
        if constexpr (mistake == Mistake::firstDoubled) return std::tuple{a, a, b, c};
        if constexpr (mistake == Mistake::lastDoubled) return std::tuple{a, b, c, c};
        if constexpr (mistake == Mistake::lastInPlaceOfMiddle) return std::tuple{a, c, c};
        if constexpr (mistake == Mistake::neighboursSwapped) return std::tuple{a, c, b};
        if constexpr (mistake == Mistake::endsSwapped) return std::tuple{c, b, a};
        if constexpr (mistake == Mistake::keyDoubled)
            return std::tuple{a, record::field("first", &Texts::middle), c};
        if constexpr (mistake == Mistake::distantKeyDoubled)
            return std::tuple{a, b, record::field("first", &Texts::last)};
    }
};

static_assert(record::isComplete<Texts<Mistake::none>>());
static_assert(!record::isComplete<Texts<Mistake::firstForgotten>>());
static_assert(!record::isComplete<Texts<Mistake::middleForgotten>>());
static_assert(!record::isComplete<Texts<Mistake::lastForgotten>>());
static_assert(!record::isComplete<Texts<Mistake::firstDoubled>>());
static_assert(!record::isComplete<Texts<Mistake::lastDoubled>>());
static_assert(!record::isComplete<Texts<Mistake::lastInPlaceOfMiddle>>());
static_assert(!record::isComplete<Texts<Mistake::neighboursSwapped>>());
static_assert(!record::isComplete<Texts<Mistake::endsSwapped>>());
static_assert(!record::isComplete<Texts<Mistake::keyDoubled>>());
static_assert(!record::isComplete<Texts<Mistake::distantKeyDoubled>>());

// And members of which one builds from the other.
template<class First, class Second, Mistake mistake>
struct Two {
    const First first;
    const Second last;

    static constexpr auto fields() {
        constexpr auto a = record::field("first", &Two::first);
        constexpr auto b = record::field("last", &Two::last);
        if constexpr (mistake == Mistake::none) return std::tuple{a, b};
        if constexpr (mistake == Mistake::firstForgotten) return std::tuple{b};
        if constexpr (mistake == Mistake::lastForgotten) return std::tuple{a};
        if constexpr (mistake == Mistake::firstDoubled) return std::tuple{a, a};
        if constexpr (mistake == Mistake::lastDoubled) return std::tuple{b, b};
        if constexpr (mistake == Mistake::endsSwapped) return std::tuple{b, a};
        if constexpr (mistake == Mistake::keyDoubled)
            return std::tuple{a, record::field("first", &Two::last)};
    }
};

template<class First, class Second>
constexpr bool
    allMistakesShow = record::isComplete<Two<First, Second, Mistake::none>>() &&
                      !record::isComplete<Two<First, Second, Mistake::firstForgotten>>() &&
                      !record::isComplete<Two<First, Second, Mistake::lastForgotten>>() &&
                      !record::isComplete<Two<First, Second, Mistake::firstDoubled>>() &&
                      !record::isComplete<Two<First, Second, Mistake::lastDoubled>>() &&
                      !record::isComplete<Two<First, Second, Mistake::endsSwapped>>() &&
                      !record::isComplete<Two<First, Second, Mistake::keyDoubled>>();

static_assert(allMistakesShow<std::string, std::string>);
static_assert(allMistakesShow<std::string, std::optional<std::string>>);
static_assert(allMistakesShow<std::optional<std::string>, std::string>);
static_assert(allMistakesShow<std::optional<std::string>, std::optional<std::string>>);
static_assert(allMistakesShow<bool, std::int64_t>);
static_assert(allMistakesShow<std::int64_t, bool>);
static_assert(allMistakesShow<std::int32_t, std::int64_t>);
static_assert(allMistakesShow<std::int64_t, std::int32_t>);
static_assert(allMistakesShow<std::optional<std::int32_t>, std::optional<std::int64_t>>);
static_assert(allMistakesShow<std::optional<std::int64_t>, std::optional<std::int32_t>>);
static_assert(allMistakesShow<std::optional<bool>, std::optional<std::int64_t>>);
static_assert(allMistakesShow<std::optional<std::int64_t>, bool>);
static_assert(allMistakesShow<std::vector<std::string>, std::string>);
static_assert(allMistakesShow<std::vector<std::string>, std::optional<std::vector<std::string>>>);
static_assert(allMistakesShow<Date, std::optional<Date>>);
static_assert(allMistakesShow<Uuid, Uuid>);
static_assert(allMistakesShow<Corner, Corner>);
static_assert(allMistakesShow<std::int64_t, Corner>);
static_assert(allMistakesShow<Corner, std::optional<Corner>>);
static_assert(allMistakesShow<std::vector<Corner>, Corner>);

// What may not change after construction cannot be assigned, one by one or as a whole.
static_assert(!std::is_assignable_v<decltype((std::declval<Corner&>().x)), std::int64_t>);
static_assert(!std::is_copy_assignable_v<Corner>);
static_assert(!std::is_move_assignable_v<Corner>);
static_assert(std::is_copy_constructible_v<Corner>);

} // namespace

TEST_CASE("a record is written compactly, in the order of its table, without what is absent") {
    CHECK(
        textOf(plainDrawing()) ==
        R"({"title":"a\/b","visible":true,"layer":-7,"size":1099511627776,"madeAt":700000000.25,)"
        R"("id":"9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C","origin":{"x":1},"corners":[],"tags":[]})");
    CHECK(textOf(fullDrawing()) ==
          R"({"title":"a\/b","visible":false,"layer":-2147483648,"size":9223372036854775807,)"
          R"("madeAt":-0.5,"id":"9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C","origin":{"x":1,"y":2},)"
          R"("corners":[{"x":3},{"x":4,"y":5}],"tags":["","x\/y"],"note":"note","locked":false,)"
          R"("printedAt":0.125,"parent":"9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C",)"
          R"("centre":{"x":6},"steps":[1,-2]})");
}

TEST_CASE("a record without any value that is present is an empty object") {
    using Nothing = Two<std::optional<std::string>, std::optional<bool>, Mistake::none>;
    CHECK(textOf(Nothing{}) == "{}");
    CHECK(textOf(Nothing{{}, false}) == R"({"last":false})");
}

TEST_CASE("writing a record appends to what stands there") {
    std::string text = "before ";
    record::append(text, Corner{1, {}});
    CHECK(text == R"(before {"x":1})");
}

TEST_CASE("a record that was written is read back the same") {
    CHECK(record::decode<Drawing>(parseJSON(textOf(plainDrawing()))) == plainDrawing());
    CHECK(record::decode<Drawing>(parseJSON(textOf(fullDrawing()))) == fullDrawing());
}

TEST_CASE("a record that has no JSON form is rejected") {
    using Dated = Two<Date, std::string, Mistake::none>;
    CHECK_THROWS(textOf(Dated{Date(Date::duration(std::nan(""))), ""}));
    CHECK_THROWS(textOf(Dated{Date(Date::duration(HUGE_VAL)), ""}));
    CHECK_THROWS(textOf(Dated{Date(Date::duration(-HUGE_VAL)), ""}));
    CHECK_THROWS(textOf(Dated{Date(), "\xFF"}));
}

TEST_CASE("members are found by their keys, in whatever order they stand") {
    const auto corner = record::decode<Corner>(parseJSON(R"({"y":2,"x":1})"));
    CHECK(corner == Corner{1, 2});
}

TEST_CASE("keys that the record does not know are ignored") {
    json extended = with(plainJSON(), "colour", "red");
    extended = with(std::move(extended), "Title", json::object());
    extended = with(std::move(extended), "", nullptr);
    CHECK(record::decode<Drawing>(extended) == plainDrawing());
}

TEST_CASE("an optional member that is missing or null is absent") {
    for (const std::string key : {"note", "locked", "printedAt", "parent", "centre", "steps"}) {
        CAPTURE(key);
        CHECK(record::decode<Drawing>(with(plainJSON(), key, nullptr)) == plainDrawing());
        CHECK(record::decode<Drawing>(without(plainJSON(), key)) == plainDrawing());
    }
}

TEST_CASE("a required member that is missing or null fails the record and is named") {
    for (const std::string key :
         {"title", "visible", "layer", "size", "madeAt", "id", "origin", "corners", "tags"}) {
        CAPTURE(key);
        for (const json& value : {with(plainJSON(), key, nullptr), without(plainJSON(), key)}) {
            const auto told = fault<Drawing>(value);
            REQUIRE(told);
            CHECK(told->find(key) != std::string::npos);
        }
    }
}

TEST_CASE("a value of another kind fails the record and is named, in optional members too") {
    struct Row {
        std::string key;
        std::vector<json> values;
    };
    const json object = json::object({{"x", 1}});
    const json list = json::array({1});
    const std::vector<Row> rows = {
        {"title", {1, true, object, list}},
        {"note", {1, false, object, list}},
        {"visible", {0, 1, 1.0, "true", "", object, list}},
        {"locked", {0, 1, 1.0, "true", object, list}},
        {"layer",
         {true, "1", "", 0.5, -1.5, object, list, 2147483648, -2147483649, 2147483648.0, 1e300,
          UINT64_MAX}},
        {"size", {false, "1", 0.5, object, list, UINT64_MAX, 9.3e18, -9.3e18}},
        {"madeAt", {true, "700000000", "2023-03-08T20:26:40Z", object, list}},
        {"printedAt", {false, "0", "2001-01-01T00:00:00Z", object, list}},
        {"id",
         {1, true, object, list, "", "9B2F4C1E", "{9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C}",
          "9B2F4C1E3A7D4F5B8C6E2D1A0F9E8B7C"}},
        {"parent", {1, "", object, list, "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7G"}},
        {"origin", {1, "x", true, list, json::array({object})}},
        {"centre", {1, "x", false, json::array()}},
        {"corners", {1, "x", true, object, json::object()}},
        {"tags", {1, "x", true, object, json::object()}},
        {"steps", {1, "x", false, object, json::object()}},
        {"tags", {list, json::array({"a", nullptr}), json::array({"a", json::array({"b"})})}},
        {"steps", {json::array({1, 0.5}), json::array({true}), json::array({"1"})}},
    };
    for (const Row& row : rows) {
        for (const json& value : row.values) {
            CAPTURE(row.key);
            CAPTURE(value.dump());
            const auto told = fault<Drawing>(with(plainJSON(), row.key, value));
            REQUIRE(told);
            CHECK(told->find(row.key) != std::string::npos);
        }
    }
}

TEST_CASE("a fault within a nested record or a list of records fails the whole") {
    const json missing = json::object();
    const json wrong = json::object({{"x", true}});
    const json wrongOptional = json::object({{"x", 1}, {"y", "2"}});
    for (const json& corner : {missing, wrong, wrongOptional, json(nullptr), json(1)}) {
        CAPTURE(corner.dump());
        CHECK(fault<Drawing>(with(plainJSON(), "origin", corner)));
        CHECK(fault<Drawing>(
            with(plainJSON(), "corners", json::array({json::object({{"x", 1}}), corner}))));
    }
    CHECK(fault<Drawing>(with(plainJSON(), "centre", missing)));
}

TEST_CASE("integers are read by their value and must fit") {
    const auto layer = [](const json& value) {
        return record::decode<Drawing>(with(plainJSON(), "layer", value)).layer;
    };
    CHECK(layer(2147483647) == INT32_MAX);
    CHECK(layer(-2147483648LL) == INT32_MIN);
    CHECK(layer(1024.0) == 1024);
    CHECK(layer(parseJSON("[1e3]").at(0)) == 1000);
    CHECK(layer(-0.0) == 0);
    const auto size = [](const json& value) {
        return record::decode<Drawing>(with(plainJSON(), "size", value)).size;
    };
    CHECK(size(2147483648LL) == 2147483648LL);
    CHECK(size(INT64_MIN) == INT64_MIN);
}

TEST_CASE("a date is read from any number of seconds") {
    const auto madeAt = [](const json& value) {
        return record::decode<Drawing>(with(plainJSON(), "madeAt", value))
            .madeAt.time_since_epoch()
            .count();
    };
    CHECK(madeAt(0) == 0.0);
    CHECK(madeAt(-1) == -1.0);
    CHECK(madeAt(700000000) == 700000000.0);
    CHECK(madeAt(0.1) == 0.1);
    CHECK(madeAt(parseJSON("[7e8]").at(0)) == 7e8);
}

TEST_CASE("a UUID is read in either case and written in upper case") {
    const auto drawing =
        record::decode<Drawing>(with(plainJSON(), "id", "9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c"));
    CHECK(drawing.id == *Uuid::parse(uuidText));
    CHECK(parseJSON(textOf(drawing)).at("id") == uuidText);
}

TEST_CASE("what is not an object is no record") {
    for (const json& value : {json(nullptr), json(true), json(1), json("x"), json::array(),
                              json::array({json::object({{"x", 1}})})}) {
        CAPTURE(value.dump());
        CHECK(fault<Corner>(value));
    }
}
