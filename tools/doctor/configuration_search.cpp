#include "tools/doctor/configuration_search.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "support/absolute_path.h"
#include "support/file_reader.h"
#include "support/home_directory.h"

namespace sorvane::doctor {

namespace fs = std::filesystem;

namespace {

// A thousand times what people write; who wants to be read may take no more of the machine.
constexpr std::size_t maxConfigurationBytes = 4'000'000;

std::optional<std::string> variable(std::string_view name) {
    const char* value = name.empty() ? nullptr : std::getenv(std::string(name).c_str());
    if (value == nullptr || *value == '\0') return std::nullopt;
    return value;
}

fs::path userFile(const ConfigurationFile& file) {
    if (const auto moved = variable(file.directoryVariable)) {
        const fs::path directory = absolutePath(*moved);
        return (file.variableSuffix.empty() ? directory : directory / file.variableSuffix) /
               file.name;
    }
    return absolutePath(userHome()) / file.directory / file.name;
}

// The file itself, or every file of its directory that fits a name beginning with an asterisk.
std::vector<fs::path> matchingFiles(const fs::path& file) {
    const std::string name = file.filename().native();
    if (!name.starts_with('*')) return {file};
    std::vector<fs::path> found;
    std::error_code ignored;
    for (fs::directory_iterator entry(file.parent_path(), ignored), end; !ignored && entry != end;
         entry.increment(ignored))
        if (entry->path().native().ends_with(std::string_view(name).substr(1)))
            found.push_back(entry->path());
    std::sort(found.begin(), found.end());
    return found;
}

// Where an entry is to be written: a file of our own where the agent reads every file of a
// directory.
fs::path mainFile(const Agent& agent) {
    if (agent.files.front().name.empty()) return {};
    const fs::path file = userFile(agent.files.front());
    return file.stem() == "*"
               ? fs::path(file).replace_filename("sorvane").concat(file.extension().native())
               : file;
}

std::string readConfiguration(const fs::path& file) {
    FileReader reader(file);
    std::string text(maxConfigurationBytes + 1, '\0');
    text.resize(reader.read(std::span(text)));
    if (text.size() > maxConfigurationBytes)
        throw std::runtime_error("more than " + std::to_string(maxConfigurationBytes) + " bytes");
    return text;
}

void readInto(AgentConfiguration& configuration, const fs::path& file, bool users) try {
    std::error_code ignored;
    if (!fs::exists(file, ignored) && !ignored) return;
    auto read = readHookConfiguration(configuration.agent, file, readConfiguration(file));
    for (HookEntry& entry : read.entries) {
        if (!mentionsHook(entry.command)) continue;
        auto call = hookCall(entry.command, userHome());
        configuration.entries.push_back({file, std::move(entry), std::move(call)});
    }
    if (read.switchedOff) configuration.switchedOffIn = file;
    if (users && !read.states.empty()) configuration.states = std::move(read.states);
} catch (const std::exception& failure) {
    configuration.unreadable.push_back({file, failure.what()});
}

} // namespace

std::string FoundEntry::namedAgent() const {
    const auto named = call ? call->value("--agent") : std::nullopt;
    return named ? named->text : "";
}

std::string userHome() {
    const auto home = variable("HOME");
    return home ? *home : homeDirectory().native();
}

std::vector<AgentConfiguration> searchConfigurations(const std::optional<fs::path>& workspace) {
    std::vector<AgentConfiguration> all;
    for (const Agent& agent : agents) {
        AgentConfiguration& configuration =
            all.emplace_back(AgentConfiguration{.agent = agent, .mainFile = mainFile(agent)});
        for (const ConfigurationFile& file : agent.files) {
            if (!file.name.empty())
                for (const fs::path& path : matchingFiles(userFile(file)))
                    readInto(configuration, path, true);
            if (workspace && !file.sibling.empty())
                for (const fs::path& path : matchingFiles(*workspace / file.sibling))
                    readInto(configuration, path, false);
        }
    }
    return all;
}

} // namespace sorvane::doctor
