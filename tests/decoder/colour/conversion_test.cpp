// Conversions against the same in double precision, for every kind of profile.

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <vector>

#include <doctest/doctest.h>

#include "decoder/colour/colour_step.h"
#include "tests/decoder/colour/table_profile.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

using Matrix = std::array<Triple, 3>;
constexpr Triple whiteOfProfiles = {0.9642, 1, 0.8249};

Triple times(const Matrix& matrix, const Triple& vector) {
    Triple result{};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t i = 0; i < 3; ++i) result[row] += matrix[row][i] * vector[i];
    return result;
}

Matrix times(const Matrix& left, const Matrix& right) {
    Matrix result{};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            for (std::size_t i = 0; i < 3; ++i)
                result[row][column] += left[row][i] * right[i][column];
    return result;
}

Matrix diagonal(const Triple& values) {
    return {{{values[0], 0, 0}, {0, values[1], 0}, {0, 0, values[2]}}};
}

Matrix inverse(const Matrix& of) {
    Matrix result;
    double determinant = 0;
    for (std::size_t row = 0; row < 3; ++row) {
        const std::size_t r1 = (row + 1) % 3;
        const std::size_t r2 = (row + 2) % 3;
        for (std::size_t column = 0; column < 3; ++column) {
            const std::size_t c1 = (column + 1) % 3;
            const std::size_t c2 = (column + 2) % 3;
            result[column][row] = of[r1][c1] * of[r2][c2] - of[r1][c2] * of[r2][c1];
        }
        determinant += of[0][row] * (of[1][(row + 1) % 3] * of[2][(row + 2) % 3] -
                                     of[1][(row + 2) % 3] * of[2][(row + 1) % 3]);
    }
    for (Triple& row : result)
        for (double& value : row) value /= determinant;
    return result;
}

// Primaries and white, x and y each, to XYZ under the profiles' white.
Matrix adapted(const std::array<double, 8>& chromaticities) {
    const auto point = [&](std::size_t i) {
        const double x = chromaticities[2 * i];
        const double y = chromaticities[2 * i + 1];
        return Triple{x / y, 1, (1 - x - y) / y};
    };
    Matrix primaries;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t row = 0; row < 3; ++row) primaries[row][i] = point(i + 1)[row];
    const Triple amounts = times(inverse(primaries), point(0));
    constexpr Matrix cones = {
        {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
    const Triple from = times(cones, point(0));
    const Triple to = times(cones, whiteOfProfiles);
    const Matrix adaptation =
        times(inverse(cones),
              times(diagonal({to[0] / from[0], to[1] / from[1], to[2] / from[2]}), cones));
    return times(adaptation, times(primaries, diagonal(amounts)));
}

constexpr std::array<double, 8> srgbPoints = {0.3127, 0.3290, 0.64, 0.33, 0.30, 0.60, 0.15, 0.06};
constexpr std::array<double, 8> p3Points = {0.3127, 0.3290, 0.68, 0.32, 0.265, 0.69, 0.15, 0.06};

// A number as a profile has it.
double stored(double value) { return std::round(value * 65536) / 65536; }

Matrix stored(Matrix matrix) {
    for (Triple& row : matrix)
        for (double& value : row) value = stored(value);
    return matrix;
}

double srgbLight(double value) {
    if (value < stored(0.04045)) return value * stored(1 / 12.92);
    return std::pow(value * stored(1 / 1.055) + stored(0.055 / 1.055), stored(2.4));
}

// 0 to 255, not rounded.
Triple srgbOf(const Triple& xyz) {
    static const Matrix toSrgb = inverse(adapted(srgbPoints));
    Triple result = times(toSrgb, xyz);
    for (double& light : result) {
        light = std::clamp(light, 0.0, 1.0);
        light =
            255 * (light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
    }
    return result;
}

Triple xyzOf(const Triple& lab) {
    const double y = (lab[0] + 16) / 116;
    Triple result = {y + lab[1] / 500, y, y - lab[2] / 200};
    for (std::size_t i = 0; i < 3; ++i) {
        const double t = result[i];
        result[i] =
            whiteOfProfiles[i] * (t > 24.0 / 116 ? t * t * t : 108.0 / 841 * (t - 16.0 / 116));
    }
    return result;
}

using Device = std::vector<double>;
using Reference = std::function<Triple(const Device&)>;

// Colours of every region, among them the darkest and the purest, and those of one channel alone.
std::vector<std::vector<unsigned>> colours(std::size_t channels, unsigned top) {
    std::vector<unsigned> levels;
    const unsigned steps = channels == 4 ? 13 : 33;
    for (unsigned i = 0; i < steps; ++i) levels.push_back(i * top / (steps - 1));
    for (unsigned i = 1; i < 6; ++i) levels.push_back(i * (top / 255));
    std::vector<std::vector<unsigned>> result = {{}};
    for (std::size_t channel = 0; channel < channels; ++channel) {
        std::vector<std::vector<unsigned>> longer;
        for (const auto& colour : result)
            for (const unsigned level : levels) {
                longer.push_back(colour);
                longer.back().push_back(level);
            }
        result = std::move(longer);
    }
    return result;
}

// The largest difference from the reference before that is rounded.
template<class Sample>
double maxError(const ColourStatement& statement, Channels channels, const Reference& reference) {
    constexpr unsigned top = sizeof(Sample) == 1 ? 255 : 65535;
    const ColourStep step({statement}, {channels, sizeof(Sample) == 2});
    double max = 0;
    for (const auto& colour : colours(channelCount(channels), top)) {
        std::vector<Sample> samples;
        Device device;
        for (const unsigned value : colour) {
            samples.push_back(static_cast<Sample>(value));
            device.push_back(static_cast<double>(value) / top);
        }
        std::array<std::uint8_t, 4> rgba;
        step.convert(reinterpret_cast<const std::uint8_t*>(samples.data()), 1, rgba.data());
        const Triple wanted = reference(device);
        for (std::size_t i = 0; i < 3; ++i) max = std::max(max, std::abs(rgba[i] - wanted[i]));
    }
    return max;
}

// Half a level is the rounding's; the rest is what is not exact.
constexpr double nearest = 0.53;
// The engine keeps what comes out of a table in 16 bits.
constexpr double nearestByTable = 0.65;

void checkBothDepths(const ColourStatement& statement, Channels channels,
                     const Reference& reference, double tolerance = nearest) {
    CHECK(maxError<std::uint8_t>(statement, channels, reference) < tolerance);
    CHECK(maxError<std::uint16_t>(statement, channels, reference) < tolerance);
}

Reference matrixReference(const Matrix& matrix, double (*curve)(double)) {
    return [=](const Device& device) {
        return srgbOf(times(matrix, Triple{curve(device[0]), curve(device[1]), curve(device[2])}));
    };
}

// One pixel in `run` differs from the one before it; of the others one in `lastRun` does, in its
// last channel only.
template<class Sample>
std::vector<Sample> rowOfRuns(std::size_t width, unsigned run, unsigned lastRun) {
    std::uint32_t state = 1;
    const auto dice = [&state](unsigned sides) {
        state = state * 1'664'525 + 1'013'904'223;
        return (state >> 8) % sides;
    };
    std::vector<Sample> row(width);
    while (row.size() < width * ColourStep::blockPixels) {
        const bool colour = dice(run) == 0;
        const bool last = colour || dice(lastRun) == 0;
        for (std::size_t channel = 1; channel <= width; ++channel)
            row.push_back((channel < width ? colour : last) ? static_cast<Sample>(dice(65536))
                                                            : row[row.size() - width]);
    }
    return row;
}

template<class Sample>
std::vector<Sample> gradient(std::size_t width) {
    std::vector<Sample> row;
    for (std::size_t i = 0; i < ColourStep::blockPixels; ++i)
        for (std::size_t channel = 0; channel < width; ++channel)
            row.push_back(static_cast<Sample>(i * channel / 5));
    return row;
}

// The row converted in parts of so many pixels.
template<class Sample, class Length>
Bytes inParts(const ColourStep& step, const std::vector<Sample>& row, const Length& length) {
    const auto* const samples = reinterpret_cast<const std::uint8_t*>(row.data());
    Bytes rgba(4 * ColourStep::blockPixels);
    for (std::size_t done = 0, count = 0; done < ColourStep::blockPixels; done += count) {
        count = std::min(length(count), ColourStep::blockPixels - done);
        step.convert(samples + done * step.pixelBytes(), count, rgba.data() + 4 * done);
    }
    return rgba;
}

template<class Sample>
void checkRows(const ColourStatement& statement, Channels channels) {
    CAPTURE(channels);
    CAPTURE(sizeof(Sample));
    const std::size_t width = channelCount(channels);
    const ColourStep step({statement}, {channels, sizeof(Sample) == 2});
    for (const auto& row : {rowOfRuns<Sample>(width, 1, 1), rowOfRuns<Sample>(width, 40, 999),
                            rowOfRuns<Sample>(width, 99, 20), gradient<Sample>(width)}) {
        const Bytes single = inParts(step, row, [](std::size_t) { return std::size_t{1}; });
        CHECK(inParts(step, row, [](std::size_t last) { return last + 1; }) == single);
        CHECK(inParts(step, row, [](std::size_t) { return ColourStep::blockPixels; }) == single);
    }
}

double adobeLight(double value) { return std::pow(value, 563.0 / 256); }

} // namespace

TEST_CASE("matrix and curves are converted to the nearest level") {
    constexpr Matrix p3 = {
        {{0.51512, 0.29198, 0.15710}, {0.24120, 0.69225, 0.06657}, {-0.00105, 0.04189, 0.78407}}};
    checkBothDepths(IccProfile{displayP3Profile()}, Channels::rgb,
                    matrixReference(stored(p3), srgbLight));
    constexpr Matrix adobe = {
        {{0.60974, 0.20528, 0.14919}, {0.31111, 0.62567, 0.06322}, {0.01947, 0.06087, 0.74457}}};
    checkBothDepths(IccProfile{adobeRgbProfile()}, Channels::rgb,
                    matrixReference(stored(adobe), adobeLight));
}

TEST_CASE("curves that begin above zero add their light once") {
    constexpr Matrix srgb = {
        {{0.43607, 0.38515, 0.14307}, {0.22249, 0.71687, 0.06061}, {0.01392, 0.09708, 0.71410}}};
    checkBothDepths(
        IccProfile{rgbProfile(curveTag({6000, 65535}))}, Channels::rgb,
        matrixReference(stored(srgb), [](double value) { return (6000 + value * 59535) / 65535; }));
}

TEST_CASE("gamma and chromaticities are converted to the nearest level") {
    GammaAndPrimaries statement{55556, {}};
    for (std::size_t i = 0; i < p3Points.size(); ++i)
        statement.chromaticities[i] =
            static_cast<std::uint32_t>(std::lround(p3Points[i] * 100'000));
    const auto curve = [](double value) { return std::pow(value, 100'000.0 / 55556); };
    checkBothDepths(statement, Channels::rgb, matrixReference(adapted(p3Points), curve));
    checkBothDepths(statement, Channels::grey, [&](const Device& device) {
        const double light = curve(device[0]);
        return srgbOf({whiteOfProfiles[0] * light, light, whiteOfProfiles[2] * light});
    });
}

TEST_CASE("grey of another curve is converted to the nearest level and stays grey") {
    const IccProfile profile{greyProfile(formulaTag(0, {2.2}))};
    checkBothDepths(profile, Channels::grey, [](const Device& device) {
        const double light = std::pow(device[0], stored(2.2));
        return srgbOf({whiteOfProfiles[0] * light, light, whiteOfProfiles[2] * light});
    });
    const ColourStep step({profile}, {Channels::grey, false});
    for (int value = 0; value < 256; ++value) {
        const auto sample = static_cast<std::uint8_t>(value);
        std::array<std::uint8_t, 4> rgba;
        step.convert(&sample, 1, rgba.data());
        CHECK((rgba[0] == rgba[1] && rgba[1] == rgba[2] && rgba[3] == 255));
    }
}

TEST_CASE("tables are converted to the nearest level, their black where they say it is") {
    struct Row {
        TableForm form;
        std::size_t channels;
        std::size_t grid;
        bool bent;
    };
    for (const Row& row : {Row{TableForm::mft1, 3, 9, false}, Row{TableForm::mft2, 3, 17, false},
                           Row{TableForm::mAB, 3, 9, false}, Row{TableForm::mft1, 4, 5, false},
                           Row{TableForm::mft2, 4, 7, false}, Row{TableForm::mAB, 4, 5, false},
                           Row{TableForm::mft2, 3, 9, true}, Row{TableForm::mAB, 4, 5, true}}) {
        CAPTURE(row.form);
        CAPTURE(row.channels);
        CAPTURE(row.bent);
        const TableProfile table(row.form, row.channels, row.grid, row.bent);
        const auto reference = [&](const Device& device) {
            return srgbOf(xyzOf(table.lab(device)));
        };
        Bytes profile = table.bytes();
        for (const std::uint8_t version : Bytes{2, 4}) {
            constexpr std::size_t versionField = 8;
            profile[versionField] = version;
            checkBothDepths(IccProfile{profile}, row.channels == 4 ? Channels::cmyk : Channels::rgb,
                            reference, nearestByTable);
        }
    }
}

TEST_CASE("the table of the perceptual intent counts, whatever intent the profile names") {
    const auto converted = [](const Bytes& profile) {
        const Bytes pixel = {200, 100, 50};
        Bytes rgba(4);
        ColourStep({IccProfile{profile}}, {Channels::rgb, false})
            .convert(pixel.data(), 1, rgba.data());
        return rgba;
    };
    const Bytes perceptual = TableProfile(TableForm::mft2, 3, 9).tag();
    Bytes other = perceptual;
    constexpr std::ptrdiff_t beginOfGrid = 52 + 3 * 512;
    constexpr std::ptrdiff_t gridPoints = std::ptrdiff_t{9} * 9 * 9;
    constexpr std::ptrdiff_t endOfGrid = beginOfGrid + 6 * gridPoints;
    std::fill(other.begin() + beginOfGrid, other.begin() + endOfGrid, std::uint8_t{0x80});
    Bytes both = profileOf({{"A2B0", perceptual}, {"A2B1", other}}, "RGB ", "Lab ");
    constexpr std::size_t intentField = 67;
    both[intentField] = 1;
    CHECK(converted(both) == converted(profileOf({{"A2B0", perceptual}}, "RGB ", "Lab ")));
    CHECK(converted(both) != converted(profileOf({{"A2B0", other}}, "RGB ", "Lab ")));
}

TEST_CASE("alpha stays as it is beside converted colours") {
    const auto converted = [](const Bytes& profile, Channels channels, const Bytes& pixel) {
        Bytes rgba(4);
        ColourStep({IccProfile{profile}}, {channels, false}).convert(pixel.data(), 1, rgba.data());
        return rgba;
    };
    const Bytes opaque = converted(displayP3Profile(), Channels::rgb, {200, 100, 50});
    CHECK(opaque[3] == 255);
    for (const std::uint8_t alpha : Bytes{0, 1, 128, 255})
        CHECK(converted(displayP3Profile(), Channels::rgba, {200, 100, 50, alpha}) ==
              Bytes{opaque[0], opaque[1], opaque[2], alpha});
    const Bytes grey = greyProfile(curveTag({0x0100}));
    CHECK(converted(grey, Channels::greyAlpha, {55, 9}) == Bytes{128, 128, 128, 9});
    CHECK(converted(TableProfile(TableForm::mft2, 3, 5).bytes(), Channels::rgba, {9, 9, 9, 7})[3] ==
          7);
}

TEST_CASE("a row of pixels is converted as each of them alone") {
    const auto check = [](const Bytes& profile, std::initializer_list<Channels> all) {
        for (const Channels channels : all) {
            checkRows<std::uint8_t>(IccProfile{profile}, channels);
            checkRows<std::uint16_t>(IccProfile{profile}, channels);
        }
    };
    check(displayP3Profile(), {Channels::rgb, Channels::rgba});
    check(TableProfile(TableForm::mft2, 3, 5).bytes(), {Channels::rgb, Channels::rgba});
    check(TableProfile(TableForm::mAB, 3, 5, true).bytes(), {Channels::rgb, Channels::rgba});
    check(TableProfile(TableForm::mft2, 4, 3).bytes(), {Channels::cmyk});
    check(greyProfile(curveTag({0x0100})), {Channels::grey, Channels::greyAlpha});
}
