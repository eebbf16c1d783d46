#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "support/file_reader.h"
#include "support/json.h"
#include "support/record.h"

namespace sorvane::HelperIO {

/// Creates the directory that holds `path`, with every missing one above it; does nothing for a
/// bare file name. Throws std::filesystem::filesystem_error.
void createParentDirectory(const std::filesystem::path& path);

/// Replaces the file at `path` atomically: the bytes go to a new file beside it, which is then
/// renamed, so that no reader sees half of them and a symbolic link at `path` is replaced, not
/// followed. The file has the process's default mode and is not forced to the disk: a power failure
/// may leave it empty, but a record of the last run is not worth a prompt that waits for the disk.
/// Throws std::system_error, with the old file untouched and nothing left beside it.
void replaceFile(const std::filesystem::path& path, std::string_view bytes);

/// Sets the mode of an existing file. Throws HelperFailure::configuration. A negative mode is a
/// mistake in the caller and aborts the process.
void restrictPermissions(const std::filesystem::path& path, std::int16_t permissions);

/// Writes a record as a JSON file: creates the parent directory, encodes, replaces the file and
/// sets its mode, in this order, which is that of the application's own writer. Throws what these
/// steps throw; when only the mode cannot be set, the new file stays.
template<record::Described Record>
void writeJSON(const Record& value, const std::filesystem::path& path,
               std::int16_t permissions = 0600) {
    createParentDirectory(path);
    std::string text;
    record::append(text, value);
    replaceFile(path, text);
    restrictPermissions(path, permissions);
}

/// Reads a record from a JSON file. Throws std::system_error when the file cannot be read (see
/// FileReader), std::runtime_error when it is not JSON, record::DecodingError when it is no
/// `Record`.
template<record::Described Record>
Record readJSON(const std::filesystem::path& path) {
    return record::decode<Record>(parseJSON(readFile(path)));
}

/// Writes an object or an array as one JSON line. Never fails: any other value, and one without a
/// JSON form, writes nothing.
///
/// A line that the stream takes at once is one write; else the rest follows as the stream takes it,
/// whether or not the stream blocks. After 5 seconds, or when the stream fails, the writing ends: a
/// line of which nothing was taken is lost, one of which a part was taken is cut off and has no
/// line feed. While others write to the same stream, the pieces of a line that was not taken at
/// once may be mixed with theirs, and the writing may block for longer.
void writeLine(const nlohmann::json& value, int descriptor = STDOUT_FILENO) noexcept;

/// The text as one word of a POSIX shell's command line.
std::string shellQuoted(std::string_view text);

/// Writes a message as one line, without a prefix, as `writeLine` does.
void error(std::string_view message, int descriptor = STDERR_FILENO) noexcept;

} // namespace sorvane::HelperIO
