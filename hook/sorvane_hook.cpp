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
#include "hook/hook_answer.h"
#include "hook/hook_event.h"
#include "hook/image_references.h"
#include "hook/private_memory.h"
#include "hook/prompt_hook_observation.h"
#include "hook/resolve_request.h"
#include "integration/credential_validator.h"
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
void ignoreSignals() {
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

// The event, or nothing for an input that is not for this hook. An input that breaks off is what
// was read of it.
std::optional<nlohmann::json> readEvent(int input) {
    std::string text;
    appendToEnd(input, text);
    if (text.empty()) return std::nullopt;
    nlohmann::json event = parseJSON(text);
    if (!event.is_object()) return std::nullopt;
    return std::make_optional(std::move(event));
}

/// The part of a run that has a valid credential and an event.
class Run {
  public:
    Run(BrokerIdentity identity, int output) : identity_(std::move(identity)), output_(output) {}

    void resolve(const nlohmann::json& event) const {
        const auto references = ImageReferences::inPrompt(hookEvent::prompt(event));
        const auto observe = [&](std::string_view outcome) {
            PromptHookObservation::record(identity_.clientID, identity_.agent,
                                          hookEvent::attachmentCount(event),
                                          static_cast<std::int64_t>(references.size()), outcome);
        };

        auto identities = hookEvent::identities(references, event);
        if (identities.empty()) {
            observe(hookOutcome::noImageIdentities);
            return writeContinuation();
        }
        const auto root = hookEvent::workspaceRoot(event);
        if (!root) return observe(hookOutcome::workspaceUnavailable);

        const std::size_t identityCount = identities.size();
        auto fields = resolveRequest::requestFields(std::move(identities), *root, event);
        observe(hookOutcome::resolving);
        const auto answer = BrokerClient(identity_).call("resolve", std::move(fields));

        const nlohmann::json* images = resolveRequest::exactMatch(answer, identityCount);
        if (images == nullptr) {
            observe(hookOutcome::noExactMatch);
            return writeContinuation();
        }
        observe(hookOutcome::matched);
        if (const auto block = resolveRequest::contextBlock(*images)) writeContext(*block);
    }

  private:
    void writeContinuation() const {
        if (const auto answer = hookAnswer::continuation(identity_.agent))
            HelperIO::writeLine(*answer, output_);
    }

    void writeContext(const std::string& block) const {
        HelperIO::writeLine(hookAnswer::context(identity_.agent, block), output_);
    }

    BrokerIdentity identity_;
    int output_;
};

void run(std::span<char* const> arguments, Streams streams) {
    const Invocation invocation = readInvocation(arguments);
    const auto credential = CredentialValidator().validate(invocation.agent, invocation.clientID,
                                                           invocation.credentialFile);
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
    ignoreSignals();
    keepMemoryPrivate();
    try {
        run(arguments, streams);
    } catch (const std::exception& failure) {
        report(failure, streams.error);
    } catch (...) {
        // Nothing of ours throws anything else; the prompt goes on all the same.
    }
}

} // namespace sorvane::SorvaneHook
