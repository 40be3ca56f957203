// colorize_internal.h - helpers of the colour units that tests call directly.
//
// Internal header: not installed and not part of the public interface. The
// functions are exported only so that the test suites can reach them.
#pragma once

#include "common/utils/color.h"
#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils::detail {

// ParseHexColorString() - parses hexadecimal colour text: any number of
// leading "#", then exactly six or three hexadecimal digits (C-locale
// classification; "abc" means "aabbcc"), read as red, green, blue. On
// success sets `out` to (red, green, blue, 255) and returns true; on any
// other text (empty, other lengths, a non-digit, any character outside
// ASCII) returns false with `out` unchanged.
[[nodiscard]] TAVRIN_EXPORT bool ParseHexColorString(tavrin_ustring text, CColor& out);

// CalcValue() - the hue step of the HLS to RGB conversion: one channel for
// the hue `hue` (degrees) between the levels n1 and n2. With the 0.001
// tolerance: a hue of 360 or more loses 360 once, then a negative hue gains
// 360 once; below 60 the channel rises from n1 to n2, up to 180 it is n2, up
// to 240 it falls back to n1, beyond it is n1. Never fails.
TAVRIN_EXPORT double CalcValue(double n1, double n2, double hue);

}  // namespace tavrin::utils::detail
