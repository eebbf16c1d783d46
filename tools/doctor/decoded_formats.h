#pragma once

#include <string_view>
#include <vector>

#include "tools/doctor/tiny_pictures.h"

namespace sorvane::doctor {

/// The decoders of this system.
std::vector<std::string_view> decoderPrograms();

/// The pictures that one of them must be able to decode.
std::vector<TinyPicture> picturesFor(std::string_view program);

} // namespace sorvane::doctor
