#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

#include "identity/image_formats.h"

using namespace sorvane;
using namespace std::string_literals;

namespace {

constexpr std::string_view png = "\x89PNG\r\n\x1a\n";

std::optional<ImageFormat> formatOf(std::string_view firstBytes) {
    const auto row = imageFormat(firstBytes);
    return row ? std::optional(row->format) : std::nullopt;
}

} // namespace

TEST_CASE("a format is recognised by its first bytes") {
    CHECK(formatOf(png) == ImageFormat::png);
    CHECK(formatOf(std::string(png) + "anything") == ImageFormat::png);
    CHECK(formatOf("\xFF\xD8\xFF") == ImageFormat::jpeg);
    CHECK(formatOf("\xFF\xD8\xFF\xE0\0\x10JFIF\0"s) == ImageFormat::jpeg);
    CHECK(formatOf("\xFF\xD8\xFF\xE1") == ImageFormat::jpeg);
    CHECK(formatOf("\xFF\xD8\xFF\xDB") == ImageFormat::jpeg);
}

TEST_CASE("what does not begin so is no picture") {
    const std::vector<std::string> texts = {"",
                                            "\0"s,
                                            "text",
                                            "{}",
                                            "%PDF-1.7",
                                            "<svg xmlns=\"http://www.w3.org/2000/svg\"/>",
                                            "\x89PNG",
                                            "\x89PNG\r\n\x1a",
                                            "\x89PNG\n\x1a\n",
                                            "\x89PNG\r\n\x1a\r",
                                            "\x89png\r\n\x1a\n",
                                            "PNG\r\n\x1a\n",
                                            " \x89PNG\r\n\x1a\n",
                                            "\x09PNG\r\n\x1a\n",
                                            "\x89MNG\r\n\x1a\n",
                                            "\xFF\xD8",
                                            "\xFF\xD8\xFE",
                                            "\xFF\xD9\xFF",
                                            "\xD8\xFF\xFF",
                                            "\0\xFF\xD8\xFF"s};
    for (const std::string& text : texts) {
        CAPTURE(text);
        CHECK_FALSE(imageFormat(text));
    }
}

TEST_CASE("the common formats are read by the one program, the rare ones by the other") {
    CHECK(imageFormat(png)->program == "sorvane-pixels");
    CHECK(imageFormat("\xFF\xD8\xFF")->program == "sorvane-pixels");
}
