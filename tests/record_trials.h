#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/json.h"
#include "support/record.h"

/// What every record has to keep, tried member by member against a table of the test's own.
namespace sorvane::test {

enum class Kind { text, flag, integer, integer32, date, uuid, list, object };

struct Member {
    const char* key;
    Kind kind;
    bool isRequired;
};

inline constexpr bool required = true;
inline constexpr bool optional = false;

template<record::Described Record>
std::string encoded(const Record& value) {
    std::string text;
    record::append(text, value);
    return text;
}

template<record::Described Record>
Record decoded(std::string_view text) {
    return record::decode<Record>(parseJSON(text));
}

template<record::Described Record>
bool isRead(const nlohmann::json& value) {
    try {
        record::decode<Record>(value);
    } catch (const record::DecodingError&) {
        return false;
    }
    return true;
}

/// Values that look like one of a kind, and are none.
inline std::vector<nlohmann::json> nearMisses(Kind kind) {
    const nlohmann::json list = nlohmann::json::array();
    const nlohmann::json object = nlohmann::json::object();
    switch (kind) {
    case Kind::text:
        return {7, 1.5, true, list, object, nlohmann::json::array({"text"})};
    case Kind::flag:
        return {0, 1, 1.0, "true", "", list, object, nlohmann::json::array({true})};
    case Kind::integer:
        return {1.5, true, "7", "", list, object, 9223372036854775808U, 1e19, -1e19};
    case Kind::integer32:
        return {1.5, true, "7", "", list, object, 1e10, 2147483648, 4294967297, -2147483649LL};
    case Kind::date:
        return {true, "816919895.25", "2026-11-21T02:31:35Z", "", list, object};
    case Kind::uuid:
        return {7,
                true,
                "",
                "x",
                list,
                object,
                "9B2F4C1E3A7D4F5B8C6E2D1A0F9E8B7C",
                "{9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C}",
                "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7",
                "9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7G"};
    case Kind::list:
        return {"text",
                7,
                true,
                object,
                nlohmann::json::array({7}),
                nlohmann::json::array({nullptr}),
                nlohmann::json::array({"text"})};
    case Kind::object:
        return {"text", 7, true, list, object};
    }
    return {};
}

/// Tries the members of the object at a JSON pointer within a whole document: a required one must
/// be there, an optional one may be missing or null and is then absent; one of another kind is
/// rejected in either case; and what nobody knows is ignored.
template<record::Described Record>
void tryMembers(const nlohmann::json& whole, const std::string& pointer,
                const std::vector<Member>& members) {
    const nlohmann::json::json_pointer at(pointer);
    REQUIRE(isRead<Record>(whole));
    CHECK(whole.at(at).size() == members.size());
    const auto changed = [&](const char* key, const nlohmann::json& value) {
        nlohmann::json result = whole;
        result.at(at)[key] = value;
        return result;
    };

    for (const Member& member : members) {
        CAPTURE(member.key);
        nlohmann::json without = whole;
        REQUIRE(without.at(at).erase(member.key) == 1);
        CHECK(isRead<Record>(without) == !member.isRequired);
        const nlohmann::json null = changed(member.key, nullptr);
        CHECK(isRead<Record>(null) == !member.isRequired);
        if (!member.isRequired) {
            CHECK(parseJSON(encoded(record::decode<Record>(without))) == without);
            CHECK(parseJSON(encoded(record::decode<Record>(null))) == without);
        }
        for (const nlohmann::json& value : nearMisses(member.kind)) {
            CAPTURE(value.dump());
            CHECK_FALSE(isRead<Record>(changed(member.key, value)));
        }
    }

    const nlohmann::json further = changed("anotherMember", {{"of", "later days"}});
    CHECK(parseJSON(encoded(record::decode<Record>(further))) == whole);
}

/// Whether a member of a record that is not itself constant can be given another value.
template<class Record, class Value>
constexpr bool isMutable(Value Record::*) {
    using Access = decltype(std::declval<Record&>().*std::declval<Value Record::*>());
    return std::is_assignable_v<Access, std::remove_const_t<Value>>;
}

/// Whether nothing of a record can change once it is made: no member, nor all of them at once.
template<record::Described Record>
constexpr bool isImmutable() {
    const bool hasMutableMember = std::apply(
        [](const auto&... field) { return (isMutable(field.member) || ...); }, Record::fields());
    return !hasMutableMember && !std::is_copy_assignable_v<Record> &&
           !std::is_move_assignable_v<Record>;
}

} // namespace sorvane::test
