#include "decoder/formats/whole_rows.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

struct StoredRows : PixelSink {
    explicit StoredRows(Size size) : bytes(std::size_t{size.width} * size.height) {}

    void take(const PixelRun& run) override {
        ++calls;
        REQUIRE((std::size_t{run.row} + run.rows) * run.count <= bytes.size());
        std::memcpy(bytes.data() + std::size_t{run.row} * run.count, run.samples,
                    std::size_t{run.rows} * run.count);
    }

    Bytes bytes;
    std::size_t calls = 0;
};

const std::vector<Size> sizes = {{1, 1},   {1, 1023}, {1, 1024}, {1, 2500},
                                 {3, 700}, {512, 5},  {600, 3},  {2000, 2}};

Bytes pictureOf(Size size) {
    Bytes picture(std::size_t{size.width} * size.height);
    for (std::size_t i = 0; i < picture.size(); ++i)
        picture[i] = static_cast<std::uint8_t>(i * 31 % 251);
    return picture;
}

} // namespace

TEST_CASE("rows are handed over where they belong, in either order and however narrow") {
    for (const Size size : sizes) {
        CAPTURE(size.width);
        CAPTURE(size.height);
        const Bytes picture = pictureOf(size);
        for (const RowOrder order : {RowOrder::topDown, RowOrder::bottomUp}) {
            StoredRows stored(size);
            RowsInOrder rows(stored, size, {Channels::grey}, order);
            for (std::uint32_t i = 0; i < size.height; ++i) {
                const std::uint32_t y = order == RowOrder::topDown ? i : size.height - 1 - i;
                const std::uint8_t* row = picture.data() + std::size_t{y} * size.width;
                if (i % 3 == 0) {
                    rows.take(row);
                } else {
                    std::memcpy(rows.nextRow(), row, size.width);
                    rows.rowWritten();
                }
            }
            CHECK((stored.bytes == picture));
            CHECK(stored.calls == (size.height - 1) / rowsPerBlock(size.width) + 1);
        }
    }
}

TEST_CASE("rows may come together, as many as they like") {
    for (const Size size : sizes) {
        CAPTURE(size.width);
        CAPTURE(size.height);
        const Bytes picture = pictureOf(size);
        for (const std::uint32_t together : {2U, 700U, 1024U, 2500U}) {
            CAPTURE(together);
            StoredRows stored(size);
            RowsInOrder rows(stored, size, {Channels::grey});
            std::uint32_t count = 0;
            for (std::uint32_t y = 0; y < size.height; y += count) {
                // By turns as many as are handed over together.
                count = count == together ? rowsPerBlock(size.width) : together;
                rows.take(picture.data() + std::size_t{y} * size.width,
                          std::min(count, size.height - y));
            }
            CHECK((stored.bytes == picture));
            CHECK(stored.calls == (size.height - 1) / rowsPerBlock(size.width) + 1);
        }
    }
}
