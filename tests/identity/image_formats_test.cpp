#include "identity/image_formats.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane;
using namespace std::string_literals;

namespace {

constexpr std::string_view png = "\x89PNG\r\n\x1a\n";

std::optional<ImageFormat> formatOf(std::string_view firstBytes) {
    const auto row = imageFormat(firstBytes);
    return row ? std::optional(row->format) : std::nullopt;
}

std::string boxOf(std::string_view name, const std::string& body) {
    return "\0\0\0"s + static_cast<char>(8 + body.size()) + std::string(name) + body;
}

} // namespace

TEST_CASE("a format is recognised by its first bytes") {
    CHECK(formatOf(png) == ImageFormat::png);
    CHECK(formatOf(std::string(png) + "anything") == ImageFormat::png);
    CHECK(formatOf("\xFF\xD8\xFF") == ImageFormat::jpeg);
    CHECK(formatOf("\xFF\xD8\xFF\xE0\0\x10JFIF\0"s) == ImageFormat::jpeg);
    CHECK(formatOf("\xFF\xD8\xFF\xE1") == ImageFormat::jpeg);
    CHECK(formatOf("\xFF\xD8\xFF\xDB") == ImageFormat::jpeg);
    for (const std::string& beginning :
         {"II*\0"s, "MM\0*"s, "II*\0\x08\0\0\0"s, "II+\0\x08\0\0\0"s, "MM\0+\0\x08\0\0"s})
        CHECK(formatOf(beginning) == ImageFormat::tiff);
    CHECK(formatOf("GIF87a") == ImageFormat::gif);
    CHECK(formatOf("GIF89a\x01\0\x01\0"s) == ImageFormat::gif);
    CHECK(formatOf("RIFF\x1a\0\0\0WEBP"s) == ImageFormat::webp);
    CHECK(formatOf("RIFF\xff\xff\xff\xffWEBPVP8X") == ImageFormat::webp);
    CHECK(formatOf("BM\x46\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0"s) == ImageFormat::bmp);
    CHECK(formatOf("BM------------\x0C\0\0\0more"s) == ImageFormat::bmp);
    CHECK(formatOf("BM------------\x7C\0\0\0"s) == ImageFormat::bmp);
    CHECK(formatOf("\0\0\1\0\1\0\x10\x10\0\0\1\0\x20\0hi\0\0\x16\0\0\0"s) == ImageFormat::icon);
    CHECK(formatOf("\0\0\2\0\1\0\x10\x10\0\0\7\0\7\0hi\0\0\x16\0\0\0"s) == ImageFormat::icon);
    CHECK(formatOf("\0\0\1\0\1\0\x10\x10\0\xFF\1\0\x20\0hi\0\0\x16\0\0\0"s) == ImageFormat::icon);
    CHECK(formatOf("P1\n1 1\n0") == ImageFormat::pnm);
    CHECK(formatOf("P6 # by hand\n1 1 255\nrgb") == ImageFormat::pnm);
    CHECK(formatOf("P5#by hand\n1 1 255\ng") == ImageFormat::pnm);
    CHECK(formatOf("P7\nWIDTH 1\n") == ImageFormat::pnm);
    CHECK(formatOf("\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x18\0bgr"s) == ImageFormat::tga);
    CHECK(formatOf("\x0C\0\x0B\0\0\0\0\0\0\0\0\0\0\1\0\1\x08\x20made by"s) == ImageFormat::tga);
    CHECK(formatOf("\0\1\1\0\0\0\1\x18\0\0\0\0\1\0\1\0\x08\0bgr"s) == ImageFormat::tga);
    CHECK(formatOf("8BPS\0\1"s) == ImageFormat::psd);
    CHECK(formatOf("8BPS\0\2\0\0"s) == ImageFormat::psd);
    CHECK(formatOf(boxOf("ftyp", "heic\0\0\0\0mif1heic"s)) == ImageFormat::heif);
    CHECK(formatOf(boxOf("ftyp", "avif\0\0\0\0"s)) == ImageFormat::heif);
    CHECK(formatOf("\xFF\x4F\xFF\x51") == ImageFormat::jpeg2000);
    CHECK(formatOf(boxOf("jP  ", "\r\n\x87\n") + boxOf("ftyp", "")) == ImageFormat::jpeg2000);
    CHECK(formatOf("\xFF\x0A") == ImageFormat::jpegXl);
    CHECK(formatOf(boxOf("JXL ", "\r\n\x87\n") + boxOf("ftyp", "")) == ImageFormat::jpegXl);
    CHECK(formatOf(boxOf("ftyp", "MiHB\0\0\0\0MiHEMiPrmif1"s)) == ImageFormat::heif);
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
                                            "GIF8",
                                            "RIFFWEBP",
                                            "RIFF\x1a\0\0\0WEB"s,
                                            "RIFF\x1a\0\0\0WAVE"s,
                                            "RIFX\x1a\0\0\0WEBP"s,
                                            "GIF88a",
                                            "GIF89b",
                                            "gif89a",
                                            " GIF89a",
                                            "\xFF\xD8",
                                            "\xFF\xD8\xFE",
                                            "\xFF\xD9\xFF",
                                            "\xD8\xFF\xFF",
                                            "\0\xFF\xD8\xFF"s,
                                            "II*"s,
                                            "II\0*"s,
                                            "MM*\0"s,
                                            "IM*\0"s,
                                            "II+\0"s,
                                            "II+\0\0\x08\0\0"s,
                                            "BM",
                                            "BMI is weight over the square of height",
                                            "BM------------\x28\0\0"s,
                                            "BM------------\x29\0\0\0"s,
                                            "BM------------\x28\0\0\1"s,
                                            "\0\0\1\0"s,
                                            "\0\0\3\0\1\0\x10\x10\0\0\1\0\x20\0hi\0\0\x16\0\0\0"s,
                                            "\0\0\1\0\0\0\x10\x10\0\0\1\0\x20\0hi\0\0\x16\0\0\0"s,
                                            "\0\0\1\0\1\0\x10\x10\0\x20\1\0\x20\0hi\0\0\x16\0\0\0"s,
                                            "\0\0\1\xBA\1\0\x10\x10\0\0\1\0\x20\0hi\0\0\x16\0\0\0"s,
                                            "\0\0\1\0\1\0\x10\x10\0\0\1\0\x20\0hi\0\0\0\0\0\0"s,
                                            "P6",
                                            "P6\n",
                                            "P6 is a processor",
                                            "P12 1 1 0",
                                            "P0\n1 1",
                                            "P8\n1 1",
                                            "p6\n1 1",
                                            "P7 332\n",
                                            "8BPS",
                                            "8BPS\0\3"s,
                                            "\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x18"s,
                                            "\0\0\2\0\0\0\0\0\0\0\0\0\0\0\1\0\x18\0"s,
                                            "\0\0\2\0\0\0\0\0\0\0\0\0\1\0\0\0\x18\0"s,
                                            "\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x17\0"s,
                                            "\0\0\2\0\0\0\0\0\0\0\0\0\1\0\1\0\x18\x40"s,
                                            "\0\0\2\0\1\0\0\0\0\0\0\0\1\0\1\0\x18\0"s,
                                            "\0\0\1\0\0\0\0\0\0\0\0\0\1\0\1\0\x08\0"s,
                                            "\0\1\1\0\0\0\0\x18\0\0\0\0\1\0\1\0\x08\0"s,
                                            boxOf("ftyp", "isom\0\0\0\0mp42avc1"s),
                                            boxOf("ftyp", "qt  heic\0\0\0\0"s),
                                            boxOf("ftyp", "isom\0\0\0\0"s) + "heic",
                                            boxOf("free", "heic\0\0\0\0mif1heic"s),
                                            boxOf("ftyp", ""),
                                            boxOf("JXL ", "\r\n\x87\r"),
                                            boxOf("jP2 ", "\r\n\x87\n"),
                                            "\xFF\x4F\xFF\x52"};
    for (const std::string& text : texts) {
        CAPTURE(text);
        CHECK_FALSE(imageFormat(text));
    }
}

TEST_CASE("the common formats are read by the one program, the rare ones by the other") {
    CHECK(imageFormat(png)->program == "sorvane-pixels");
    CHECK(imageFormat("\xFF\xD8\xFF")->program == "sorvane-pixels");
    CHECK(imageFormat("MM\0*"s)->program == "sorvane-pixels");
    CHECK(imageFormat("GIF89a")->program == "sorvane-pixels");
    CHECK(imageFormat("RIFF    WEBP")->program == "sorvane-pixels");
    CHECK(imageFormat("P1\n1 1\n0")->program == "sorvane-pixels-extra");
    CHECK(imageFormat(boxOf("ftyp", "heic\0\0\0\0"s))->program == "sorvane-pixels-extra");
}
