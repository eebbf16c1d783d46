#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "tests/decoder/colour/profile_bytes.h"

/// Profiles of a table, written in the test, with what they mean in double precision.
namespace sorvane::test {

using Triple = std::array<double, 3>;

/// The three forms that a table may have in a file.
enum class TableForm { mft1, mft2, mAB };

/// A table from device values to Lab: curves, a grid, and curves that change nothing, unless they
/// are to be bent.
class TableProfile {
  public:
    TableProfile(TableForm form, std::size_t channels, std::size_t grid, bool bent = false)
        : form_(form), channels_(channels), grid_(grid) {
        for (int i = 0; i < 256; ++i) {
            curve_.push_back(quantized(std::pow(i / 255.0, 0.8), 1));
            lastCurve_.push_back(quantized(std::pow(i / 255.0, bent ? 1.1 : 1), 1));
        }
        std::size_t nodes = 1;
        for (std::size_t i = 0; i < channels; ++i) nodes *= grid;
        for (std::size_t node = 0; node < nodes; ++node) {
            const Triple lab = labAt(node);
            nodes_.push_back({quantized(lab[0] / 100, labTop()),
                              quantized((lab[1] + 128) / 255, labTop()),
                              quantized((lab[2] + 128) / 255, labTop())});
        }
    }

    /// The whole profile, and its table alone.
    Bytes bytes() const {
        return profileOf({{"A2B0", tag()}}, channels_ == 4 ? "CMYK" : "RGB ", "Lab ", "prtr");
    }

    Bytes tag() const {
        const auto in = static_cast<std::uint8_t>(channels_);
        return form_ == TableForm::mAB ? newTag(in) : oldTag(in);
    }

    /// The table's Lab for device values of 0 to 1: linear along the first of four channels,
    /// tetrahedral among the last three.
    Triple lab(const std::vector<double>& device) const {
        std::vector<double> position;
        for (const double value : device)
            position.push_back(curveAt(curve_, value) * static_cast<double>(grid_ - 1));
        Triple encoded = interpolated(position, 0, 0);
        for (double& value : encoded) value = curveAt(lastCurve_, value);
        return {encoded[0] / labTop() * 100, encoded[1] / labTop() * 255 - 128,
                encoded[2] / labTop() * 255 - 128};
    }

  private:
    double top() const { return form_ == TableForm::mft1 ? 255 : 65535; }
    // The value of full lightness: old tables of 16 bits go a little beyond it.
    double labTop() const { return form_ == TableForm::mft2 ? 65280.0 / 65535 : 1; }

    double quantized(double value, double scale) const {
        return std::clamp(std::round(value * scale * top()) / top(), 0.0, 1.0);
    }

    // Something like inks, or like lights, with a black that is not quite dark and colours that
    // sRGB cannot show.
    Triple labAt(std::size_t node) const {
        std::array<double, 4> value{};
        for (std::size_t i = channels_; i-- > 0; node /= grid_)
            value[i] = static_cast<double>(node % grid_) / static_cast<double>(grid_ - 1);
        const bool inks = channels_ == 4;
        const double light = inks ? 1 - 0.9 * value[3] : 1;
        Triple rgb;
        for (std::size_t i = 0; i < 3; ++i) rgb[i] = light * (inks ? 1 - value[i] : value[i]);
        return {8 + 30 * rgb[0] + 50 * rgb[1] + 12 * rgb[2], 90 * (rgb[0] - rgb[1]) + 10 * rgb[2],
                60 * (rgb[0] + rgb[1]) - 110 * rgb[2]};
    }

    static double curveAt(const std::vector<double>& curve, double value) {
        const double position = value * 255;
        const auto below = std::min(static_cast<std::size_t>(position), std::size_t{254});
        const double part = position - static_cast<double>(below);
        return curve[below] * (1 - part) + curve[below + 1] * part;
    }

    Triple interpolated(const std::vector<double>& position, std::size_t channel,
                        std::size_t node) const {
        if (position.size() - channel == 3) return tetrahedral(position, channel, node);
        const auto below = std::min(static_cast<std::size_t>(position[channel]), grid_ - 2);
        const double part = position[channel] - static_cast<double>(below);
        const Triple low = interpolated(position, channel + 1, node * grid_ + below);
        const Triple high = interpolated(position, channel + 1, node * grid_ + below + 1);
        Triple result;
        for (std::size_t i = 0; i < 3; ++i) result[i] = low[i] * (1 - part) + high[i] * part;
        return result;
    }

    // From the lowest corner of the cell along its edges, the longest way first.
    Triple tetrahedral(const std::vector<double>& position, std::size_t channel,
                       std::size_t node) const {
        const std::array<std::size_t, 3> strides = {grid_ * grid_, grid_, 1};
        std::array<std::pair<double, std::size_t>, 3> edges;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto below = std::min(static_cast<std::size_t>(position[channel + i]), grid_ - 2);
            edges[i] = {position[channel + i] - static_cast<double>(below), strides[i]};
            node = node * grid_ + below;
        }
        std::ranges::sort(edges, std::greater<>());
        Triple result = nodes_[node];
        for (const auto& [part, stride] : edges) {
            for (std::size_t i = 0; i < 3; ++i)
                result[i] += part * (nodes_[node + stride][i] - nodes_[node][i]);
            node += stride;
        }
        return result;
    }

    Bytes numbers(double value) const {
        const auto number = static_cast<unsigned>(std::lround(value * top()));
        if (form_ == TableForm::mft1) return {static_cast<std::uint8_t>(number)};
        return {static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
    }

    Bytes table() const {
        Bytes data;
        for (const Triple& node : nodes_)
            for (const double value : node)
                for (const std::uint8_t byte : numbers(value)) data.push_back(byte);
        return data;
    }

    Bytes curve(const std::vector<double>& values) const {
        Bytes data;
        for (const double value : values)
            for (const std::uint8_t byte : numbers(value)) data.push_back(byte);
        return data;
    }

    Bytes oldTag(std::uint8_t in) const {
        const bool wide = form_ == TableForm::mft2;
        Bytes data = joined({test::bytes(wide ? "mft2" : "mft1"),
                             Bytes(4),
                             {in, 3, static_cast<std::uint8_t>(grid_), 0}});
        for (int i = 0; i < 9; ++i) data = joined({data, fixed16(i % 4 == 0 ? 1 : 0)});
        if (wide) data = joined({data, {1, 0, 1, 0}});
        for (std::size_t i = 0; i < channels_; ++i) data = joined({data, curve(curve_)});
        data = joined({data, table()});
        for (int i = 0; i < 3; ++i) data = joined({data, curve(lastCurve_)});
        return data;
    }

    // Its parts in the order in which they are run.
    Bytes newTag(std::uint8_t in) const {
        constexpr std::uint32_t head = 32;
        const Bytes last =
            joined({test::bytes("curv"), Bytes(4), bigEndian32(256), curve(lastCurve_)});
        Bytes curves;
        for (std::size_t i = 0; i < channels_; ++i)
            curves =
                joined({curves, test::bytes("curv"), Bytes(4), bigEndian32(256), curve(curve_)});
        Bytes points(16);
        std::fill_n(points.begin(), channels_, static_cast<std::uint8_t>(grid_));
        Bytes grid = joined({points, {2, 0, 0, 0}, table()});
        grid.resize((grid.size() + 3) / 4 * 4);
        const auto atGrid = static_cast<std::uint32_t>(head + curves.size());
        const auto atLast = static_cast<std::uint32_t>(atGrid + grid.size());
        return joined({test::bytes("mAB "),
                       Bytes(4),
                       {in, 3, 0, 0},
                       bigEndian32(atLast),
                       Bytes(8),
                       bigEndian32(atGrid),
                       bigEndian32(head),
                       curves,
                       grid,
                       last,
                       last,
                       last});
    }

    TableForm form_;
    std::size_t channels_;
    std::size_t grid_;
    std::vector<double> curve_;
    std::vector<double> lastCurve_;
    std::vector<Triple> nodes_;
};

} // namespace sorvane::test
