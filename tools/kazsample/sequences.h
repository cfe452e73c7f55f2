// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kazsample {

// Writes the bundled picture sequences into `folder`: "snow" (falling flakes over transparency,
// a foreground), "bokeh" (soft drifting lights over transparency, a middle ground) and "sky" (an
// opaque gradient sky with moving clouds, a background), 24 looping frames each. Colours are
// stored pre-multiplied by alpha, as the picture-layer effects stack them. Throws
// std::runtime_error when a file cannot be written.
void WriteSequences(const std::string& folder);

}  // namespace kazsample
