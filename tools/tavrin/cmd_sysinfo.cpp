// cmd_sysinfo.cpp - `tavrin sysinfo`: every answer of the operating-system
// queries, one per line.
#include <cstdio>
#include <string>

#include "common/utils/fileutils.h"
#include "common/utils/osutils.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

namespace os = tavrin::osutils;
using tavrin::utils::tavrin_ustring;

const char kUsage[] =
    "usage: tavrin sysinfo [--ppi N]\n\n"
    "Prints what the library's operating-system queries answer on this machine:\n"
    "the system version and name (on Linux the kernel version and the\n"
    "distribution), the application language code made from the user's preferred\n"
    "language, the decimal separator of the user's locale, the user's full name,\n"
    "the device, the process translation environment, the executable directory,\n"
    "pixels per inch with the DPI factor derived from them, and the user's\n"
    "folders (see `tavrin folders` for all of them).\n\n"
    "The library links no display toolkit, so pixels per inch are 0 unless given:\n"
    "  --ppi N   report N pixels per inch, as an application reports its screen\n\n"
    "Exit status: 0 ok, 2 usage error.\n";

std::string Shown(const tavrin_ustring& text) {
  return text.empty() ? std::string("(none)") : text.utf8();
}

void Report(std::FILE* out) {
  const os::OsVersion version = os::GetOsVersion();
  tavrin_ustring os_name;
  const int os_code = os::GetOS(os_name);
  std::fprintf(out, "os version          %d.%d.%d (\"%s\")\n", version.major, version.minor,
               version.patch, os::GetOsVersionString().utf8().c_str());
  std::fprintf(out, "os                  code %d, %s\n", os_code, os_name.utf8().c_str());
  std::fprintf(out, "64-bit              %s\n", os::Is64bit() ? "yes" : "no");
  std::fprintf(out, "language code       %s\n", Shown(os::ConstructOSLanguageCode()).c_str());
  const unsigned short separator = os::GetDecimalSeparator();
  double sample = 0;
  const tavrin_ustring sample_text =
      tavrin_ustring("1") + tavrin_ustring(1, separator) + tavrin_ustring("25");
  const bool parsed = os::TextToDouble(sample_text.c_str(), sample);
  char reading[32] = "nothing";
  if (parsed) std::snprintf(reading, sizeof reading, "%g", sample);
  std::fprintf(out, "decimal separator   \"%s\" (U+%04X; \"%s\" reads as %s)\n",
               tavrin_ustring(1, separator).utf8().c_str(), separator, sample_text.utf8().c_str(),
               reading);
  std::fprintf(out, "user                %s\n", Shown(os::GetFullUserName()).c_str());
  const tavrin::utils::DeviceInfo device = tavrin::utils::GetDeviceInfo();
  std::fprintf(out, "device              %s / %s / %s\n", device.identifier.utf8().c_str(),
               device.manufacturer.utf8().c_str(), device.model.utf8().c_str());
  std::fprintf(out, "translation         %s\n",
               os::GetProcessTranslationEnvironmentStr().utf8().c_str());
  std::fprintf(out, "executable folder   %s\n", Shown(os::GetExeDirectory()).c_str());
  tavrin::utils::HighDpiUtils::ConfigureDpiScaleFactor(0);  // derived from the screen
  std::fprintf(out, "pixels per inch     %d (dpi factor %g: 100 logical px = %d physical)\n",
               os::GetPixelsPerInch(), tavrin::utils::HighDpiUtils::DpiScaleFactor(),
               tavrin::utils::HighDpiUtils::ScaleForDpi(100));
  std::fprintf(out, "folders             home %s\n", Shown(tavrin::utils::HomeDirectory()).c_str());
  std::fprintf(out, "                    documents %s\n",
               Shown(tavrin::utils::UserDocumentsDirectory()).c_str());
  std::fprintf(out, "                    application data %s (machine: %s)\n",
               Shown(tavrin::utils::UserApplicationDataDirectory()).c_str(),
               Shown(tavrin::utils::MachineApplicationDataDirectory()).c_str());
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {}, {"--ppi"}, parsed, error)) return UsageError("sysinfo", error);
  if (!parsed.positional.empty())
    return UsageError("sysinfo", "unexpected argument " + parsed.positional[0]);
  if (auto ppi = parsed.Value("--ppi")) {
    char* end = nullptr;
    const long value = std::strtol(ppi->c_str(), &end, 10);
    if (ppi->empty() || *end != '\0' || value < 0 || value > 100000)
      return UsageError("sysinfo", "--ppi takes a whole number from 0 to 100000");
    os::SystemQueries queries = os::GetSystemQueries();
    queries.pixelsPerInch = [value] { return static_cast<int>(value); };
    os::SetSystemQueries(queries);
  }
  Report(stdout);
  return kExitOk;
}

void Demo(const DemoContext& ctx) {
  std::fprintf(ctx.out, "what this machine answers (tavrin sysinfo):\n");
  Report(ctx.out);
  std::fprintf(ctx.out, "with a 144 ppi screen reported by the application (--ppi 144):\n");
  os::SystemQueries queries = os::GetSystemQueries();
  queries.pixelsPerInch = [] { return 144; };
  os::SetSystemQueries(queries);
  tavrin::utils::HighDpiUtils::ConfigureDpiScaleFactor(0);
  std::fprintf(ctx.out, "  dpi factor %g: 3 logical px = %d physical, 5 physical = %d logical\n",
               tavrin::utils::HighDpiUtils::DpiScaleFactor(),
               tavrin::utils::HighDpiUtils::ScaleForDpi(3),
               tavrin::utils::HighDpiUtils::PhysicalToLogicalPixels(5));
  os::ResetSystemQueries();
  tavrin::utils::HighDpiUtils::ConfigureDpiScaleFactor(1.0f);
}

}  // namespace

TAVRIN_COMMAND({"sysinfo", "what the operating-system queries answer on this machine", kUsage, Run,
                80, Demo});

}  // namespace tavrin::cli
