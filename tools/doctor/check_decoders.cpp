// The decoders: where the library looks for them, and whether the library of each format answers.

#include <algorithm>
#include <variant>

#include <unistd.h>

#include "identity/decoder_process.h"
#include "identity/decoder_program.h"
#include "support/helper_io.h"
#include "tools/doctor/checks.h"
#include "tools/doctor/decoded_formats.h"
#include "tools/doctor/file_explanation.h"

namespace sorvane::doctor {

namespace {

std::string bytesOf(const TinyPicture& picture) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    const std::string_view text = picture.hexadecimal;
    std::string bytes;
    for (std::size_t index = 0; index + 1 < text.size(); index += 2)
        bytes += static_cast<char>(digit(text[index]) * 16 + digit(text[index + 1]));
    return bytes;
}

bool decodes(std::string_view program, const TinyPicture& picture) {
    DecoderProcess decoder(program);
    decoder.write(bytesOf(picture));
    const auto answer = decoder.answer();
    const auto* identity = answer ? std::get_if<PixelIdentity>(&*answer) : nullptr;
    return identity != nullptr && identity->width == picture.side &&
           identity->height == picture.side;
}

// Why a program decodes nothing, in its own words after a colon; empty when it has none.
std::string reasonOf(std::string_view program, const TinyPicture& picture) {
    DecoderProcess decoder(program, DecoderProcess::Clock::time_point::max(), {"explain"});
    decoder.write(bytesOf(picture));
    const std::string reason = reasonIn(decoder.text(maxExplanation).value_or(""));
    return reason.empty() ? "" : ": " + reason;
}

std::string listed(const std::vector<std::string_view>& names) {
    std::string text;
    for (const std::string_view name : names)
        text += (text.empty() ? "" : ", ") + std::string(name);
    return text;
}

Finding failed(const std::string& program, const std::string& text, std::string remedy,
               std::string command = {}) {
    return {"decoder", Status::failed, program + " " + text, std::move(remedy), std::move(command)};
}

Finding checkDecoder(const std::string& program) {
    const auto candidates = decoderCandidates(program);
    const auto found = std::find_if(candidates.begin(), candidates.end(), [](const auto& path) {
        return ::access(path.c_str(), X_OK) == 0;
    });
    if (found == candidates.end())
        return failed(program,
                      "is not in " + candidates.front().parent_path().native() +
                          ", ../libexec/sorvane from there, or " +
                          candidates.back().parent_path().native(),
                      "Install sorvane-hook again: without this decoder pictures are known by "
                      "their files' bytes alone.");
    std::vector<std::string_view> good;
    std::vector<std::string_view> bad;
    for (const TinyPicture& picture : picturesFor(program))
        (decodes(program, picture) ? good : bad).push_back(picture.name);
    if (good.empty())
        return failed(program,
                      "(" + found->native() + ") decodes nothing" +
                          reasonOf(program, picturesFor(program).front()),
                      "Install sorvane-hook again. If that does not help, run the command below: "
                      "a library that is missing is named.",
                      HelperIO::shellQuoted(found->native()) + " 10 </dev/null");
    if (!bad.empty())
        return failed(program, "(" + found->native() + ") does not decode " + listed(bad),
                      "Install the libraries of these formats, or sorvane-hook again.");
    return {"decoder", Status::ok, found->native() + " decodes " + listed(good)};
}

} // namespace

std::vector<Finding> checkDecoders() {
    std::vector<Finding> findings;
    for (const std::string_view program : decoderPrograms())
        findings.push_back(checkDecoder(std::string(program)));
    return findings;
}

} // namespace sorvane::doctor
