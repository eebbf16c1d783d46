#include "tools/doctor/report.h"

#include <algorithm>

#include "support/utf8.h"

namespace sorvane::doctor {

namespace {

// What is shorter is no credential, and might be a part of any word.
constexpr std::size_t minSecret = 8;
constexpr std::size_t statusWidth = 11;
constexpr std::size_t checkWidth = 15;

std::string_view colourOf(Status status) {
    switch (status) {
    case Status::ok:
        return "\x1b[32m";
    case Status::warning:
        return "\x1b[33m";
    case Status::failed:
        return "\x1b[31m";
    case Status::unknown:
        break;
    }
    return "\x1b[36m";
}

std::string padded(std::string_view text, std::size_t width) {
    std::string result(text);
    result.resize(std::max(width, text.size() + 1), ' ');
    return result;
}

} // namespace

std::string_view word(Status status) {
    switch (status) {
    case Status::ok:
        return "ok";
    case Status::warning:
        return "warning";
    case Status::failed:
        return "failed";
    case Status::unknown:
        break;
    }
    return "not known";
}

void Report::conceal(std::string secret) {
    // A line feed at its end would keep it from being found in a line.
    while (!secret.empty() && (secret.back() == '\n' || secret.back() == '\r')) secret.pop_back();
    if (secret.size() >= minSecret) secrets_.push_back(std::move(secret));
}

void Report::add(const Section& section) { sections_.push_back(section); }

bool Report::isWell() const {
    return std::ranges::none_of(sections_, [](const Section& section) {
        return std::ranges::any_of(section.findings, [](const Finding& finding) {
            return finding.status == Status::failed;
        });
    });
}

std::string Report::shown(std::string text) const {
    constexpr std::string_view instead = "(credential)";
    for (const std::string& secret : secrets_)
        for (auto found = text.find(secret); found != text.npos;
             found = text.find(secret, found + instead.size()))
            text.replace(found, secret.size(), instead);
    return utf8::oneLine(text);
}

std::string Report::text(bool colour) const {
    std::string text;
    for (const Section& section : sections_) {
        if (!text.empty()) text += '\n';
        text += shown(section.title) + '\n';
        for (const Finding& finding : section.findings) {
            const std::string status = padded(word(finding.status), statusWidth);
            text += "  ";
            text += colour ? std::string(colourOf(finding.status)) + status + "\x1b[0m" : status;
            text += padded(shown(finding.check), checkWidth) + shown(finding.text) + '\n';
            const std::string indent(2 + statusWidth, ' ');
            if (!finding.remedy.empty()) text += indent + "> " + shown(finding.remedy) + '\n';
            if (!finding.command.empty()) text += indent + "$ " + shown(finding.command) + '\n';
            if (!finding.entry.empty()) text += indent + "  " + shown(finding.entry) + '\n';
        }
    }
    return text;
}

nlohmann::json Report::json() const {
    nlohmann::json sections = nlohmann::json::array();
    for (const Section& section : sections_) {
        nlohmann::json findings = nlohmann::json::array();
        for (const Finding& finding : section.findings) {
            nlohmann::json object = {{"check", shown(finding.check)},
                                     {"status", word(finding.status)},
                                     {"text", shown(finding.text)}};
            if (!finding.remedy.empty()) object["remedy"] = shown(finding.remedy);
            if (!finding.command.empty()) object["command"] = shown(finding.command);
            if (!finding.entry.empty()) object["entry"] = shown(finding.entry);
            findings.push_back(std::move(object));
        }
        sections.push_back({{"title", shown(section.title)}, {"findings", std::move(findings)}});
    }
    return {{"well", isWell()}, {"sections", std::move(sections)}};
}

} // namespace sorvane::doctor
