#pragma once

#include <concepts>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/date.h"
#include "support/json.h"
#include "support/uuid.h"

/// Records are plain aggregates that say their fields once, in declaration order:
///
///     struct Point {
///         const std::int64_t x;
///         std::optional<std::string> label;
///
///         static constexpr auto fields() {
///             return std::tuple{record::field("x", &Point::x),
///                               record::field("label", &Point::label)};
///         }
///     };
///
/// Reader and writer both walk that table; a forgotten, doubled or misplaced field does not
/// compile. A field is a text, a flag, an integer, a date (seconds, see date.h), a UUID (written in
/// upper case), an enumeration (see `Named`), a record, or a list of these. `std::optional` is the
/// only mark of optional: left out when empty, absent when missing or null. Every other field is
/// required. Unknown keys are ignored. What may not change after construction is a `const` member.
namespace sorvane::record {

/// A record that cannot be read: a required key is missing, or a value is of another kind or is an
/// integer that does not fit the member. The text names the key.
class DecodingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

template<class Record, class Member>
struct Field {
    std::string_view key;
    Member Record::*member;
};

template<class Record, class Member>
constexpr Field<Record, Member> field(std::string_view key, Member Record::*member) {
    return {key, member};
}

template<class T>
concept Described = requires {
    T::fields();
};

/// An enumeration that is stored as a text. A function `texts` beside the type, called with any of
/// its values, returns the texts of all of them, in the order of the values from 0.
template<class T>
concept Named = std::is_enum_v<T> && requires(T value) {
    texts(value);
};

template<Named Enum>
constexpr std::string_view text(Enum value) {
    return texts(value)[static_cast<std::size_t>(value)];
}

/// The value whose text this is, exactly; nothing when there is none.
template<Named Enum>
constexpr std::optional<Enum> named(std::string_view text) {
    const auto all = texts(Enum{});
    for (std::size_t index = 0; index < all.size(); ++index)
        if (all[index] == text) return static_cast<Enum>(index);
    return std::nullopt;
}

/// Whether the table of `Record` holds each member exactly once, in declaration order, under
/// different keys.
template<Described Record>
constexpr bool isComplete();

/// Appends a record as compact JSON, in the order of its table. Throws as `appendJSON` does, for a
/// date that is not finite and a text that is not UTF-8.
template<class T>
void append(std::string& text, const T& value);

/// Reads a record from its JSON value. Throws DecodingError.
template<Described Record>
Record decode(const nlohmann::json& json);

namespace detail {

template<class T>
inline constexpr bool isOptional = false;
template<class T>
inline constexpr bool isOptional<std::optional<T>> = true;
template<class T>
inline constexpr bool isList = false;
template<class T>
inline constexpr bool isList<std::vector<T>> = true;

// Memory for a record that is never constructed: only its members' addresses are compared.
template<class Record>
union Uninitialized {
    constexpr Uninitialized() : nothing() {}
    constexpr ~Uninitialized() {} // NOLINT(modernize-use-equals-default): that would be deleted
    char nothing;
    Record record;
};

// Converts to exactly this type, so that an optional member does not pass for its element.
template<class T>
struct Placeholder {
    // Never called, but a type without linkage wants a definition.
    operator T() const { throw std::logic_error("for unevaluated expressions only"); }
};

// Fields of different types need no comparison: in another order the aggregate would not compile.
template<class Record, class Left, class Right>
constexpr bool isBefore(const Field<Record, Left>& left, const Field<Record, Right>& right) {
    if constexpr (std::same_as<std::remove_const_t<Left>, std::remove_const_t<Right>>) {
        const Uninitialized<Record> memory;
        const Left* first = &(memory.record.*left.member);
        const Right* second = &(memory.record.*right.member);
        return first < second;
    }
    return true;
}

// Whether each member is declared before those of all fields after it, and no key is repeated.
constexpr bool areInOrder() { return true; }

template<class First, class... Rest>
constexpr bool areInOrder(const First& first, const Rest&... rest) {
    return ((isBefore(first, rest) && first.key != rest.key) && ...) && areInOrder(rest...);
}

template<class Record, class... Members>
constexpr bool isComplete(const std::tuple<Field<Record, Members>...>& table) {
    constexpr bool builds = requires { Record{Placeholder<std::remove_const_t<Members>>()...}; };
    constexpr bool takesMore = requires {
        Record{Placeholder<std::remove_const_t<Members>>()..., {}};
    };
    if (!builds || takesMore) return false;
    return std::apply([](const auto&... fields) { return areInOrder(fields...); }, table);
}

template<Described Record>
constexpr auto tableOf() {
    static_assert(record::isComplete<Record>(), "a field is forgotten, doubled or misplaced");
    return Record::fields();
}

[[noreturn]] inline void fail(std::string_view key, std::string_view fault) {
    throw DecodingError("\"" + std::string(key) + "\" " + std::string(fault));
}

template<class T>
T value(const nlohmann::json& json, std::string_view key) {
    if constexpr (Described<T>) {
        if (!json.is_object()) fail(key, "is not a record");
        return decode<T>(json);
    } else if constexpr (isList<T>) {
        if (!json.is_array()) fail(key, "is not a list");
        T list;
        list.reserve(json.size());
        for (const nlohmann::json& element : json)
            list.push_back(value<typename T::value_type>(element, key));
        return list;
    } else if constexpr (std::same_as<T, std::string>) {
        if (!json.is_string()) fail(key, "is not a text");
        return json.get<std::string>();
    } else if constexpr (std::same_as<T, bool>) {
        if (!json.is_boolean()) fail(key, "is not a flag");
        return json.get<bool>();
    } else if constexpr (std::same_as<T, Date>) {
        if (!json.is_number()) fail(key, "is not a date in seconds");
        return Date(Date::duration(json.get<double>()));
    } else if constexpr (std::same_as<T, Uuid>) {
        const auto uuid = json.is_string() ? Uuid::parse(json.get<std::string>()) : std::nullopt;
        if (!uuid) fail(key, "is not a UUID");
        return *uuid;
    } else if constexpr (Named<T>) {
        const auto one = json.is_string() ? named<T>(json.get<std::string>()) : std::nullopt;
        if (!one) fail(key, "is not one of its texts");
        return *one;
    } else {
        static_assert(std::signed_integral<T>);
        const auto integer = integerValue(json);
        if (!integer || !std::in_range<T>(*integer)) fail(key, "is not an integer that fits");
        return static_cast<T>(*integer);
    }
}

template<class Record, class Member>
std::remove_const_t<Member> memberValue(const nlohmann::json& json,
                                        const Field<Record, Member>& field) {
    using T = std::remove_const_t<Member>;
    const nlohmann::json* found = anyMember(json, field.key);
    if constexpr (isOptional<T>) {
        if (found == nullptr || found->is_null()) return std::nullopt;
        return value<typename T::value_type>(*found, field.key);
    } else {
        if (found == nullptr) fail(field.key, "is missing");
        return value<T>(*found, field.key);
    }
}

template<class Record, class Member>
void appendMember(std::string& text, const Record& record, const Field<Record, Member>& field) {
    const Member& value = record.*field.member;
    if constexpr (isOptional<std::remove_const_t<Member>>) {
        if (!value) return;
    }
    if (text.back() != '{') text += ',';
    appendJSON(text, field.key);
    text += ':';
    if constexpr (isOptional<std::remove_const_t<Member>>)
        append(text, *value);
    else
        append(text, value);
}

} // namespace detail

template<Described Record>
constexpr bool isComplete() {
    return detail::isComplete(Record::fields());
}

template<class T>
void append(std::string& text, const T& value) {
    if constexpr (Described<T>) {
        text += '{';
        std::apply([&](const auto&... field) { (detail::appendMember(text, value, field), ...); },
                   detail::tableOf<T>());
        text += '}';
    } else if constexpr (detail::isList<T>) {
        text += '[';
        for (const auto& element : value) {
            if (text.back() != '[') text += ',';
            append(text, element);
        }
        text += ']';
    } else if constexpr (std::same_as<T, Date>) {
        appendJSON(text, value.time_since_epoch().count());
    } else if constexpr (std::same_as<T, Uuid>) {
        appendJSON(text, value.upperText());
    } else if constexpr (Named<T>) {
        appendJSON(text, record::text(value));
    } else {
        appendJSON(text, value);
    }
}

template<Described Record>
Record decode(const nlohmann::json& json) {
    if (!json.is_object()) throw DecodingError("a record is not an object");
    return std::apply(
        [&json](const auto&... field) { return Record{detail::memberValue(json, field)...}; },
        detail::tableOf<Record>());
}

} // namespace sorvane::record
