#pragma once

#include <exception>
#include <string>

namespace sorvane {

/// A failure with a text for the user. The hook catches it once, in `SorvaneHook::main`, and prints
/// "Sorvane: " and `errorDescription()`.
class HelperFailure : public std::exception {
  public:
    /// The command line is unusable.
    static HelperFailure invalidArguments(std::string message);

    /// The client's identity or credential is rejected.
    static HelperFailure invalidRequest(std::string message);

    /// A state file was written, but not restricted to its owner.
    static HelperFailure configuration(std::string message);

    /// The application cannot be reached, answered badly or refused. `message` is a whole sentence:
    /// it is shown without a prefix.
    static HelperFailure unavailable(std::string message);

    /// A pairing request was refused.
    static HelperFailure denied();

    /// A pairing request expired.
    static HelperFailure timedOut();

    /// The text for the user: the prefix of the kind, then the message unchanged; for the kinds
    /// without a message a sentence of their own.
    std::string errorDescription() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

    /// Equal when kind and message are.
    friend bool operator==(const HelperFailure& left, const HelperFailure& right) {
        return left.kind_ == right.kind_ && left.description_ == right.description_;
    }

  private:
    enum class Kind {
        invalidArguments,
        invalidRequest,
        configuration,
        unavailable,
        denied,
        timedOut
    };

    HelperFailure(Kind kind, std::string description);

    Kind kind_;
    std::string description_;
};

} // namespace sorvane
