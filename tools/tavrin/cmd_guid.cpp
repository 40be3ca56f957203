// cmd_guid.cpp - `tavrin guid`: new identifiers and conversion between the
// canonical, base-64 and base-85 forms.
#include <cstdio>
#include <string>

#include "common/utils/guid.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using tavrin::utils::Guid;

const char kUsage[] =
    "usage: tavrin guid [TEXT]\n\n"
    "Without TEXT, prints a new random identifier (a version-4 UUID) in all\n"
    "three text forms. With TEXT, reads an identifier in any of the forms and\n"
    "prints all three:\n"
    "  canonical  0123abcd-0001-0002-0a0b-0c0d0e0f1011 (braces and upper case\n"
    "             accepted on input)\n"
    "  base64     018wlD00400WeB30qE3n0H (22 characters)\n"
    "  base85     0VAu-009634Gaqk5fBd! (20 characters)\n\n"
    "Exit status: 0 ok, 1 when TEXT is not an identifier, 2 usage error.\n";

void PrintForms(std::FILE* out, const Guid& g, const char* indent) {
  std::fprintf(out, "%scanonical: %s\n", indent, g.ToStdString().c_str());
  std::fprintf(out, "%sbase64:    %s\n", indent, g.ToBase64String().c_str());
  std::fprintf(out, "%sbase85:    %s\n", indent, g.ToBase85String().c_str());
}

// Which form the text was read in, for messages.
const char* FormOf(const std::string& text) {
  Guid scratch;
  if (Guid::FromCanonicalString(text, scratch)) return "canonical";
  if (Guid::FromBase64String(text, scratch)) return "base64";
  return "base85";
}

int Run(const Args& args) {
  if (args.size() > 1) return UsageError("guid", "expected at most one TEXT argument");
  Guid g;
  if (args.empty()) {
    g.Generate();
    if (g.IsNull()) {
      std::fprintf(stderr, "tavrin guid: the system gave no random bytes\n");
      return kExitProblem;
    }
  } else if (!g.SetFromString(args[0])) {
    std::fprintf(stderr,
                 "tavrin guid: '%s' is not an identifier (expected canonical 8-4-4-4-12 "
                 "hexadecimal, 22 base-64 or 20 base-85 characters)\n",
                 args[0].c_str());
    return kExitProblem;
  }
  PrintForms(stdout, g, "");
  return kExitOk;
}

void Demo(const DemoContext& ctx) {
  std::string text;
  const std::string path = ctx.Example("guids.txt");
  if (!ReadAll(path, text)) return;
  std::fprintf(ctx.out, "Each line of guids.txt read in any form, written in the other two:\n");
  std::size_t start = 0;
  int shown = 0;
  while (start < text.size() && shown < 6) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty() || line[0] == '#') continue;
    ++shown;
    Guid g;
    if (!g.SetFromString(line)) {
      std::fprintf(ctx.out, "  %-38s -> not an identifier\n", line.c_str());
      continue;
    }
    std::fprintf(ctx.out, "  %-38s (%s)\n", line.c_str(), FormOf(line));
    PrintForms(ctx.out, g, "      ");
  }
}

TAVRIN_COMMAND({"guid", "make identifiers and convert between their three text forms", kUsage, Run,
                24, Demo});

}  // namespace
}  // namespace tavrin::cli
