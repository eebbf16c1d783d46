#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/doctor/finding.h"

namespace sorvane::doctor {

/// The findings of a run in their order, safe to show: a secret is shown as "(credential)" wherever
/// a foreign file has put it, and every text is one line.
class Report {
  public:
    /// Texts shorter than 8 bytes are no secret and stay.
    void conceal(std::string secret);

    void add(const Section& section);

    /// Whether nothing needs doing: warnings and what is not known aside.
    bool isWell() const;

    /// One line a check, and below it what to do.
    std::string text(bool colour) const;

    /// docs/doctor.md names the keys.
    nlohmann::json json() const;

  private:
    std::string shown(std::string text) const;

    std::vector<std::string> secrets_;
    std::vector<Section> sections_;
};

/// The word of a status, in text and in JSON.
std::string_view word(Status status);

} // namespace sorvane::doctor
