#pragma once

#include <csignal>

namespace sorvane::test {

/// Handles a signal in another way for the time of a scope. Calls that it interrupts are not made
/// again by the system.
class ScopedSignal {
  public:
    ScopedSignal(int number, void (*handler)(int)) : number_(number) {
        struct sigaction action {};
        action.sa_handler = handler;
        ::sigaction(number_, &action, &before_);
    }
    ScopedSignal(const ScopedSignal&) = delete;
    ScopedSignal& operator=(const ScopedSignal&) = delete;
    ~ScopedSignal() { ::sigaction(number_, &before_, nullptr); }

  private:
    int number_;
    struct sigaction before_ {};
};

} // namespace sorvane::test
