#include "hook/sorvane_hook.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "broker/broker_client.h"
#include "hook/argument_reader.h"
#include "hook/image_references.h"
#include "hook/prompt_hook_observation.h"
#include "hook/resolve_request.h"
#include "identity/attachment_identities.h"
#include "integration/credential_validator.h"
#include "support/absolute_path.h"
#include "support/descriptor_io.h"
#include "support/helper_failure.h"
#include "support/helper_io.h"
#include "support/json.h"
#include "support/utf8.h"

namespace sorvane::SorvaneHook {

namespace {

struct Invocation {
    std::string agent;
    std::string clientID;
    std::string credentialFile;
};

// What an agent left us must not end the run: neither a stream that nobody reads, nor a limit on
// the size of files.
void settleSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

Invocation readInvocation(std::span<char* const> arguments) {
    std::vector<std::string> values;
    for (const char* argument : arguments.subspan(std::min<std::size_t>(1, arguments.size())))
        values.push_back(utf8::repaired(argument));
    const ArgumentReader reader(std::move(values));

    const auto required = [&reader](std::string_view option) {
        auto value = reader.value(option);
        if (!value) throw HelperFailure::invalidArguments("Agent identity is required.");
        return *std::move(value);
    };
    return {required("--agent"), required("--client-id"), required("--credential-file")};
}

// Room for the largest prompts that people paste: a text that outgrows its room is copied, and room
// that nothing is written to costs addresses, no memory.
constexpr std::size_t eventRoom = 12'000'000;

// The event, or nothing for an input that is not for this hook. An input that breaks off is what
// was read of it.
std::optional<nlohmann::json> readEvent(int input) {
    std::string text;
    text.reserve(eventRoom);
    appendToEnd(input, text);
    if (text.empty()) return std::nullopt;
    nlohmann::json event = parseJSON(text);
    if (!event.is_object()) return std::nullopt;
    return std::make_optional(std::move(event));
}

std::vector<nlohmann::json> identitiesFor(const std::vector<std::string_view>& references,
                                          const nlohmann::json& event) {
    if (references.empty()) return attachmentIdentities(event);
    std::vector<nlohmann::json> identities;
    for (const std::string_view reference : references)
        if (const auto hash = ImageReferences::assetHash(reference))
            identities.push_back({{"assetID", *hash}});
    return identities;
}

std::optional<std::string_view> workspaceRoot(const nlohmann::json& event) {
    if (const auto directory = textMember(event, "cwd")) return directory;
    const nlohmann::json* roots = anyMember(event, "workspace_roots");
    if (roots == nullptr || !roots->is_array() || roots->empty()) return std::nullopt;
    const bool texts = std::all_of(roots->begin(), roots->end(),
                                   [](const nlohmann::json& root) { return root.is_string(); });
    if (!texts) return std::nullopt;
    return roots->front().get_ref<const std::string&>();
}

std::int64_t attachmentCount(const nlohmann::json& event) {
    const nlohmann::json* attachments = anyMember(event, "attachments");
    const bool isList = attachments != nullptr && attachments->is_array();
    return isList ? static_cast<std::int64_t>(attachments->size()) : 0;
}

/// The part of a run that has a valid credential and an event.
class Run {
  public:
    Run(BrokerIdentity identity, int output) : identity_(std::move(identity)), output_(output) {}

    void resolve(const nlohmann::json& event) const {
        const auto prompt = textMember(event, "prompt").value_or("");
        const auto references = ImageReferences::inPrompt(prompt);
        const auto observe = [&](std::string_view outcome) {
            PromptHookObservation::record(identity_.clientID, identity_.agent,
                                          attachmentCount(event),
                                          static_cast<std::int64_t>(references.size()), outcome);
        };

        auto identities = identitiesFor(references, event);
        if (identities.empty()) {
            observe("no-image-identities");
            return letPromptGoOn();
        }
        const auto root = workspaceRoot(event);
        if (!root) return observe("workspace-unavailable");

        const std::size_t identityCount = identities.size();
        auto fields = resolution::requestFields(std::move(identities), *root, event);
        observe("resolving");
        const auto answer = BrokerClient(identity_).call("resolve", std::move(fields));

        const nlohmann::json* images = resolution::exactMatch(answer, identityCount);
        if (images == nullptr) {
            observe("no-exact-match");
            return letPromptGoOn();
        }
        observe("matched");
        if (const auto block = resolution::contextBlock(*images)) tell(*block);
    }

  private:
    // Only this agent waits for a word before it goes on; it takes no context.
    bool waitsForWord() const { return identity_.agent == "cursor"; }

    void letPromptGoOn() const {
        if (waitsForWord()) HelperIO::writeLine({{"continue", true}}, output_);
    }

    void tell(const std::string& block) const {
        if (waitsForWord()) return letPromptGoOn();
        HelperIO::writeLine(
            {{"hookSpecificOutput",
              {{"hookEventName", "UserPromptSubmit"}, {"additionalContext", block}}}},
            output_);
    }

    BrokerIdentity identity_;
    int output_;
};

void run(std::span<char* const> arguments, Streams streams) {
    const Invocation invocation = readInvocation(arguments);
    const auto credential = CredentialValidator().validate(invocation.agent, invocation.clientID,
                                                           absolutePath(invocation.credentialFile));
    if (const auto event = readEvent(streams.input))
        Run({invocation.agent, invocation.clientID, credential.token}, streams.output)
            .resolve(*event);
}

// The application's own words may hold a NUL, where `what` would break them off.
std::string description(const std::exception& failure) {
    const auto* own = dynamic_cast<const HelperFailure*>(&failure);
    return own != nullptr ? own->errorDescription() : failure.what();
}

void report(const std::exception& failure, int error) noexcept try {
    HelperIO::error("Sorvane: " + description(failure), error);
} catch (...) {
    // Without memory for one line there is nothing to say.
}

} // namespace

void main(std::span<char* const> arguments, Streams streams) noexcept {
    settleSignals();
    try {
        run(arguments, streams);
    } catch (const std::exception& failure) {
        report(failure, streams.error);
    } catch (...) {
        // Nothing of ours throws anything else; the prompt goes on all the same.
    }
}

} // namespace sorvane::SorvaneHook
