#include "identity/file_identity.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>

#include <sys/stat.h>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "tests/children.h"
#include "tests/identity/sample_pictures.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_literals;
using nlohmann::json;
using Path = std::filesystem::path;

namespace {

/// A file of a test's own.
class File {
  public:
    explicit File(std::string_view content) { test::putFile(path, content); }

    json identity() const { return HelperIO::attachmentIdentity(path); }

  private:
    const test::TemporaryDirectory directory_;

  public:
    const Path path = directory_.path() / "file";
};

json onlyDigestOf(std::string_view content) { return {{"sha256", HelperIO::sha256(content)}}; }

json identityOf(std::string_view content) { return File(content).identity(); }

} // namespace

TEST_CASE("an empty file has the digest of nothing") {
    CHECK(identityOf("") ==
          json{{"sha256", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"}});
}

TEST_CASE("a file that is no picture has its digest alone") {
    for (const std::string& content :
         {"text"s, "\0"s, "{}"s, "\x89PNG"s, std::string(1'000'000, 'x')}) {
        CHECK(identityOf(content) == onlyDigestOf(content));
    }
}

TEST_CASE("a picture that nobody has time for is known by its bytes alone") {
    const std::string png = test::redPixelPNG();
    const File picture(png);
    CHECK(HelperIO::attachmentIdentity(picture.path, std::chrono::steady_clock::now()) ==
          onlyDigestOf(png));
}

TEST_CASE("the digest is of all bytes, wherever the pieces end") {
    for (const std::size_t length : {131'071U, 131'072U, 131'073U, 262'144U, 300'001U}) {
        CAPTURE(length);
        std::string content;
        for (int number = 0; content.size() < length; ++number) content += std::to_string(number);
        content.resize(length);
        CHECK(identityOf(content) == onlyDigestOf(content));
    }
}

TEST_CASE("a file that only begins like a picture has its digest alone") {
    const std::string png = test::redPixelPNG();
    for (const std::string& content :
         {png.substr(0, 8), png.substr(0, 20), png.substr(0, 8) + std::string(500'000, 'x'),
          "\xFF\xD8\xFF"s, "\xFF\xD8\xFF\xE0" + std::string(500'000, '\0')}) {
        CHECK(identityOf(content) == onlyDigestOf(content));
    }
    CHECK(test::hasNoChild());
}

TEST_CASE("a picture has the digest of its pixels and its size too") {
    const std::string png = test::redPixelPNG();
    CHECK(identityOf(png) == json{{"sha256", HelperIO::sha256(png)},
                                  {"pixelHash", HelperIO::sha256("1x1:rgba8-srgb:\xFF\0\0\xFF"s)},
                                  {"pixelWidth", 1},
                                  {"pixelHeight", 1}});
    CHECK(test::hasNoChild());
}

TEST_CASE("the same pixels in another file have another digest and the same pixel digest") {
    const json one = identityOf(test::redPixelPNG());
    const json other = identityOf(test::redPixelPNG("Comment"));
    CHECK(one.at("sha256") != other.at("sha256"));
    CHECK(one.at("pixelHash") == other.at("pixelHash"));
}

TEST_CASE("a file that cannot be read is a failure") {
    const File file("");
    const Path folder = file.path.parent_path();
    const Path fifo = folder / "fifo";
    REQUIRE(::mkfifo(fifo.c_str(), 0600) == 0);
    for (const Path& path : {folder / "missing", folder, fifo, Path("/dev/null"), file.path / "x",
                             Path(file.path.native() + "\0.png"s), Path("")}) {
        CAPTURE(path.native());
        CHECK_THROWS_AS(HelperIO::attachmentIdentity(path), std::system_error);
    }
}
