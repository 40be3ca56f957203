// colorize.h - Colorize, recolouring of raw 24- and 32-bit pixel buffers by
// hue, lightness and saturation.
//
// This unit also implements the colour names and text forms declared on
// CColor (color.h): the 140-entry name table (the CSS extended colour
// keywords, in byte-wise alphabetical order, "Gray" spellings except
// "LightGrey"), name lookup, hexadecimal colour text and the nearest-name
// search.
//
// Unit-wide rules:
// - Colorize parameters are three doubles, always in the order hue (degrees:
//   an absolute hue, or a shift added to each pixel's hue when `relativeHue`
//   is true), lightness (a shift added to each pixel's lightness in [0, 1])
//   and saturation (a shift added to each pixel's saturation in [0, 1]).
// - A pixel buffer is `height` rows `rowBytes` apart (0: tightly packed,
//   bitsPerPixel * width / 8 bytes), in increasing address order from the
//   buffer's start. A pixel's first three bytes are red, green, blue; pixels
//   are 3 bytes apart at 24 bits and 4 bytes apart at 32 bits, and a 32-bit
//   pixel's fourth byte is never read or written.
// - The bitmap functions touch only bytes of the rows they are given: a row
//   never extends past `rowBytes`, so pixels that would not fit inside their
//   row are left alone. Depths other than 24 and 32, a null buffer and a
//   negative `rowBytes` give false; a zero or negative width or height gives
//   true with nothing touched.
// - A colourised pixel's lightness never drops below 0.01, so it is never
//   pure black; this is deliberate.
// - Nothing here throws or allocates.
#pragma once

#include "common/utils/color.h"
#include "common/utils/export.h"

class TAVRIN_EXPORT Colorize {
 public:
  // GetParameters() - the parameters that turn colour `from` into colour
  // `to`, computed from their HLS values (a NoColor counts as hue,
  // lightness and saturation 0). Lightness is always the target's lightness
  // minus the source's.
  // - Both monochrome: hue 0, saturation 0; returns true.
  // - `to` in colour, `from` monochrome: hue and saturation are the target's
  //   own (absolute); returns true.
  // - Both in colour: saturation is the difference; hue is the difference
  //   when `relativeHue`, else the target's hue; returns false.
  // - `to` monochrome, `from` in colour: hue 0, saturation -1; returns true.
  static bool GetParameters(double& hue, double& lightness, double& saturation, const CColor& from,
                            const CColor& to, bool relativeHue);

  // ColorizePixel() - recolours the three bytes red, green, blue at `rgb`
  // with `params` pointing at the three doubles hue, lightness, saturation:
  // the pixel's hue becomes params hue (plus its own hue when
  // `relativeHue`), wrapped into [0, 360]; saturation is shifted and clamped
  // to [0, 1]; lightness is shifted and clamped to [0.01, 1]. A zero
  // saturation gives a grey of that lightness. A non-finite hue counts as 0.
  // A null `rgb` or `params` does nothing.
  static void ColorizePixel(unsigned char* rgb, double* params, bool relativeHue);

  // ColorizeBitmap() - runs ColorizePixel() with (hue, lightness,
  // saturation) on every pixel of the buffer (see the rules above). False,
  // with nothing touched, for a depth other than 24 or 32, a null `bits` or
  // a negative `rowBytes`; true otherwise.
  [[nodiscard]] static bool ColorizeBitmap(unsigned char* bits, int width, int height,
                                           int bitsPerPixel, int rowBytes, double hue,
                                           double lightness, double saturation, bool relativeHue);

  // ReassignColors() - a two-colour mask: each pixel whose red, green and
  // blue equal `match`'s becomes `matchColor`'s red, green, blue, every other
  // pixel `otherColor`'s. Alpha bytes are untouched. Same checks, walk and
  // results as ColorizeBitmap().
  [[nodiscard]] static bool ReassignColors(unsigned char* bits, int width, int height,
                                           int bitsPerPixel, int rowBytes, CColor& match,
                                           CColor& matchColor, CColor& otherColor);
};
