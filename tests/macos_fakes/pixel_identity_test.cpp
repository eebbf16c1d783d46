#include "decoder/pixel_identity.h"

#include <algorithm>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/unique_descriptor.h"
#include "tests/decoder/input_file.h"
#include "tests/identity/identity_in.h"
#include "tests/macos_fakes/fake_system.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace sorvane::test;
using macos::FakeSystem;

namespace {

const Bytes content = {'f', 'i', 'l', 'e'};

using Calls = std::vector<std::string>;

const Calls toTheSource = {"CGImageSourceCreateWithData(file, no options)"};
const Calls toTheProperties = {"CGImageSourceCreateWithData(file, no options)",
                               "CGImageSourceCopyPropertiesAtIndex(0, no options)"};

std::optional<PixelIdentity> identityOf(const Bytes& bytes) {
    InputFile file(bytes);
    return identityIn(decoder::pixelIdentity(file.source()));
}

/// A file on the disk, which may be larger than a pipe.
class LargeFile {
  public:
    explicit LargeFile(std::size_t size) {
        putFile(directory_.path() / "file", std::string(size, 'x'));
        descriptor_ = UniqueDescriptor(::open((directory_.path() / "file").c_str(), O_RDONLY));
    }

    std::optional<PixelIdentity> identity() const {
        decoder::ByteSource source(descriptor_.get());
        return identityIn(decoder::pixelIdentity(source));
    }

    std::string explanation() const {
        decoder::ByteSource source(descriptor_.get());
        return decoder::explanation(source);
    }

    void rewind() const { ::lseek(descriptor_.get(), 0, SEEK_SET); }
    off_t bytesRead() const { return ::lseek(descriptor_.get(), 0, SEEK_CUR); }

  private:
    TemporaryDirectory directory_;
    UniqueDescriptor descriptor_;
};

std::size_t count(const Calls& calls, std::string_view function) {
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [=](const auto& call) { return call.starts_with(function); }));
}

} // namespace

TEST_CASE("a picture is read, set upright, drawn and digested by exactly these calls") {
    FakeSystem fake;
    const auto identity = identityOf(content);
    REQUIRE(identity);
    // The SHA-256 of "2x1:rgba8-srgb:" and the bytes 1 to 8.
    CHECK(identity->digest == "ef7a13d9c8ec913a6afffa7b3a9c65533332edf3cc10ff146ece8d470f0da9a4");
    CHECK(identity->width == 2);
    CHECK(identity->height == 1);
    const std::string options = "{ThumbnailFromImageAlways: true, ThumbnailMaxPixelSize: 2, "
                                "ThumbnailWithTransform: true}";
    CHECK(fake.calls == Calls{"CGImageSourceCreateWithData(file, no options)",
                              "CGImageSourceCopyPropertiesAtIndex(0, no options)",
                              "CGImageSourceCreateThumbnailAtIndex(0, " + options + ")",
                              "CGColorSpaceCreateWithName(sRGB)",
                              "CGBitmapContextCreate(2 x 1, 8 bits, 8 bytes a row, 0x4001)",
                              "CGContextSetInterpolationQuality(1)",
                              "CGContextDrawImage(0, 0, 2, 1)"});
}

TEST_CASE("a turned picture is drawn and digested in its upright size and declared in the file's") {
    FakeSystem fake;
    fake.picture.decodedWidth = 1;
    fake.picture.decodedHeight = 2;
    const auto identity = identityOf(content);
    REQUIRE(identity);
    // The SHA-256 of "1x2:rgba8-srgb:" and the bytes 1 to 8.
    CHECK(identity->digest == "5d58060e9b686bf34e7253d15e5ebdf48788927334e66ac346af27d36925a34c");
    CHECK(identity->width == 2);
    CHECK(identity->height == 1);
    CHECK(count(fake.calls, "CGBitmapContextCreate(1 x 2, 8 bits, 4 bytes a row, 0x4001)") == 1);
    CHECK(fake.calls.back() == "CGContextDrawImage(0, 0, 1, 2)");
}

TEST_CASE("the longer declared side bounds the upright picture") {
    for (const auto& [width, height, expected] :
         {std::tuple{300, 20, "ThumbnailMaxPixelSize: 300,"},
          std::tuple{20, 300, "ThumbnailMaxPixelSize: 300,"},
          std::tuple{60'000'000, 1, "ThumbnailMaxPixelSize: 60000000,"}}) {
        FakeSystem fake;
        fake.picture.width = std::int64_t{width};
        fake.picture.height = std::int64_t{height};
        CHECK(identityOf(content));
        CHECK(fake.calls[2].find(expected) != std::string::npos);
    }
}

TEST_CASE("a whole number is a size whatever kind of number it is") {
    FakeSystem fake;
    fake.picture.width = 2.0;
    CHECK(identityOf(content));
}

TEST_CASE("a file of many pieces reaches the reader whole") {
    FakeSystem fake;
    const Bytes large(65'000, 'x');
    CHECK(identityOf(large));
    CHECK(fake.calls.front() ==
          "CGImageSourceCreateWithData(" + std::string(65'000, 'x') + ", no options)");
}

TEST_CASE("a file of 64 KiB and more is read on only when its beginning has a type") {
    for (const std::size_t size : {65'535U, 65'536U, 200'000U}) {
        CAPTURE(size);
        const LargeFile file(size);
        FakeSystem fake;
        CHECK(file.identity());
        const std::string whole = "CGImageSourceCreateWithData(" + std::string(size, 'x');
        if (size < 65'536) {
            CHECK(fake.calls[0] == whole + ", no options)");
            continue;
        }
        CHECK(fake.calls[0] ==
              "CGImageSourceCreateWithData(" + std::string(65'536, 'x') + ", no options)");
        CHECK(fake.calls[1] == "CGImageSourceGetType()");
        CHECK(fake.calls[2] == whole + ", no options)");
    }
}

TEST_CASE("a file without a type is not read on") {
    for (const char* function : {"CGImageSourceGetType", "CGImageSourceCreateWithData"}) {
        const LargeFile file(200'000);
        FakeSystem fake;
        fake.failing = {function};
        CHECK_FALSE(file.identity());
        CHECK(file.bytesRead() == 65'536);
        CHECK(count(fake.calls, "CGImageSource") <= 2);
        file.rewind();
        CHECK(file.explanation() == "reason no image format that the system knows\n");
        CHECK(file.bytesRead() == 65'536);
    }
}

TEST_CASE("what the reader does not know has no identity") {
    FakeSystem fake;
    fake.failing = {"CGImageSourceCreateWithData"};
    CHECK_FALSE(identityOf(content));
    CHECK(fake.calls == toTheSource);
}

TEST_CASE("an empty file is left to the reader, too") {
    FakeSystem fake;
    fake.failing = {"CGImageSourceCopyPropertiesAtIndex"};
    CHECK_FALSE(identityOf({}));
    CHECK(fake.calls.front() == "CGImageSourceCreateWithData(, no options)");
}

TEST_CASE("a picture without properties has no identity") {
    FakeSystem fake;
    fake.failing = {"CGImageSourceCopyPropertiesAtIndex"};
    CHECK_FALSE(identityOf(content));
    CHECK(fake.calls == toTheProperties);
}

TEST_CASE("a declared size that is missing, no whole number or not positive gives no identity") {
    using Declared = macos::Picture::Declared;
    for (const Declared& side :
         {Declared(std::monostate()), Declared(1.5), Declared("2"), Declared(std::int64_t{0}),
          Declared(std::int64_t{-1}), Declared(std::int64_t{1} << 32 | 1)}) {
        CAPTURE(side.index());
        for (const bool isWidth : {true, false}) {
            FakeSystem fake;
            (isWidth ? fake.picture.width : fake.picture.height) = side;
            CHECK_FALSE(identityOf(content));
            CHECK(fake.calls == toTheProperties);
        }
    }
}

TEST_CASE("a declared size over the budget is never decoded, one of exactly the budget is") {
    for (const auto& [width, height, within] :
         {std::tuple{7500, 8000, true}, std::tuple{8000, 7500, true}, std::tuple{8000, 8000, false},
          std::tuple{60'000'001, 1, false}, std::tuple{1, 60'000'001, false},
          std::tuple{2'000'000'000, 2'000'000'000, false}}) {
        FakeSystem fake;
        fake.picture.width = std::int64_t{width};
        fake.picture.height = std::int64_t{height};
        CHECK(identityOf(content).has_value() == within);
        CHECK((fake.calls == toTheProperties) == !within);
    }
}

TEST_CASE("a picture that cannot be decoded has no identity and is not drawn") {
    FakeSystem fake;
    fake.failing = {"CGImageSourceCreateThumbnailAtIndex"};
    CHECK_FALSE(identityOf(content));
    CHECK(fake.calls.size() == 3);
}

TEST_CASE("a decoded size over the budget is rejected before there is a frame or a colour space") {
    for (const auto& [width, height] :
         {std::pair<std::size_t, std::size_t>{0, 1}, std::pair<std::size_t, std::size_t>{1, 0},
          std::pair<std::size_t, std::size_t>{8000, 8000},
          // A frame of this size could not be had.
          std::pair<std::size_t, std::size_t>{std::size_t{1} << 30, std::size_t{1} << 30},
          std::pair<std::size_t, std::size_t>{(std::size_t{1} << 32) + 1, 1}}) {
        FakeSystem fake;
        fake.picture.decodedWidth = width;
        fake.picture.decodedHeight = height;
        CHECK_FALSE(identityOf(content));
        CHECK(fake.calls.size() == 3);
        CHECK(fake.digestedLengths.empty());
    }
}

TEST_CASE("without its colour space nothing is drawn") {
    FakeSystem fake;
    fake.failing = {"CGColorSpaceCreateWithName"};
    CHECK_FALSE(identityOf(content));
    CHECK(fake.calls.size() == 4);
}

TEST_CASE("without a context nothing is drawn") {
    FakeSystem fake;
    fake.failing = {"CGBitmapContextCreate"};
    CHECK_FALSE(identityOf(content));
    CHECK(fake.calls.size() == 5);
}

TEST_CASE("where an object of the way cannot be had, there is no identity and nothing is left") {
    for (const char* function : {"CFDataCreateMutable", "CFNumberCreate", "CFDictionaryCreate"}) {
        CAPTURE(function);
        FakeSystem fake;
        fake.failing = {function};
        CHECK_FALSE(identityOf(content));
        CHECK(count(fake.calls, "CGImageSourceCreateThumbnailAtIndex") == 0);
    }
}

TEST_CASE("a file of more than 2 GiB is not kept") {
    FakeSystem fake;
    fake.presentBytes = (2L << 30) - 3;
    CHECK_FALSE(identityOf(content));
    CHECK(fake.calls.empty());
    fake.presentBytes = (2L << 30) - 4;
    CHECK(identityOf(content));
}

TEST_CASE("what becomes of a picture, and why, is explained in lines") {
    const auto explained = [] {
        InputFile file(content);
        return decoder::explanation(file.source());
    };
    const std::string known = "format public.png\nsize 2 1\n";
    {
        FakeSystem fake;
        CHECK(explained() == known + "orientation 1\ncolour untagged\n");
    }
    {
        FakeSystem fake;
        fake.picture.orientation = std::int64_t{6};
        fake.picture.profile = std::string("Display P3");
        CHECK(explained() == known + "orientation 6\ncolour Display P3\n");
    }
    {
        FakeSystem fake;
        fake.picture.profile = std::int64_t{3};
        CHECK(explained() == known + "orientation 1\ncolour untagged\n");
    }
    {
        FakeSystem fake;
        fake.picture.width = std::int64_t{60'000'001};
        CHECK(explained() == "format public.png\nsize 60000001 1\norientation 1\ncolour untagged\n"
                             "reason more than 60000000 pixels\n");
    }
    {
        FakeSystem fake;
        fake.failing.insert("CGImageSourceCreateThumbnailAtIndex");
        CHECK(explained() == known + "orientation 1\ncolour untagged\n"
                                     "reason the picture is damaged\n");
    }
    {
        FakeSystem fake;
        fake.failing.insert("CGImageSourceCreateWithData");
        CHECK(explained() == "reason no image format that the system knows\n");
    }
}
