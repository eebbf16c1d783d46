#include "tools/doctor/hook_entries.h"

#include <cmath>

#include "support/json.h"
#include "tools/doctor/toml_reader.h"

namespace sorvane::doctor {

namespace {

const nlohmann::json noObject = nlohmann::json::object();

const nlohmann::json& objectMember(const nlohmann::json& object, std::string_view key) {
    const nlohmann::json* member = anyMember(object, key);
    return member != nullptr && member->is_object() ? *member : noObject;
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
    if (!handlers.is_array()) return;
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
    if (!list.is_array()) return;
    for (std::size_t group = 0; group < list.size(); ++group)
        if (const nlohmann::json* handlers = anyMember(list[group], "hooks"))
            readHandlers(agent, event, group, *handlers, entries);
}

} // namespace

HookConfiguration readHookConfiguration(const Agent& agent, const std::filesystem::path& file,
                                        std::string_view text) {
    const bool toml = file.extension() == ".toml";
    const nlohmann::json document = toml ? parseTOML(text) : parseJSON(text);
    const nlohmann::json& hooks = objectMember(document, "hooks");
    HookConfiguration configuration;
    for (const auto& [event, list] : hooks.items())
        readEvent(agent, event, list, configuration.entries);
    configuration.switchedOff = isSet(document, "disableAllHooks");
    if (toml) {
        const nlohmann::json* feature = anyMember(objectMember(document, "features"), "hooks");
        configuration.switchedOff = feature != nullptr && *feature == false;
        configuration.states = objectMember(hooks, "state");
    }
    return configuration;
}

} // namespace sorvane::doctor
