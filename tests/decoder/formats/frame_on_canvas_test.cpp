#include "decoder/formats/frame_on_canvas.h"

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

/// The first byte of every pixel, rows in the order in which they came.
struct FirstBytes : PixelSink {
    Bytes pixels;
    std::vector<std::uint32_t> rows;

    void take(const PixelRun& run) override {
        rows.push_back(run.row);
        for (std::size_t i = 0; i < run.count; ++i) pixels.push_back(run.samples[4 * i]);
    }
};

// Sets a frame of 2 by 2 pixels, numbered from 1, on a canvas of 3 by 3.
FirstBytes placed(Position corner) {
    const Bytes upper = {1, 0, 0, 0, 2, 0, 0, 0};
    const Bytes lower = {3, 0, 0, 0, 4, 0, 0, 0};
    FirstBytes sink;
    FrameOnCanvas canvas({3, 3}, corner, {2, 2});
    canvas.above(sink);
    canvas.row(0, upper.data(), sink);
    canvas.row(1, lower.data(), sink);
    canvas.below(sink);
    return sink;
}

} // namespace

TEST_CASE("a canvas is transparent around its frame") {
    CHECK(placed({0, 0}).pixels == Bytes{1, 2, 0, 3, 4, 0, 0, 0, 0});
    CHECK(placed({1, 0}).pixels == Bytes{0, 1, 2, 0, 3, 4, 0, 0, 0});
    CHECK(placed({1, 1}).pixels == Bytes{0, 0, 0, 0, 1, 2, 0, 3, 4});
}

TEST_CASE("what lies beyond the canvas is cut off") {
    CHECK(placed({2, 0}).pixels == Bytes{0, 0, 1, 0, 0, 3, 0, 0, 0});
    CHECK(placed({0, 2}).pixels == Bytes{0, 0, 0, 0, 0, 0, 1, 2, 0});
    CHECK(placed({2, 2}).pixels == Bytes{0, 0, 0, 0, 0, 0, 0, 0, 1});
    for (const Position outside :
         {Position{3, 0}, Position{0, 3}, Position{4'294'967'295, 0}, Position{0, 4'294'967'295}})
        CHECK(placed(outside).pixels == Bytes(9));
}

TEST_CASE("every row of the canvas comes once, from top to bottom") {
    for (std::uint32_t y = 0; y < 5; ++y) {
        CAPTURE(y);
        CHECK(placed({1, y}).rows == std::vector<std::uint32_t>{0, 1, 2});
    }
}
