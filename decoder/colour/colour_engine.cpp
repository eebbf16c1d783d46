#include "decoder/colour/colour_engine.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <ranges>

#include <lcms2.h>
#include <lcms2_plugin.h>

#include "decoder/colour/srgb.h"
#include "support/c_deleter.h"

namespace sorvane::decoder {

namespace {

// The target's version. Between two profiles of version 4 the engine compensates black points under
// the perceptual intent, even when it is told not to.
constexpr double targetVersion = 2.1;

constexpr cmsUInt32Number exactFlags = cmsFLAGS_NOOPTIMIZE;
constexpr cmsUInt32Number tableFlags =
    cmsFLAGS_FORCE_CLUT | cmsFLAGS_CLUT_PRE_LINEARIZATION | cmsFLAGS_NOWHITEONWHITEFIXUP;

constexpr double chromaticityUnit = 100'000;

using Doubles [[gnu::vector_size(32)]] = double;

constexpr Doubles toSrgb[3] = {{srgb::fromXyz[0][0], srgb::fromXyz[0][1], srgb::fromXyz[0][2]},
                               {srgb::fromXyz[1][0], srgb::fromXyz[1][1], srgb::fromXyz[1][2]},
                               {srgb::fromXyz[2][0], srgb::fromXyz[2][1], srgb::fromXyz[2][2]}};

// X, Y and Z under the profiles' white.
using Xyz = Light;

cmsUInt32Number formatOf(SampleFormat format) {
    const cmsUInt32Number space = isGrey(format.channels)             ? PT_GRAY
                                  : format.channels == Channels::cmyk ? PT_CMYK
                                                                      : PT_RGB;
    const cmsUInt32Number alpha = hasAlpha(format.channels) ? 1 : 0;
    const auto channels = static_cast<cmsUInt32Number>(channelCount(format.channels));
    return COLORSPACE_SH(space) | EXTRA_SH(alpha) | CHANNELS_SH(channels - alpha) |
           BYTES_SH(format.sixteenBits ? 2U : 1U);
}

// The engine stamps every profile with the time of day. For that, the C library would read its time
// zone from a file, which this process may not open; this time zone needs none.
void fixTimeZone() { ::setenv("TZ", ":", 1); }

bool isMatrixAndCurves(cmsHPROFILE profile) {
    return cmsGetColorSpace(profile) == cmsSigRgbData && cmsGetPCS(profile) == cmsSigXYZData &&
           cmsIsTag(profile, cmsSigAToB0Tag) == FALSE;
}

bool isLinear(const cmsStage* stage) {
    if (cmsStageType(stage) != cmsSigCurveSetElemType) return false;
    const auto* curves = static_cast<const _cmsStageToneCurvesData*>(cmsStageData(stage));
    for (cmsUInt32Number i = 0; i < curves->nCurves; ++i)
        if (cmsIsToneCurveLinear(curves->TheCurves[i]) == FALSE) return false;
    return true;
}

// The number of grid points along each edge of the profile's table, if the profile is of the usual
// kind: curves or none, a table of Lab with edges of one length, and linear curves alone after it.
std::optional<cmsUInt32Number> pointsOfPlainTable(cmsHPROFILE profile) {
    if (cmsGetPCS(profile) != cmsSigLabData || cmsIsTag(profile, cmsSigAToB0Tag) == FALSE)
        return std::nullopt;
    const auto* stages = static_cast<const cmsPipeline*>(cmsReadTag(profile, cmsSigAToB0Tag));
    const cmsStage* stage = stages == nullptr ? nullptr : cmsPipelineGetPtrToFirstStage(stages);
    if (stage != nullptr && cmsStageType(stage) == cmsSigCurveSetElemType)
        stage = cmsStageNext(stage);
    if (stage == nullptr || cmsStageType(stage) != cmsSigCLutElemType) return std::nullopt;
    const auto* table = static_cast<const _cmsStageCLutData*>(cmsStageData(stage))->Params;
    const std::span points(table->nSamples, table->nInputs);
    if (std::ranges::adjacent_find(points, std::not_equal_to<>()) != points.end())
        return std::nullopt;
    for (stage = cmsStageNext(stage); stage != nullptr; stage = cmsStageNext(stage))
        if (!isLinear(stage)) return std::nullopt;
    return points.front();
}

// From Lab of 16 bits.
Xyz xyzOf(const std::array<std::uint16_t, 3>& lab) {
    constexpr Xyz white = {static_cast<float>(srgb::profileWhite[0]),
                           static_cast<float>(srgb::profileWhite[1]),
                           static_cast<float>(srgb::profileWhite[2])};
    constexpr float bend = 24.0F / 116;
    const float y = (static_cast<float>(lab[0]) * (100.0F / 65535) + 16) / 116;
    const float a = static_cast<float>(lab[1]) / 257 - 128;
    const float b = static_cast<float>(lab[2]) / 257 - 128;
    const Xyz root = {y + a / 500, y, y - b / 200};
    return white * (root > bend ? root * root * root : (108.0F / 841) * (root - 16.0F / 116));
}

Light lightOf(const Xyz& xyz) {
    return __builtin_convertvector(toSrgb[0] * xyz[0] + toSrgb[1] * xyz[1] + toSrgb[2] * xyz[2],
                                   Light);
}

cmsHPROFILE openProfile(std::span<const std::uint8_t> bytes) {
    fixTimeZone();
    return cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size()));
}

} // namespace

void ColourEngine::Close::operator()(void* profile) const { cmsCloseProfile(profile); }
void ColourEngine::Delete::operator()(void* transform) const { cmsDeleteTransform(transform); }

// Left alone, the engine would put a grid of precalculated colours in place of most profiles,
// which is wrong by up to 25 levels where colours leave sRGB, and fast arithmetic in place of
// matrix and curves, which is wrong by up to one. So it is told to evaluate everything, but for the
// one grid that loses nothing: the profile's own table, calculated at its own points.
std::optional<ColourEngine> ColourEngine::from(const Profile& source, SampleFormat format) {
    if (!source) return std::nullopt;
    const auto points = pointsOfPlainTable(source.get());
    const Profile target(points ? cmsCreateLab4Profile(nullptr) : cmsCreateXYZProfile());
    if (!target) return std::nullopt;
    cmsSetProfileVersion(target.get(), targetVersion);
    ColourEngine engine;
    engine.transform_.reset(cmsCreateTransform(
        source.get(), formatOf(format), target.get(),
        points ? TYPE_Lab_16 : TYPE_XYZ_FLT | EXTRA_SH(1), INTENT_PERCEPTUAL,
        cmsFLAGS_NOCACHE | (points ? tableFlags | cmsFLAGS_GRIDPOINTS(*points) : exactFlags)));
    if (!engine.transform_) return std::nullopt;
    engine.pixelBytes_ = format.pixelBytes();
    engine.additive_ = isMatrixAndCurves(source.get());
    engine.byTable_ = points.has_value();
    return engine;
}

std::optional<ColourEngine> ColourEngine::fromProfile(std::span<const std::uint8_t> bytes,
                                                      SampleFormat format) {
    const Profile profile(openProfile(bytes));
    // Floating-point tables repeat what other tags say, and few programs read them. One of very
    // many steps would keep the engine busy for minutes.
    if (profile) cmsWriteTag(profile.get(), cmsSigDToB0Tag, nullptr);
    return from(profile, format);
}

std::optional<ColourEngine> ColourEngine::fromGamma(const GammaAndPrimaries& statement,
                                                    SampleFormat format) {
    fixTimeZone();
    const std::unique_ptr<cmsToneCurve, Release<cmsFreeToneCurve>> curve(
        cmsBuildGamma(nullptr, chromaticityUnit / statement.gamma));
    if (!curve) return std::nullopt;
    if (isGrey(format.channels))
        return from(Profile(cmsCreateGrayProfile(cmsD50_xyY(), curve.get())), format);
    const auto point = [&](std::size_t i) {
        return cmsCIExyY{statement.chromaticities[2 * i] / chromaticityUnit,
                         statement.chromaticities[2 * i + 1] / chromaticityUnit, 1};
    };
    const cmsCIExyY white = point(0);
    const cmsCIExyYTRIPLE primaries = {point(1), point(2), point(3)};
    cmsToneCurve* curves[] = {curve.get(), curve.get(), curve.get()};
    return from(Profile(cmsCreateRGBProfile(&white, &primaries, curves)), format);
}

void ColourEngine::convert(const std::uint8_t* samples, std::size_t count, Light* lights) const {
    if (byTable_) return convertByTable(samples, count, lights);
    cmsDoTransform(transform_.get(), samples, lights, static_cast<cmsUInt32Number>(count));
    for (std::size_t i = 0; i < count; ++i) lights[i] = lightOf(lights[i]);
}

void ColourEngine::convertByTable(const std::uint8_t* samples, std::size_t count,
                                  Light* lights) const {
    std::array<std::array<std::uint16_t, 3>, 256> labs;
    for (std::size_t done = 0; done < count; done += labs.size()) {
        const std::size_t block = std::min(labs.size(), count - done);
        cmsDoTransform(transform_.get(), samples + done * pixelBytes_, labs.data(),
                       static_cast<cmsUInt32Number>(block));
        for (std::size_t i = 0; i < block; ++i) lights[done + i] = lightOf(xyzOf(labs[i]));
    }
}

std::string profileName(std::span<const std::uint8_t> bytes) {
    const std::unique_ptr<void, Release<cmsCloseProfile>> profile(openProfile(bytes));
    char name[128] = ""; // more is no name
    if (profile)
        cmsGetProfileInfoASCII(profile.get(), cmsInfoDescription, "en", "US", name, sizeof name);
    std::string text(name, std::find(std::begin(name), std::end(name), '\0'));
    std::ranges::replace_if(
        text, [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

} // namespace sorvane::decoder
