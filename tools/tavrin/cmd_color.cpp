// cmd_color.cpp - `tavrin color`: reads a colour name or hexadecimal colour
// text and prints what the library knows about the colour; `--list` prints
// the name table.
#include <cstdio>
#include <string>
#include <vector>

#include "common/utils/color.h"
#include "common/utils/colorize.h"
#include "common/utils/ustring.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using tavrin::utils::CColor;
using tavrin::utils::tavrin_ustring;

const char kUsage[] =
    "usage: tavrin color TEXT\n"
    "       tavrin color --list\n\n"
    "Reads TEXT as a colour name of the 140-name table in any case (\"CornflowerBlue\",\n"
    "\"tomato\") or as hexadecimal colour text (\"#6495ED\", \"6495ed\", \"#abc\" for\n"
    "\"#aabbcc\") and prints its red, green, blue and alpha bytes, the packed 32-bit\n"
    "value (red in the lowest byte), HSV and HLS (hue in degrees, -1 for a grey),\n"
    "the Rec. 601 and Rec. 709 luminance and the nearest table name.\n\n"
    "  --list   print the name table: index, name, red, green, blue, hexadecimal\n\n"
    "Exit status: 0 for a colour, 1 when TEXT is not a colour, 2 for a usage error.\n";

// Parses `text` (UTF-8) as a name or hexadecimal colour text.
bool ParseColor(const std::string& text, CColor& out) {
  const tavrin_ustring units(text);
  return out.SetFromName(units.c_str());
}

std::string Hex(const CColor& c) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "#%02X%02X%02X", c.m_red, c.m_green, c.m_blue);
  return buf;
}

std::string Bytes(const CColor& c) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "(%d, %d, %d, %d)", c.m_red, c.m_green, c.m_blue, c.m_alpha);
  return buf;
}

void PrintColor(std::FILE* out, const std::string& text, const CColor& c) {
  std::fprintf(out, "text       %s\n", text.c_str());
  std::fprintf(out, "rgba       %d %d %d %d\n", c.m_red, c.m_green, c.m_blue, c.m_alpha);
  std::fprintf(out, "hex        %s\n", Hex(c).c_str());
  std::fprintf(out, "packed     0x%08X\n", c.GetRGBA());
  double h = 0, s = 0, v = 0, l = 0, hs = 0;
  if (c.GetHSV(h, s, v)) {
    std::fprintf(out, "hsv        h %.2f  s %.4f  v %.4f%s\n", h, s, v,
                 h < 0 ? "  (grey: no hue)" : "");
  }
  if (c.GetHLS(hs, l, s)) {
    std::fprintf(out, "hls        h %.2f  l %.4f  s %.4f%s\n", hs, l, s,
                 hs < 0 ? "  (grey: no hue)" : "");
  }
  std::fprintf(out, "luminance  %.4f (Rec. 601)  %.4f (Rec. 709)\n",
               c.GetLuminance(CColor::kRec601), c.GetLuminance(CColor::kRec709));
  std::fprintf(out, "nearest    %s\n", c.GetName());
}

int ListNames() {
  for (int i = 0; i < CColor::NumberOfColorNames(); ++i) {
    CColor c;
    const char* name = CColor::GetColorName(i);
    if (!c.SetFromName(tavrin_ustring(name).c_str())) continue;  // every table name parses
    std::printf("%3d  %-22s %3d %3d %3d  %s\n", i, name, c.m_red, c.m_green, c.m_blue,
                Hex(c).c_str());
  }
  return kExitOk;
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {"--list"}, {}, parsed, error)) return UsageError("color", error);
  if (parsed.Has("--list")) {
    if (!parsed.positional.empty()) return UsageError("color", "--list takes no TEXT");
    return ListNames();
  }
  if (parsed.positional.empty()) return UsageError("color", "missing TEXT");
  if (parsed.positional.size() > 1)
    return UsageError("color", "unexpected argument " + parsed.positional[1]);
  const std::string& text = parsed.positional[0];
  CColor c;
  if (!ParseColor(text, c)) {
    std::fprintf(stderr,
                 "tavrin color: '%s' is not a colour: not a name of the table (see "
                 "'tavrin color --list') nor hexadecimal colour text (#RRGGBB or #RGB)\n",
                 text.c_str());
    return kExitProblem;
  }
  PrintColor(stdout, text, c);
  return kExitOk;
}

// The line without surrounding ASCII white space.
std::string Trimmed(const std::string& line) {
  const char* space = " \t\r\n\f\v";
  const size_t first = line.find_first_not_of(space);
  if (first == std::string::npos) return "";
  return line.substr(first, line.find_last_not_of(space) - first + 1);
}

void Demo(const DemoContext& ctx) {
  std::string content;
  const std::string path = ctx.Example("colors.txt");
  if (!ReadAll(path, content)) {
    std::fprintf(ctx.out, "  (no sample %s)\n", path.c_str());
    return;
  }
  std::fprintf(ctx.out, "Colour text from colors.txt (names in any case, or hexadecimal):\n");
  size_t start = 0;
  while (start < content.size()) {
    size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    const std::string text = Trimmed(content.substr(start, end - start));
    start = end + 1;
    if (text.empty()) continue;
    CColor c;
    if (ParseColor(text, c)) {
      std::fprintf(ctx.out, "  %-16s %-20s %s  nearest %s\n", text.c_str(), Bytes(c).c_str(),
                   Hex(c).c_str(), c.GetName());
    } else {
      std::fprintf(ctx.out, "  %-16s not a colour name nor hexadecimal colour text\n",
                   text.c_str());
    }
  }
  std::fprintf(ctx.out, "Blending and compositing:\n");
  std::fprintf(ctx.out, "  Blend(Red, Blue, 0.25)                 = %s\n",
               Bytes(CColor::Blend(CColor::Red, CColor::Blue, 0.25)).c_str());
  CColor over(255, 0, 0, 128);
  const CColor under(0, 0, 255, 0);
  over.BlendInto(&under);
  std::fprintf(ctx.out,
               "  (255, 0, 0, 128) over (0, 0, 255, 0)   = %s  (alpha from under's blue)\n",
               Bytes(over).c_str());
  CColor grey = CColor::White;
  grey.MakeGray();
  std::fprintf(ctx.out, "  White.MakeGray()                       = %s  (channels truncate)\n",
               Bytes(grey).c_str());
  std::fprintf(ctx.out, "Colorize, tinting an orange pixel to the hue of SteelBlue:\n");
  CColor steel;
  if (steel.SetFromName(tavrin_ustring("SteelBlue").c_str())) {
    double params[3] = {0, 0, 0};
    const CColor orange(255, 165, 0, 255);
    Colorize::GetParameters(params[0], params[1], params[2], orange, steel, false);
    unsigned char pixel[3] = {orange.m_red, orange.m_green, orange.m_blue};
    Colorize::ColorizePixel(pixel, params, false);
    std::fprintf(ctx.out,
                 "  hue %.1f, lightness %+.3f, saturation %+.3f: (255, 165, 0) -> (%d, %d, %d)\n",
                 params[0], params[1], params[2], pixel[0], pixel[1], pixel[2]);
  }
}

TAVRIN_COMMAND({"color", "colour names, hexadecimal colour text, HSV and HLS", kUsage, Run, 22,
                Demo});

}  // namespace
}  // namespace tavrin::cli
