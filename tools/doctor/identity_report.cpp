#include "tools/doctor/identity_report.h"

#include <algorithm>
#include <exception>
#include <string_view>

#include <unistd.h>

#include "support/absolute_path.h"
#include "support/descriptor_io.h"
#include "support/json.h"
#include "support/utf8.h"
#include "tools/doctor/file_explanation.h"
#include "tools/doctor/identity_text.h"
#include "tools/doctor/terminal.h"

namespace sorvane::doctor {

namespace {

using nlohmann::json;

// Fewer files are done before anybody waits.
constexpr std::size_t fewFiles = 3;

/// A line that is overwritten with each state, and erased at the end.
class Progress {
  public:
    explicit Progress(std::size_t total)
        : total_(total), shown_(total > fewFiles && isTerminal(STDERR_FILENO)) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() {
        if (shown_) writeAll(STDERR_FILENO, "\r\x1b[K");
    }

    void next() {
        ++done_;
        if (shown_)
            writeAll(STDERR_FILENO,
                     "\r\x1b[Kfile " + std::to_string(done_) + " of " + std::to_string(total_));
    }

  private:
    std::size_t total_;
    std::size_t done_ = 0;
    bool shown_;
};

json fileReport(const std::string& file) {
    json report;
    try {
        report = explainFile(absolutePath(file));
    } catch (const std::exception& failure) {
        report["error"] = utf8::repaired(failure.what());
    }
    report["file"] = utf8::repaired(file);
    return report;
}

std::string indented(const std::string& line) { return "  " + utf8::oneLine(line) + '\n'; }

std::string fileText(const json& report) {
    std::string result = utf8::oneLine(text(report, "file")) + '\n';
    if (const auto error = textMember(report, "error"))
        return result + indented("cannot be read: " + std::string(*error));
    const auto width = integerMember(report, "width");
    const auto height = integerMember(report, "height");
    if (const auto format = textMember(report, "format"); format && width && height)
        result += indented(std::string(*format) + ", declared " + std::to_string(*width) + " x " +
                           std::to_string(*height) + ", orientation " +
                           std::to_string(integerMember(report, "orientation").value_or(1)) +
                           ", colour: " + text(report, "colour"));
    else if (format)
        result += indented(std::string(*format));
    result += indented(identityText(report.at("identity")));
    if (const auto reason = textMember(report, "reason"))
        result += indented("no pixel digest: " + std::string(*reason));
    return result;
}

} // namespace

json identityReport(const std::vector<std::string>& files) {
    Progress progress(files.size());
    json reports = json::array();
    for (const std::string& file : files) {
        progress.next();
        reports.push_back(fileReport(file));
    }
    return {{"files", std::move(reports)}};
}

std::string identityReportText(const json& report) {
    std::string result;
    for (const json& file : report.at("files")) result += fileText(file);
    return result;
}

bool isComplete(const json& report) {
    return std::ranges::none_of(
        report.at("files"), [](const json& file) { return anyMember(file, "error") != nullptr; });
}

} // namespace sorvane::doctor
