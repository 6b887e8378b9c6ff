#pragma once

#include <string>

#include "simulator/settings.h"
#include "simulator/wind.h"

namespace sonic::simulator {

/// The instrument's own text for one sample, without framing and line end. "5ABEC" gives u, v, w,
/// speed of sound, temperature, diagnostic word and the checksum of all of them.
std::string output_line(const Settings& settings, const Sample& sample);

}  // namespace sonic::simulator
