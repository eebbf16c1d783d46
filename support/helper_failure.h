#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace sorvane {

/// A failure with a text for the user. The hook catches it once, in `SorvaneHook::main`, and prints
/// "Sorvane: " and `errorDescription()`.
class HelperFailure : public std::exception {
  public:
    enum class Kind {
        invalidArguments, ///< the command line is unusable
        invalidRequest,   ///< the client's identity or credential is rejected
        configuration,    ///< a state file was written, but not restricted to its owner
        unavailable,      ///< the application cannot be reached, answered badly or refused
        denied,           ///< a pairing request was refused
        timedOut,         ///< a pairing request expired
    };

    static HelperFailure invalidArguments(std::string message);
    static HelperFailure invalidRequest(std::string message);
    static HelperFailure configuration(std::string message);

    /// `message` is a whole sentence: it is shown without a prefix.
    static HelperFailure unavailable(std::string message);

    static HelperFailure denied();
    static HelperFailure timedOut();

    Kind kind() const { return kind_; }

    /// The message that the failure was made with; empty for `denied` and `timedOut`.
    const std::string& message() const { return message_; }

    /// The text for the user: the prefix of the kind, then the message unchanged; for the kinds
    /// without a message a sentence of their own.
    std::string errorDescription() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

    /// Equal when kind and message are.
    friend bool operator==(const HelperFailure& left, const HelperFailure& right) {
        return left.kind_ == right.kind_ && left.message_ == right.message_;
    }

  private:
    HelperFailure(Kind kind, std::string_view prefix, std::string message);

    Kind kind_;
    std::string message_;
    std::string description_;
};

} // namespace sorvane
