#pragma once

#include <string>
#include <tuple>

#include "support/date.h"
#include "support/record.h"

namespace sorvane::test {

/// A record to be written and read.
struct Note {
    const std::string text;
    const Date writtenAt = {};

    static constexpr auto fields() {
        return std::tuple{record::field("text", &Note::text),
                          record::field("writtenAt", &Note::writtenAt)};
    }
    bool operator==(const Note&) const = default;
};

} // namespace sorvane::test
