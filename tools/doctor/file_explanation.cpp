#include "tools/doctor/file_explanation.h"

#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>

#include "identity/decoder_process.h"
#include "identity/decoder_program.h"
#include "identity/file_identity.h"
#include "identity/image_formats.h"
#include "support/file_reader.h"
#include "support/json.h"
#include "support/utf8.h"

namespace sorvane::doctor {

namespace {

using nlohmann::json;

constexpr std::size_t pieceSize = 131'072;

constexpr std::string_view noAnswer =
    "the decoder ended without a word: it is missing, or it took more than 10 seconds or more "
    "memory than it may";

// What the decoder says of the file, or a reason of our own. This decoding may end otherwise than
// the one for the identity: the file may have changed, or memory may be short.
std::string decoderExplanation(const std::filesystem::path& file) {
    FileReader reader(file);
    std::string piece(pieceSize, '\0');
    std::size_t count = reader.read(std::span(piece));
    const auto program = decoderProgramFor(std::string_view(piece).substr(0, count));
    if (!program)
        return count == 0 ? "reason the file is empty\n" : "reason no image format that is known\n";
    DecoderProcess decoder(*program, DecoderProcess::Clock::time_point::max(), {"explain"});
    for (; count != 0; count = reader.read(std::span(piece)))
        decoder.write(std::string_view(piece).substr(0, count));
    return decoder.text(maxExplanation).value_or("reason " + std::string(noAnswer) + '\n');
}

void addExplanation(json& members, const std::string& explanation) {
    std::istringstream lines(explanation);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.find(' ');
        if (blank == line.npos) continue;
        const std::string key = line.substr(0, blank);
        const std::string value = utf8::repaired(line.substr(blank + 1));
        std::istringstream numbers(value);
        std::int64_t first = 0;
        std::int64_t second = 0;
        if (key == "size" && numbers >> first >> second) {
            members["width"] = first;
            members["height"] = second;
        } else if (key == "orientation" && numbers >> first) {
            members["orientation"] = first;
        } else if (key == "format" || key == "colour" || key == "reason") {
            members[key] = value;
        }
    }
}

} // namespace

std::string reasonIn(const std::string& explanation) {
    json members = json::object();
    addExplanation(members, explanation);
    return members.value("reason", "");
}

json explainFile(const std::filesystem::path& file) {
    json explanation = {{"identity", HelperIO::attachmentIdentity(file)}};
    addExplanation(explanation, decoderExplanation(file));
    const bool hasPixels = anyMember(explanation["identity"], "pixelHash") != nullptr;
    if (hasPixels)
        explanation.erase("reason");
    else
        explanation.emplace("reason", noAnswer);
    return explanation;
}

std::string missingPixelsReason(const std::filesystem::path& file) {
    const std::string reason = reasonIn(decoderExplanation(file));
    return reason.empty() ? std::string(noAnswer) : reason;
}

} // namespace sorvane::doctor
