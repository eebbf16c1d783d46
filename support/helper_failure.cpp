#include "support/helper_failure.h"

#include <utility>

namespace sorvane {

HelperFailure::HelperFailure(Kind kind, std::string_view prefix, std::string message)
    : kind_(kind), message_(std::move(message)), description_(std::string(prefix) + message_) {}

HelperFailure HelperFailure::invalidArguments(std::string message) {
    return {Kind::invalidArguments, "Invalid arguments: ", std::move(message)};
}

// Credential failures share this prefix with pairing: both mean that the client must pair again.
HelperFailure HelperFailure::invalidRequest(std::string message) {
    return {Kind::invalidRequest, "Invalid pairing request: ", std::move(message)};
}

HelperFailure HelperFailure::configuration(std::string message) {
    return {Kind::configuration, "Agent configuration failed: ", std::move(message)};
}

HelperFailure HelperFailure::unavailable(std::string message) {
    return {Kind::unavailable, "", std::move(message)};
}

HelperFailure HelperFailure::denied() {
    return {Kind::denied, "The Sorvane pairing request was denied.", ""};
}

HelperFailure HelperFailure::timedOut() {
    return {Kind::timedOut, "The Sorvane pairing request timed out.", ""};
}

} // namespace sorvane
