#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>

#include <pthread.h>

namespace sorvane::test {

/// Plays `body`, which does not throw, on a stack of so many bytes.
inline void onStack(std::size_t bytes, const std::function<void()>& body) {
    const auto play = [](void* played) -> void* {
        (*static_cast<const std::function<void()>*>(played))();
        return nullptr;
    };
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, bytes);
    pthread_t thread;
    std::function<void()> copy = body;
    const int failure = ::pthread_create(&thread, &attributes, play, &copy);
    ::pthread_attr_destroy(&attributes);
    if (failure != 0) throw std::runtime_error("no thread");
    ::pthread_join(thread, nullptr);
}

} // namespace sorvane::test
