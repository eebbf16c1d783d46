// Prints the lower case of every scalar that the Unicode tables know: the scalar in hexadecimal, a
// blank, and the scalars of its lower case joined by plus signs. compare_lowercase.py reads it.

#include <cstdio>
#include <string>
#include <string_view>

#include <utf8proc.h>

#include "support/graphemes.h"
#include "support/utf8.h"

namespace {

using namespace sorvane;

void printRow(char32_t scalar) {
    std::string text;
    utf8::append(text, scalar);
    std::printf("%X ", static_cast<unsigned>(scalar));
    const std::string lower = graphemes::lowercased(text);
    const char* between = "";
    for (std::string_view rest = lower; !rest.empty(); between = "+") {
        const utf8::Step next = utf8::step(rest);
        std::printf("%s%X", between, static_cast<unsigned>(next.scalar));
        rest.remove_prefix(next.length);
    }
    std::printf("\n");
}

} // namespace

int main() {
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        const auto category = utf8proc_category(static_cast<utf8proc_int32_t>(scalar));
        if (category != UTF8PROC_CATEGORY_CN && category != UTF8PROC_CATEGORY_CS) printRow(scalar);
    }
}
