#include "support/helper_io.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

#include "support/descriptor_io.h"
#include "support/helper_failure.h"
#include "support/replace_by_rename.h"
#include "support/uuid.h"

namespace sorvane::HelperIO {

namespace {

// The usual mode of a new file, from which the system takes the process's umask away.
constexpr mode_t defaultMode = 0666;

// A reader that stopped reading must not hold up the prompt.
constexpr std::chrono::seconds lineTimeout{5};

[[noreturn]] void fail(int reason, const std::filesystem::path& path) {
    throw std::system_error(reason, std::generic_category(), path.native());
}

void writeNewFile(const std::filesystem::path& path, std::string_view bytes) {
    UniqueDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, defaultMode));
    if (!file) fail(errno, path);
    if (!writeAll(file.get(), bytes) || !file.close()) {
        const int reason = errno;
        ::unlink(path.c_str());
        fail(reason, path);
    }
}

void writeWithLineFeed(std::string text, int descriptor) {
    text += '\n';
    writeWithin(lineTimeout, descriptor, text);
}

} // namespace

void createParentDirectory(const std::filesystem::path& path) {
    if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
}

void replaceFile(const std::filesystem::path& path, std::string_view bytes) {
    const std::filesystem::path temporary = path.parent_path() / ("." + Uuid::random().lowerText());
    writeNewFile(temporary, bytes);
    if (!replaceByRename(temporary, path)) {
        const int reason = errno;
        ::unlink(temporary.c_str());
        fail(reason, path);
    }
}

void restrictPermissions(const std::filesystem::path& path, std::int16_t permissions) {
    if (permissions < 0) std::abort(); // a mistake in the caller
    if (::chmod(path.c_str(), static_cast<mode_t>(permissions)) != 0)
        throw HelperFailure::configuration("Could not restrict permissions for " +
                                           path.filename().native() + ".");
}

void writeLine(const nlohmann::json& value, int descriptor) noexcept try {
    if (value.is_structured()) writeWithLineFeed(jsonText(value), descriptor);
} catch (...) {
    // A line that cannot be made is not printed.
}

std::string shellQuoted(std::string_view text) {
    std::string word = "'";
    for (const char character : text) {
        if (character == '\'')
            word += R"('\'')"; // closes the quotes, adds an escaped quote, opens them again
        else
            word += character;
    }
    return word += '\'';
}

void error(std::string_view message, int descriptor) noexcept try {
    writeWithLineFeed(std::string(message), descriptor);
} catch (...) {
    // Without memory for the line nothing is printed.
}

} // namespace sorvane::HelperIO
