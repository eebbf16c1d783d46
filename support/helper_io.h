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

/// Makes the directory that holds `path`, with every missing one above it; the one that holds a
/// mere name is there. Throws std::filesystem::filesystem_error.
void createParentDirectory(const std::filesystem::path& path);

/// Replaces the file at `path` whole: the bytes go to a new file beside it, which then takes its
/// name, so that no reader sees half of them and a symbolic link at `path` is replaced, not
/// followed. The file has the process's default mode and is not forced to the disk, where a power
/// failure may leave it empty: a record of the last run is not worth a prompt that waits for it.
/// Throws std::system_error, with the old file untouched and nothing left beside it.
void replaceFile(const std::filesystem::path& path, std::string_view bytes);

/// Sets the mode of a file that stands. Throws HelperFailure::configuration. A negative mode is a
/// mistake of the caller and ends the process.
void restrictPermissions(const std::filesystem::path& path, std::int16_t permissions);

/// Writes a record as a JSON file: creates the parent directory, encodes, replaces the file, and
/// last sets its mode, after the new file stands as the application's own writer does it. Throws
/// what these steps throw; when only the mode cannot be set, the new file stays.
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
/// A line is one write where the stream takes it whole; else the rest follows as the stream gives
/// room, whether or not it blocks. After 5 seconds in all the run goes on without it: the line is
/// lost when the stream took nothing until then, and torn, without its line feed, when it took a
/// part. The same holds when the stream fails. Only a stream to which others write meanwhile may
/// mix the pieces of a line that was not taken whole with theirs, or block for longer.
void writeLine(const nlohmann::json& value, int descriptor = STDOUT_FILENO) noexcept;

/// The text as one word of a POSIX shell's command line.
std::string shellQuoted(std::string_view text);

/// Writes a message as one line, without a prefix, as `writeLine` does.
void error(std::string_view message, int descriptor = STDERR_FILENO) noexcept;

} // namespace sorvane::HelperIO
