#include "decoder/formats/whole_rows.h"

#include <cstring>

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

} // namespace

TEST_CASE("rows are handed over where they belong, in either order and however narrow") {
    for (const Size size : {Size{1, 1}, Size{1, 1023}, Size{1, 1024}, Size{1, 2500}, Size{3, 700},
                            Size{512, 5}, Size{600, 3}, Size{2000, 2}}) {
        CAPTURE(size.width);
        CAPTURE(size.height);
        Bytes picture(std::size_t{size.width} * size.height);
        for (std::size_t i = 0; i < picture.size(); ++i)
            picture[i] = static_cast<std::uint8_t>(i * 31 % 251);
        for (const RowOrder order : {RowOrder::topDown, RowOrder::bottomUp}) {
            StoredRows stored(size);
            RowsInOrder rows(stored, size, {Channels::grey}, order);
            for (std::uint32_t i = 0; i < size.height; ++i) {
                const std::uint32_t y = order == RowOrder::topDown ? i : size.height - 1 - i;
                rows.take(picture.data() + std::size_t{y} * size.width);
            }
            CHECK((stored.bytes == picture));
            CHECK(stored.calls == (size.height - 1) / rowsTogether(size.width) + 1);
        }
    }
}
