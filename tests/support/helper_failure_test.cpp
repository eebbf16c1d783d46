#include "support/helper_failure.h"

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane;

TEST_CASE("the description is the prefix of the kind and the message as it stands") {
    struct Row {
        HelperFailure failure;
        std::string description;
    };
    const std::vector<Row> rows = {
        {HelperFailure::invalidArguments("Agent identity is required."),
         "Invalid arguments: Agent identity is required."},
        {HelperFailure::invalidArguments(""), "Invalid arguments: "},
        {HelperFailure::invalidRequest("Client credential is invalid."),
         "Invalid pairing request: Client credential is invalid."},
        {HelperFailure::invalidRequest(""), "Invalid pairing request: "},
        {HelperFailure::configuration("Could not restrict permissions for a.json."),
         "Agent configuration failed: Could not restrict permissions for a.json."},
        {HelperFailure::configuration(""), "Agent configuration failed: "},
        {HelperFailure::unavailable("Tandem Link did not respond."),
         "Tandem Link did not respond."},
        {HelperFailure::unavailable(""), ""},
        {HelperFailure::denied(), "The Sorvane pairing request was denied."},
        {HelperFailure::timedOut(), "The Sorvane pairing request timed out."},
        {HelperFailure::invalidArguments(" a\n\"b\" 'c' \\ %s \t"),
         "Invalid arguments:  a\n\"b\" 'c' \\ %s \t"},
        {HelperFailure::unavailable("\n"), "\n"},
        {HelperFailure::unavailable("caf\u00E9 \xFF"), "caf\u00E9 \xFF"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.description);
        CHECK(row.failure.errorDescription() == row.description);
        CHECK(std::string(row.failure.what()) == row.description);
    }
}

TEST_CASE("a failure tells its kind and the message that it was made with") {
    using Kind = HelperFailure::Kind;
    struct Row {
        HelperFailure failure;
        Kind kind;
        std::string message;
    };
    const std::vector<Row> rows = {
        {HelperFailure::invalidArguments("a"), Kind::invalidArguments, "a"},
        {HelperFailure::invalidRequest("b: c\n"), Kind::invalidRequest, "b: c\n"},
        {HelperFailure::configuration(""), Kind::configuration, ""},
        {HelperFailure::unavailable("Agent configuration failed: d"), Kind::unavailable,
         "Agent configuration failed: d"},
        {HelperFailure::denied(), Kind::denied, ""},
        {HelperFailure::timedOut(), Kind::timedOut, ""},
    };
    for (const Row& row : rows) {
        CAPTURE(row.failure.errorDescription());
        CHECK(row.failure.kind() == row.kind);
        CHECK(row.failure.message() == row.message);
    }
}

TEST_CASE("failures are equal when kind and message are") {
    const auto all = [] {
        return std::vector<HelperFailure>{
            HelperFailure::invalidArguments(""),
            HelperFailure::invalidArguments("a"),
            HelperFailure::invalidRequest(""),
            HelperFailure::invalidRequest("a"),
            HelperFailure::configuration(""),
            HelperFailure::configuration("a"),
            HelperFailure::unavailable(""),
            HelperFailure::unavailable("a"),
            // The same texts as failures of other kinds.
            HelperFailure::unavailable("Invalid arguments: a"),
            HelperFailure::unavailable("The Sorvane pairing request was denied."),
            HelperFailure::unavailable("The Sorvane pairing request timed out."),
            HelperFailure::denied(),
            HelperFailure::timedOut(),
        };
    };
    const auto left = all();
    const auto right = all();
    for (std::size_t one = 0; one < left.size(); ++one)
        for (std::size_t other = 0; other < right.size(); ++other) {
            CAPTURE(left[one].errorDescription());
            CAPTURE(right[other].errorDescription());
            CHECK((left[one] == right[other]) == (one == other));
        }
}

TEST_CASE("a failure is caught as an exception and keeps its text in copies") {
    std::string text;
    try {
        const HelperFailure original = HelperFailure::invalidRequest("a");
        HelperFailure copy = HelperFailure::denied();
        copy = original;
        CHECK(copy == original);
        throw HelperFailure(copy);
    } catch (const std::exception& failure) {
        text = failure.what();
    }
    CHECK(text == "Invalid pairing request: a");
}
