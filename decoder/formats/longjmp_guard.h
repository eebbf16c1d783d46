#pragma once

#include <csetjmp>

namespace sorvane::decoder {

/// Makes a call into a library written in C, which leaves it by a longjmp to `escape` when it
/// fails: false then. An exception would have to pass frames that were compiled as C, without a
/// promise of unwind tables; a longjmp must not pass a frame that has something to destroy. So
/// `call` is a lambda that calls the library and nothing else, and the library's callbacks own
/// nothing: these are what is jumped over.
template<class Call>
bool completes(std::jmp_buf& escape, const Call& call) {
    if (setjmp(escape) != 0) return false;
    call();
    return true;
}

} // namespace sorvane::decoder
