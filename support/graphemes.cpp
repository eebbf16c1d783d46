#include "support/graphemes.h"

#include "support/ascii.h"
#include "support/utf8.h"

namespace sorvane::graphemes {

std::string lowercased(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const utf8::Step next = utf8::step(text);
        text.remove_prefix(next.length);
        if (next.scalar < 0x80)
            result += ascii::toLower(static_cast<char>(next.scalar));
        else
            appendLowercased(result, next.scalar);
    }
    return result;
}

} // namespace sorvane::graphemes
