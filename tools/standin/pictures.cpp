#include "tools/standin/pictures.h"

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>

#include "identity/file_identity.h"
#include "identity/image_formats.h"
#include "identity/image_signatures.h"
#include "support/file_reader.h"
#include "support/helper_io.h"
#include "support/json.h"

namespace sorvane::standin {

namespace {

namespace fs = std::filesystem;

// The directory of a workspace that holds the copies.
constexpr std::string_view copiesDirectory = ".sorvane";

// 64 bits of the digest tell the pictures of one workspace apart and keep the names readable.
constexpr std::size_t nameLength = 16;

struct FileType {
    std::string_view uti;
    std::string_view extension;
};

FileType fileType(const fs::path& file) {
    std::array<char, signatures::length> beginning;
    const std::size_t length = FileReader(file).read(std::span(beginning));
    const auto row = imageFormat(std::string_view(beginning.data(), length));
    if (row && row->format == ImageFormat::png) return {"public.png", "png"};
    if (row && row->format == ImageFormat::jpeg) return {"public.jpeg", "jpg"};
    return {"public.data", "bin"};
}

Picture indexed(const fs::path& file) {
    const nlohmann::json identity = HelperIO::attachmentIdentity(file);
    const auto text = [&identity](std::string_view key) {
        return std::string(textMember(identity, key).value_or(""));
    };
    const FileType type = fileType(file);
    return {.file = file,
            .digest = text("sha256"),
            .pixelDigest = text("pixelHash"),
            .width = integerMember(identity, "pixelWidth"),
            .height = integerMember(identity, "pixelHeight"),
            .uti = type.uti,
            .extension = type.extension};
}

bool holds(const fs::path& file, std::string_view bytes) {
    return fs::symlink_status(file).type() == fs::file_type::regular && readFile(file) == bytes;
}

} // namespace

Pictures::Pictures(const fs::path& directory) {
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory))
        if (entry.is_regular_file()) files.push_back(entry.path());
    // Of several files with the same pixels the first by name is taken, on every machine.
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) pictures_.push_back(indexed(file));
}

const Picture* Pictures::find(const nlohmann::json& identity) const {
    const auto first = [this](auto isMeant) -> const Picture* {
        const auto picture = std::find_if(pictures_.begin(), pictures_.end(), isMeant);
        return picture == pictures_.end() ? nullptr : &*picture;
    };
    for (const std::string_view key : {"assetID", "sha256"}) {
        const auto digest = textMember(identity, key);
        if (!digest) continue;
        if (const Picture* picture = first([&](const Picture& p) { return p.digest == *digest; }))
            return picture;
    }
    const auto digest = textMember(identity, "pixelHash");
    const auto width = integerMember(identity, "pixelWidth");
    const auto height = integerMember(identity, "pixelHeight");
    if (!digest || digest->empty() || !width || !height) return nullptr;
    return first([&](const Picture& p) {
        return p.pixelDigest == *digest && p.width == width && p.height == height;
    });
}

std::string copyInto(const fs::path& workspace, const Picture& picture) {
    if (!workspace.is_absolute() || !fs::is_directory(workspace))
        throw std::runtime_error("the workspace is no existing folder");
    const std::string bytes = readFile(picture.file);
    if (HelperIO::sha256(bytes) != picture.digest)
        throw std::runtime_error("a picture has changed since it was indexed");

    // A link could lead anywhere: it must be a directory in the workspace itself.
    const fs::path directory = workspace / copiesDirectory;
    fs::create_directory(directory);
    if (fs::symlink_status(directory).type() != fs::file_type::directory)
        throw std::runtime_error("what the workspace has as .sorvane is no folder");

    const std::string name =
        picture.digest.substr(0, nameLength) + "." + std::string(picture.extension);
    if (!holds(directory / name, bytes)) HelperIO::replaceFile(directory / name, bytes);
    return std::string(copiesDirectory) + "/" + name;
}

} // namespace sorvane::standin
