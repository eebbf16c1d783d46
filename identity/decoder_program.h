#pragma once

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace sorvane {

/// The name of the program that decodes a file whose first read gave these bytes; nothing for a
/// file that no decoder is started for, as an empty one.
std::optional<std::string_view> decoderProgramFor(std::string_view firstBytes);

/// Where that program may lie, in the order in which it is tried: beside the running executable, in
/// ../libexec/sorvane seen from it, in the directory compiled in. Never found through PATH or
/// another variable.
std::vector<std::filesystem::path> decoderCandidates(std::string_view program);

} // namespace sorvane
