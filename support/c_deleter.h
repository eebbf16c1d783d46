#pragma once

namespace sorvane {

/// For a std::unique_ptr that owns an object of a library written in C: destroys it by the
/// library's own function.
template<auto release>
struct Release {
    template<class Object>
    void operator()(Object* object) const {
        release(object);
    }
};

} // namespace sorvane
