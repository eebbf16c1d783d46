// Here /tmp, /var and /etc are links into /private. Whoever resolves a path by the system's own
// frameworks, as the application does, is given the short spelling.

#include "support/resolved_path.h"

#include <string_view>
#include <system_error>

#include <unistd.h>

namespace sorvane {

namespace {

constexpr std::string_view privately = "/private";

bool isThere(const std::filesystem::path& path) { return ::access(path.c_str(), F_OK) == 0; }

} // namespace

std::filesystem::path resolvedPath(const std::filesystem::path& path) {
    std::error_code failure;
    auto target = std::filesystem::weakly_canonical(path, failure);
    if (failure) target = path;
    const std::string_view text = target.native();
    if (!text.starts_with(privately)) return target;
    std::filesystem::path rest(text.substr(privately.size()));
    return rest.is_absolute() && isThere(rest) ? rest : target;
}

} // namespace sorvane
