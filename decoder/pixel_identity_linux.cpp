// From a file to the digest of its picture, by the decoders that are linked into the program.

#include "decoder/pixel_identity.h"

#include <string_view>
#include <utility>

#include <sys/sysinfo.h>

#include "decoder/colour/colour_engine.h"
#include "decoder/colour/colour_step.h"
#include "decoder/formats/decoder_table.h"
#include "decoder/memory_limit.h"
#include "decoder/pixel_digest.h"

namespace sorvane::decoder {

namespace {

struct StatementText {
    std::string operator()(const DeclaredSrgb&) const { return "sRGB"; }
    std::string operator()(const IccProfile& profile) const {
        const std::string name = profileName(profile.bytes);
        return (name.empty() ? "ICC profile without a name" : "ICC profile \"" + name + '"') +
               ", " + std::to_string(profile.bytes.size()) + " bytes";
    }
    std::string operator()(const GammaAndPrimaries&) const { return "gamma and primaries"; }
};

std::string colourText(const ColourStatements& statements) {
    if (statements.empty()) return "untagged";
    std::string text;
    for (const ColourStatement& statement : statements)
        text += (text.empty() ? "" : ", ") + std::visit(StatementText{}, statement);
    return text;
}

void appendLine(std::string& lines, std::string_view key, std::string_view value) {
    lines.append(key).append(" ").append(value).append("\n");
}

} // namespace

void prepareLibraries() { prepareDecoders(); }

std::uint64_t pixelIdentityMemory(ByteSource& file) {
    const auto row = imageFormat(file.peek(signatures::length));
    if (!row) return 0;
    struct sysinfo machine {};
    ::sysinfo(&machine);
    return memoryLimit(decoderMemory(row->format) + engineMemory,
                       std::uint64_t{machine.totalram} * machine.mem_unit);
}

std::optional<DecoderAnswer> pixelIdentity(ByteSource& file, std::optional<LateOrientation> told) {
    const auto row = imageFormat(file.peek(signatures::length));
    const auto decoder = row ? openDecoder(row->format, file) : nullptr;
    auto header = decoder ? decoder->readHeader() : std::nullopt;
    if (!header || !withinBudget(header->size)) return std::nullopt;
    const Size declared = header->declared.value_or(header->size);
    if (!withinBudget(declared)) return std::nullopt;
    const Orientation before = header->orientation;
    if (told)
        header->orientation = orientationFrom(static_cast<std::uint32_t>(told->number))
                                  .value_or(Orientation::upright);
    PixelDigest digest(*header, ColourStep(header->colour, header->samples));
    if (!decoder->readPixels(digest)) return std::nullopt;
    file.drain();
    const Orientation stated = decoder->lateOrientation().value_or(before);
    if (stated != header->orientation) {
        if (told) return std::nullopt;
        return LateOrientation{static_cast<int>(stated)};
    }
    return PixelIdentity{digest.hex(), declared.width, declared.height};
}

std::string explanation(ByteSource& file) {
    std::string lines;
    const auto because = [&lines](std::string_view reason) {
        appendLine(lines, "reason", reason);
        return std::move(lines);
    };
    const auto row = imageFormat(file.peek(signatures::length));
    if (!row) return because("no image format that is known");
    appendLine(lines, "format", row->name);
    const auto decoder = openDecoder(row->format, file);
    if (!decoder) return because("this program does not decode the format");
    const auto header = decoder->readHeader();
    if (!header) return because("the file's header is damaged, or of a kind that is not decoded");
    const Size declared = header->declared.value_or(header->size);
    appendLine(lines, "size",
               std::to_string(declared.width) + ' ' + std::to_string(declared.height));
    appendLine(lines, "orientation", std::to_string(static_cast<int>(header->orientation)));
    appendLine(lines, "colour", colourText(header->colour));
    if (!withinBudget(header->size) || !withinBudget(declared))
        return because("more than " + std::to_string(pixelBudget) + " pixels");
    PixelDigest digest(*header, ColourStep(header->colour, header->samples));
    if (!decoder->readPixels(digest)) return because("the picture is damaged");
    if (const auto late = decoder->lateOrientation())
        appendLine(lines, "orientation", std::to_string(static_cast<int>(*late)));
    file.drain();
    return lines;
}

} // namespace sorvane::decoder
