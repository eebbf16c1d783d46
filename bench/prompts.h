#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sorvane::bench {

/// A prompt as somebody would paste a log into it: lines of words, none of them a reference.
inline std::string pastedPrompt(std::size_t size) {
    constexpr std::string_view line = "12:04:31 worker[7]: \"resize\" took 18 ms at "
                                      "/srv/images/2024/a-picture.png, see sorvane://help\n";
    std::string text;
    while (text.size() < size) text += line;
    text.resize(size);
    return text;
}

} // namespace sorvane::bench
