#include "identity/pixels/colour_engine.h"

#include <cstdlib>
#include <utility>

#include <lcms2.h>

namespace sorvane::pixels {

namespace {

// The most steps that a table may have. Tables of integers have five; those of floating point are a
// list of any length, each member of which costs every pixel its time.
constexpr cmsUInt32Number stageLimit = 16;

// The version that profiles have whose black points the engine leaves alone: between newer ones it
// would move them under the perceptual intent, whether asked or not.
constexpr double plainVersion = 2.1;

constexpr double chromaticityUnit = 100'000;

// From light under the profiles' white (D50) to sRGB's primaries: the inverse of their colorants,
// which are those of BT.709 under D65, adapted to D50 by Bradford's method.
constexpr double toSrgb[3][3] = {{3.1341863642, -1.6172089590, -0.4906940641},
                                 {-0.9787485042, 1.9161300968, 0.0334333992},
                                 {0.0719639278, -0.2289938735, 1.4057537329}};

cmsUInt32Number formatOf(SampleFormat format) {
    const cmsUInt32Number space = isGrey(format.channels)             ? PT_GRAY
                                  : format.channels == Channels::cmyk ? PT_CMYK
                                                                      : PT_RGB;
    const cmsUInt32Number alpha = hasAlpha(format.channels) ? 1 : 0;
    const auto channels = static_cast<cmsUInt32Number>(channelCount(format.channels));
    return COLORSPACE_SH(space) | EXTRA_SH(alpha) | CHANNELS_SH(channels - alpha) |
           BYTES_SH(format.sixteenBits ? 2U : 1U);
}

// Every profile that the engine opens or makes is given the time of day. To tell it, the C library
// would look for its time zone in a file, which this process may not open; this one it knows.
void settleTimeZone() { ::setenv("TZ", ":", 1); }

bool hasOnlyShortTables(cmsHPROFILE profile) {
    for (const cmsTagSignature name : {cmsSigDToB0Tag, cmsSigAToB0Tag}) {
        if (cmsIsTag(profile, name) == FALSE) continue;
        const auto* stages = static_cast<const cmsPipeline*>(cmsReadTag(profile, name));
        if (stages == nullptr || cmsPipelineStageCount(stages) > stageLimit) return false;
    }
    return true;
}

bool isMatrixAndCurves(cmsHPROFILE profile) {
    return cmsGetColorSpace(profile) == cmsSigRgbData && cmsGetPCS(profile) == cmsSigXYZData &&
           cmsIsTag(profile, cmsSigDToB0Tag) == FALSE && cmsIsTag(profile, cmsSigAToB0Tag) == FALSE;
}

struct FreeCurve {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};

} // namespace

void ColourEngine::Close::operator()(void* profile) const { cmsCloseProfile(profile); }
void ColourEngine::Delete::operator()(void* transform) const { cmsDeleteTransform(transform); }

std::optional<ColourEngine> ColourEngine::from(Profile source, SampleFormat format) {
    if (!source || !hasOnlyShortTables(source.get())) return std::nullopt;
    const Profile light(cmsCreateXYZProfile());
    if (!light) return std::nullopt;
    cmsSetProfileVersion(light.get(), plainVersion);
    // Not optimised: the engine's grids of precalculated colours are wrong by up to 25 levels where
    // colours leave sRGB, and its fast arithmetic for matrix and curves is by up to one.
    Transform transform(cmsCreateTransform(source.get(), formatOf(format), light.get(),
                                           TYPE_XYZ_FLT, INTENT_PERCEPTUAL,
                                           cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE));
    if (!transform) return std::nullopt;
    return ColourEngine(std::move(transform), isMatrixAndCurves(source.get()));
}

std::optional<ColourEngine> ColourEngine::fromProfile(std::span<const std::uint8_t> profile,
                                                      SampleFormat format) {
    settleTimeZone();
    return from(Profile(cmsOpenProfileFromMem(profile.data(),
                                              static_cast<cmsUInt32Number>(profile.size()))),
                format);
}

std::optional<ColourEngine> ColourEngine::fromGamma(const GammaAndPrimaries& said,
                                                    SampleFormat format) {
    settleTimeZone();
    const std::unique_ptr<cmsToneCurve, FreeCurve> curve(
        cmsBuildGamma(nullptr, chromaticityUnit / said.gamma));
    if (!curve) return std::nullopt;
    if (isGrey(format.channels))
        return from(Profile(cmsCreateGrayProfile(cmsD50_xyY(), curve.get())), format);
    const auto point = [&](std::size_t i) {
        return cmsCIExyY{said.chromaticities[2 * i] / chromaticityUnit,
                         said.chromaticities[2 * i + 1] / chromaticityUnit, 1};
    };
    const cmsCIExyY white = point(0);
    const cmsCIExyYTRIPLE primaries = {point(1), point(2), point(3)};
    cmsToneCurve* curves[] = {curve.get(), curve.get(), curve.get()};
    return from(Profile(cmsCreateRGBProfile(&white, &primaries, curves)), format);
}

void ColourEngine::convert(const std::uint8_t* samples, std::size_t count, Light* lights) const {
    cmsDoTransform(transform_.get(), samples, lights, static_cast<cmsUInt32Number>(count));
    for (std::size_t i = 0; i < count; ++i) {
        const auto [x, y, z] = lights[i];
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const auto& row = toSrgb[channel];
            lights[i][channel] = static_cast<float>(row[0] * x + row[1] * y + row[2] * z);
        }
    }
}

} // namespace sorvane::pixels
