#include "bench/drawing.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sorvane::bench {

namespace {

using Colour = std::uint8_t[3];

// A number for a position that nobody sees an order in.
std::uint32_t scattered(std::uint32_t x, std::uint32_t y, std::uint32_t kind) {
    std::uint32_t value = x * 0x9e3779b1U ^ y * 0x85ebca77U ^ kind * 0xc2b2ae3dU;
    value = (value ^ value >> 15) * 0x2c1b3c6dU;
    value = (value ^ value >> 12) * 0x297a2d39U;
    return value ^ value >> 15;
}

std::uint8_t toByte(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

// Writing: every sign is a few strokes in its cell, drawn once.

constexpr std::size_t signWidth = 15;
constexpr std::size_t signHeight = 32;
constexpr std::size_t signCount = 64;

using Sign = std::array<std::uint8_t, signWidth * signHeight>;

struct Stroke {
    double x1, y1, x2, y2;
};

double distance(const Stroke& stroke, double x, double y) {
    const double dx = stroke.x2 - stroke.x1;
    const double dy = stroke.y2 - stroke.y1;
    const double along = ((x - stroke.x1) * dx + (y - stroke.y1) * dy) / (dx * dx + dy * dy + 1e-9);
    const double t = std::clamp(along, 0.0, 1.0);
    return std::hypot(x - stroke.x1 - t * dx, y - stroke.y1 - t * dy);
}

Stroke strokeOf(std::uint32_t sign, std::uint32_t index) {
    const std::uint32_t bits = scattered(sign, index, 1);
    // Between the corners of a grid of 3 by 4, as letters' strokes are.
    const auto column = [&](std::uint32_t at) { return 3.0 + 4.5 * ((bits >> at & 0xff) % 3); };
    const auto line = [&](std::uint32_t at) { return 7.0 + 5.5 * ((bits >> at & 0xff) % 4); };
    return {column(0), line(8), column(16), line(24)};
}

Sign drawSign(std::uint32_t number) {
    constexpr double penRadius = 1.2;
    constexpr std::uint32_t strokes = 4;
    Sign sign{};
    for (std::size_t i = 0; i < sign.size(); ++i) {
        double nearest = signHeight;
        for (std::uint32_t index = 0; index < strokes; ++index)
            nearest = std::min(nearest,
                               distance(strokeOf(number, index), static_cast<double>(i % signWidth),
                                        static_cast<double>(i / signWidth)));
        sign[i] = toByte(255 * (penRadius + 0.5 - nearest));
    }
    return sign;
}

const std::array<Sign, signCount>& signs() {
    static const auto drawn = [] {
        std::array<Sign, signCount> all;
        for (std::uint32_t i = 0; i < signCount; ++i) all[i] = drawSign(i);
        return all;
    }();
    return drawn;
}

struct Area {
    std::size_t left, top, right, bottom;
};

void fill(Drawing& drawing, Area area, const Colour& colour) {
    for (std::size_t y = area.top; y < std::min(area.bottom, drawing.height); ++y)
        for (std::size_t x = area.left; x < std::min(area.right, drawing.width); ++x)
            drawing.set(x, y, colour);
}

void blend(Drawing& drawing, std::size_t x, std::size_t y, const Colour& ink, unsigned part) {
    std::uint8_t* pixel = drawing.rgba.data() + 4 * (y * drawing.width + x);
    for (std::size_t i = 0; i < 3; ++i)
        pixel[i] = static_cast<std::uint8_t>((pixel[i] * (255 - part) + ink[i] * part + 127) / 255);
}

void write(Drawing& drawing, std::size_t left, std::size_t top, const Sign& sign,
           const Colour& ink) {
    for (std::size_t i = 0; i < sign.size(); ++i)
        if (sign[i] != 0) blend(drawing, left + i % signWidth, top + i / signWidth, ink, sign[i]);
}

// Lines of words of several lengths and inks, indented as source text is.
void writeText(Drawing& drawing, Area area, std::uint32_t kind) {
    constexpr Colour inks[] = {{212, 212, 212}, {86, 156, 214}, {206, 145, 120}, {106, 153, 85}};
    const std::size_t columns = (area.right - area.left) / signWidth;
    const auto lines = static_cast<std::uint32_t>((area.bottom - area.top) / signHeight);
    for (std::uint32_t line = 0; line < lines; ++line) {
        const std::size_t length = scattered(line, 0, kind) % columns;
        for (std::size_t column = 4 * (scattered(line, 1, kind) % 5); column < length; ++column) {
            const auto word = static_cast<std::uint32_t>(column / 7);
            const std::uint32_t sign = scattered(line, static_cast<std::uint32_t>(column), kind);
            if (sign % 6 == 0) continue;
            write(drawing, area.left + column * signWidth, area.top + line * signHeight,
                  signs()[sign % signCount], inks[scattered(line, word, kind + 1) % 4]);
        }
    }
}

void castShadow(Drawing& drawing, Area area) {
    constexpr std::size_t reach = 24;
    constexpr Colour black = {0, 0, 0};
    for (std::size_t depth = 0; depth < reach; ++depth) {
        const auto dark = static_cast<unsigned>(4 * (reach - depth));
        for (std::size_t x = area.left; x < area.right; ++x)
            if (area.bottom + depth < drawing.height)
                blend(drawing, x, area.bottom + depth, black, dark);
        for (std::size_t y = area.top; y < std::min(area.bottom, drawing.height); ++y)
            if (area.right + depth < drawing.width)
                blend(drawing, area.right + depth, y, black, dark);
    }
}

void drawWindow(Drawing& drawing, Area area, std::uint32_t kind) {
    constexpr std::size_t barHeight = 56;
    constexpr Colour bar = {50, 50, 54};
    constexpr Colour side = {37, 37, 40};
    constexpr Colour paper = {30, 30, 30};
    const std::size_t sideEnd = area.left + (area.right - area.left) / 5;
    castShadow(drawing, area);
    fill(drawing, area, paper);
    fill(drawing, {area.left, area.top, sideEnd, area.bottom}, side);
    fill(drawing, {area.left, area.top, area.right, area.top + barHeight}, bar);
    writeText(drawing, {area.left + 24, area.top + barHeight, sideEnd - 24, area.bottom}, kind);
    writeText(drawing, {sideEnd + 24, area.top + barHeight, area.right - 24, area.bottom},
              kind + 7);
}

void drawBackground(Drawing& drawing) {
    for (std::size_t y = 0; y < drawing.height; ++y) {
        const double down = static_cast<double>(y) / static_cast<double>(drawing.height);
        const Colour colour = {toByte(40 + 60 * down), toByte(60 + 50 * down),
                               toByte(140 - 40 * down)};
        for (std::size_t x = 0; x < drawing.width; ++x) drawing.set(x, y, colour);
    }
}

// Between 0 and 1, changing softly from one corner of a lattice to the next.
double softNoise(double x, double y, std::uint32_t kind) {
    const auto left = static_cast<std::uint32_t>(x);
    const auto top = static_cast<std::uint32_t>(y);
    const auto corner = [&](std::uint32_t dx, std::uint32_t dy) {
        return scattered(left + dx, top + dy, kind) / 4294967295.0;
    };
    const auto ease = [](double t) { return t * t * (3 - 2 * t); };
    const double across = ease(x - left);
    const double down = ease(y - top);
    const double above = corner(0, 0) + across * (corner(1, 0) - corner(0, 0));
    const double below = corner(0, 1) + across * (corner(1, 1) - corner(0, 1));
    return above + down * (below - above);
}

double shapes(double x, double y, std::uint32_t kind) {
    constexpr double maxSize = 640;
    constexpr std::uint32_t sizes = 5;
    double value = 0;
    double part = 0.5;
    double size = maxSize;
    for (std::uint32_t i = 0; i < sizes; ++i, part /= 2, size /= 3)
        value += part * softNoise(x / size, y / size, kind + i);
    return value;
}

} // namespace

Drawing::Drawing(std::size_t w, std::size_t h) : width(w), height(h), rgba(4 * w * h, 255) {}

void Drawing::set(std::size_t x, std::size_t y, const std::uint8_t (&colour)[3]) {
    std::copy_n(colour, 3, rgba.data() + 4 * (y * width + x));
}

Drawing screenshot(std::size_t width, std::size_t height) {
    Drawing drawing(width, height);
    drawBackground(drawing);
    drawWindow(drawing, {width / 20, height / 16, width * 2 / 3, height * 7 / 8}, 11);
    drawWindow(drawing, {width / 2, height / 4, width * 19 / 20, height * 15 / 16}, 29);
    return drawing;
}

Drawing photograph(std::size_t width, std::size_t height) {
    constexpr std::uint32_t grain = 13;
    constexpr std::uint32_t colourGrain = 5;
    Drawing drawing(width, height);
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x) {
            const auto noise = [&](std::uint32_t channel, std::uint32_t size) {
                return scattered(x, y, channel) % size - (size - 1) / 2.0;
            };
            const double light = 255 * shapes(x, y, 100) + noise(0, grain);
            const double tint = 60 * (softNoise(x / 300.0, y / 300.0, 200) - 0.5);
            drawing.set(x, y,
                        {toByte(light + tint + noise(1, colourGrain)),
                         toByte(light + noise(2, colourGrain)),
                         toByte(light - tint + noise(3, colourGrain))});
        }
    return drawing;
}

} // namespace sorvane::bench
