#include "tools/doctor/hook_entries.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "support/helper_io.h"
#include "support/json.h"
#include "tools/doctor/hook_call.h"
#include "tools/doctor/toml_reader.h"

namespace sorvane::doctor {

namespace {

const nlohmann::json noObject = nlohmann::json::object();

const nlohmann::json& objectMember(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* member = anyMember(object, key);
    return member != nullptr && member->is_object() ? *member : noObject;
}

void require(bool isForm, std::string_view key) {
    if (!isForm)
        throw std::runtime_error('"' + std::string(key) + "\" is not in a form that is known here");
}

// What another event holds in a form of its own is ignored.
bool isList(const Agent& agent, std::string_view event, const nlohmann::json& value) {
    require(value.is_array() || event != agent.event, event);
    return value.is_array();
}

bool isSet(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* member = anyMember(object, key);
    return member != nullptr && *member == true;
}

// Where an agent takes a command of its shell's under another name as well, that name comes first.
std::optional<std::string_view> commandOf(const nlohmann::json& handler) {
    return textMember(handler, "bash", "command");
}

std::optional<double> timeoutOf(const Agent& agent, const nlohmann::json& handler) {
    for (const std::string_view key : {agent.timeoutKey, std::string_view("timeout")}) {
        const nlohmann::json* timeout = anyMember(handler, key);
        const bool number = timeout != nullptr && timeout->is_number();
        if (number && std::isfinite(timeout->get<double>())) return timeout->get<double>();
    }
    return std::nullopt;
}

void readHandlers(const Agent& agent, std::string_view event, std::size_t group,
                  const nlohmann::json& handlers, std::vector<HookEntry>& entries) {
    if (!isList(agent, event, handlers)) return;
    for (std::size_t index = 0; index < handlers.size(); ++index) {
        const nlohmann::json& handler = handlers[index];
        const auto command = commandOf(handler);
        if (!command || textMember(handler, "type").value_or("command") != "command") continue;
        entries.push_back({std::string(event), group, index, std::string(*command),
                           timeoutOf(agent, handler), isSet(handler, "async"), handler});
    }
}

void readEvent(const Agent& agent, std::string_view event, const nlohmann::json& list,
               std::vector<HookEntry>& entries) {
    if (agent.form == EntryForm::flat) return readHandlers(agent, event, 0, list, entries);
    if (!isList(agent, event, list)) return;
    for (std::size_t group = 0; group < list.size(); ++group)
        if (const nlohmann::json* handlers = anyMember(list[group], "hooks"))
            readHandlers(agent, event, group, *handlers, entries);
}

// The reader tells the byte; people look for a line.
[[noreturn]] void failWithLine(std::string reason, std::string_view text) {
    constexpr std::string_view mark = " at byte ";
    if (const std::size_t found = reason.find(mark); found != reason.npos) {
        const std::size_t offset = std::strtoul(&reason[found + mark.size()], nullptr, 10);
        const auto lines = std::ranges::count(text.substr(0, offset), '\n') + 1;
        reason.insert(found, " in line " + std::to_string(lines));
    }
    throw std::runtime_error(reason);
}

nlohmann::json parseDocument(const std::filesystem::path& file, std::string_view text) {
    if (file.extension() == ".toml") return parseTOML(text);
    try {
        return parseJSON(text);
    } catch (const std::runtime_error& failure) {
        failWithLine(failure.what(), text);
    }
}

// The plugin's words as a command for a shell, like that of any other entry.
std::string commandOfPlugin(const nlohmann::json& words) {
    std::string command;
    for (const nlohmann::json& word : words)
        if (word.is_string())
            command +=
                (command.empty() ? "" : " ") + HelperIO::shellQuoted(word.get<std::string>());
    return command;
}

// What follows the beginning of a line, up to the line's end; nothing when no line begins so.
std::optional<std::string_view> afterBeginning(std::string_view beginning, std::string_view text) {
    std::size_t found = text.find(beginning);
    while (found != text.npos && found != 0 && text[found - 1] != '\n')
        found = text.find(beginning, found + 1);
    if (found == text.npos) return std::nullopt;
    text.remove_prefix(found + beginning.size());
    text = text.substr(0, text.find('\n'));
    return text.substr(0, text.find_last_not_of("; \r") + 1);
}

HookConfiguration readPlugin(const Agent& agent, std::string_view text) {
    HookConfiguration configuration;
    if (!mentionsHook(text)) return configuration;
    const auto words = afterBeginning(pluginLine, text);
    require(words.has_value(), pluginLine);
    configuration.entries.push_back({std::string(agent.event), 0, 0,
                                     commandOfPlugin(parseJSON(*words)), std::nullopt, false,
                                     nlohmann::json::object()});
    return configuration;
}

} // namespace

std::string agentsJSON(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

HookConfiguration readHookConfiguration(const Agent& agent, const std::filesystem::path& file,
                                        std::string_view text) {
    if (agent.form == EntryForm::plugin) return readPlugin(agent, text);
    const nlohmann::json document = parseDocument(file, text);
    require(document.is_object(), "hooks");
    const nlohmann::json* const named = anyMember(document, "hooks");
    require(named == nullptr || named->is_object(), "hooks");
    const nlohmann::json& hooks = named == nullptr ? noObject : *named;
    HookConfiguration configuration;
    for (const auto& [event, list] : hooks.items())
        readEvent(agent, event, list, configuration.entries);
    if (file.extension() == ".toml") {
        const nlohmann::json* feature = anyMember(objectMember(document, "features"), "hooks");
        configuration.switchedOff = feature != nullptr && *feature == false;
        configuration.states = objectMember(hooks, "state");
    } else {
        configuration.switchedOff = isSet(document, "disableAllHooks");
    }
    return configuration;
}

} // namespace sorvane::doctor
