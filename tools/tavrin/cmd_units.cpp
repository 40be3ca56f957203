// cmd_units.cpp - `tavrin units`: unit questions for one value.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "common/utils/angleinfo.h"
#include "common/utils/lengthinfo.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using utils::UnitsInfo;

const char kUsage[] =
    "usage: tavrin units VALUE [--format F] [--unit U] [--precision P] [--angle]\n\n"
    "Answers the unit questions of a length (or, with --angle, an angle) for VALUE,\n"
    "given in the display unit: the effective unit (a format may force one), its\n"
    "scale in base units (inches or radians), the maximum and effective precision,\n"
    "the size of one precision step, the value rounded to that step in base units\n"
    "and in the display unit, and the precision closest to the value.\n\n"
    "  --format F     decimal (default), architectural, engineering, fractional\n"
    "  --unit U       in, ft, yd, mm, cm, m, pt (default in); rad, deg, grad with --angle\n"
    "                 (default rad)\n"
    "  --precision P  decimal places, or the binary-fraction exponent of the\n"
    "                 architectural and fractional formats (default 2 for lengths,\n"
    "                 4 for angles)\n\n"
    "example: tavrin units 1.006 --format decimal --unit mm --precision 2\n";

struct Named {
  const char* name;
  int value;
};

const Named kFormats[] = {{"decimal", UnitsInfo::kDecimal},
                          {"architectural", UnitsInfo::kArchitectural},
                          {"engineering", UnitsInfo::kEngineering},
                          {"fractional", UnitsInfo::kFractional}};

const Named kUnits[] = {{"in", UnitsInfo::kInches},      {"ft", UnitsInfo::kFeet},
                        {"mm", UnitsInfo::kMillimeters}, {"cm", UnitsInfo::kCentimeters},
                        {"m", UnitsInfo::kMeters},       {"pt", UnitsInfo::kPoints},
                        {"yd", UnitsInfo::kYards},       {"rad", UnitsInfo::kRadians},
                        {"deg", UnitsInfo::kDegrees},    {"grad", UnitsInfo::kGrads}};

template <std::size_t N>
bool Lookup(const Named (&table)[N], const std::string& name, int& value) {
  for (const Named& n : table)
    if (name == n.name) {
      value = n.value;
      return true;
    }
  return false;
}

template <std::size_t N>
const char* NameOf(const Named (&table)[N], int value) {
  for (const Named& n : table)
    if (n.value == value) return n.name;
  return "?";
}

bool ParseNumber(const std::string& text, double& value) {
  char* end = nullptr;
  value = std::strtod(text.c_str(), &end);
  return !text.empty() && end && *end == '\0' && std::isfinite(value);
}

// Prints the answers of `info` for `value` (in the display unit).
int Report(const UnitsInfo& info, double value, std::FILE* out) {
  double scale = info.GetUnitsScale();
  bool angle = info.GetType() == 1;
  const char* base = angle ? "rad" : "in";
  std::fprintf(out, "format            %s\n", NameOf(kFormats, info.GetFormat()));
  std::fprintf(out, "effective unit    %s\n", NameOf(kUnits, info.GetUnits()));
  std::fprintf(out, "scale             %.17g %s per unit\n", scale, base);
  std::fprintf(out, "max precision     %d\n", info.GetMaxPrecision());
  std::fprintf(out, "precision         %d\n", info.GetPrecision());
  std::fprintf(out, "step              %.17g %s\n", info.PrecisionAsUnit(), base);
  double inBase = value * scale;
  double rounded = info.Round(inBase);
  std::fprintf(out, "value             %.17g %s = %.17g %s\n", value,
               NameOf(kUnits, info.GetUnits()), inBase, base);
  std::fprintf(out, "rounded           %.17g %s = %.17g %s\n", rounded, base, rounded / scale,
               NameOf(kUnits, info.GetUnits()));
  std::fprintf(out, "closest precision %d (clamped %d)\n", info.ClosestPrecision(inBase),
               info.GetPrecision(inBase));
  return kExitOk;
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {"--angle"}, {"--format", "--unit", "--precision"}, parsed, error))
    return UsageError("units", error);
  if (parsed.positional.size() != 1) return UsageError("units", "expected one VALUE");
  double value = 0;
  if (!ParseNumber(parsed.positional[0], value))
    return UsageError("units", "not a number: " + parsed.positional[0]);
  bool angle = parsed.Has("--angle");
  std::unique_ptr<UnitsInfo> info;
  if (angle)
    info = std::make_unique<utils::AngleInfo>();
  else
    info = std::make_unique<utils::LengthInfo>();
  int format = UnitsInfo::kDecimal;
  if (auto f = parsed.Value("--format"); f && !Lookup(kFormats, *f, format))
    return UsageError("units", "unknown format " + *f);
  int unit = angle ? UnitsInfo::kRadians : UnitsInfo::kInches;
  if (auto u = parsed.Value("--unit"); u && !Lookup(kUnits, *u, unit))
    return UsageError("units", "unknown unit " + *u);
  bool unitIsAngle = unit >= UnitsInfo::kRadians && unit <= UnitsInfo::kGrads;
  if (unitIsAngle != angle)
    return UsageError("units",
                      angle ? "an angle needs rad, deg or grad" : "angle units need --angle");
  info->SetFormat(static_cast<UnitsInfo::Format>(format), false);
  info->SetUnits(static_cast<UnitsInfo::Units>(unit), false);
  if (auto p = parsed.Value("--precision")) {
    char* end = nullptr;
    long precision = std::strtol(p->c_str(), &end, 10);
    if (p->empty() || *end != '\0' || precision < -30 || precision > 30)
      return UsageError("units", "precision must be a whole number from -30 to 30");
    info->SetPrecision(static_cast<int>(precision), false);
  }
  return Report(*info, value, stdout);
}

void Demo(const DemoContext& ctx) {
  utils::LengthInfo length;
  length.SetUnits(UnitsInfo::kMillimeters, false);
  std::fprintf(ctx.out, "$ tavrin units 1.006 --unit mm --precision 2\n");
  Report(length, 1.006, ctx.out);
  utils::LengthInfo fractional;
  fractional.SetFormat(UnitsInfo::kFractional, false);
  fractional.SetPrecision(4, false);
  std::fprintf(ctx.out, "$ tavrin units 2.53 --format fractional --precision 4  (sixteenths)\n");
  std::fprintf(ctx.out, "rounded           %.17g in\n", fractional.Round(2.53));
  utils::AngleInfo angle;
  angle.SetUnits(UnitsInfo::kDegrees, false);
  std::fprintf(ctx.out, "$ tavrin units 12.345 --angle --unit deg  (precision clamped to %d)\n",
               angle.GetMaxPrecision());
  std::fprintf(ctx.out, "rounded           %.17g deg\n",
               angle.Round(12.345 * angle.GetUnitsScale()) / angle.GetUnitsScale());
}

TAVRIN_COMMAND({"units", "unit scales, precision steps and rounding of a length or angle", kUsage,
                Run, 40, Demo});

}  // namespace
}  // namespace tavrin::cli
