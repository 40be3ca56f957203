// cmd_features.cpp - `tavrin features`: checks a feature-switch request file
// against the switches an application supports.
#include <cstdio>
#include <string>
#include <vector>

#include "common/utils/featureswitchmanager.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using utils::FeatureSet;
using utils::FeatureSwitchManager;

const char kUsage[] =
    "usage: tavrin features FILE [--supported FILE]\n\n"
    "Reads a feature-switch request file (\"-\" is standard input): one entry per\n"
    "line, surrounding blanks trimmed, blank lines skipped. An entry is a switch name\n"
    "to turn on, \"!name\" to keep that switch off even when it is requested too, or\n"
    "a \"#\" comment. Names are case-sensitive.\n\n"
    "--supported FILE lists the switches the application knows, one per line (blank\n"
    "and \"#\" lines skipped); without it every switch name the request lists as a\n"
    "name counts as supported.\n\n"
    "Prints the dump of the resulting switch state (all supported switches, then the\n"
    "ones enabled for this launch), then the requested names that are not supported.\n\n"
    "Exit status: 0 when the request is valid, 1 when it names an unsupported switch\n"
    "or a file cannot be read, 2 usage error.\n";

// The switch names among request entries: no comments, no vetoes.
FeatureSet NamesOnly(const FeatureSet& entries) {
  FeatureSet names;
  for (const std::string& entry : entries)
    if (entry.empty() || (entry[0] != '#' && entry[0] != '!')) names.insert(entry);
  return names;
}

// Names of a supported-switch list: its parsed lines without comments.
FeatureSet SupportedNames(const std::string& text) {
  return NamesOnly(utils::ParseFeaturesFromString(text));
}

// Requested names the manager neither enabled nor vetoed because it does not
// support them.
std::vector<std::string> Unsupported(const FeatureSwitchManager& manager,
                                     const FeatureSet& requests) {
  std::vector<std::string> names;
  for (const std::string& entry : requests) {
    if (!entry.empty() && (entry[0] == '#' || entry[0] == '!')) continue;
    if (manager.Negations().count("!" + entry) != 0) continue;
    if (manager.SupportedFeatures().count(entry) == 0) names.push_back(entry);
  }
  return names;
}

std::string Report(const FeatureSwitchManager& manager, const FeatureSet& requests) {
  std::string out = manager.ToString();
  out += "Requested but Not Supported:\n==========\n";
  for (const std::string& name : Unsupported(manager, requests)) out += name + "\n";
  return out;
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {}, {"--supported"}, parsed, error)) return UsageError("features", error);
  if (parsed.positional.size() != 1)
    return UsageError("features", parsed.positional.empty()
                                      ? "missing FILE"
                                      : "unexpected argument " + parsed.positional[1]);
  std::string text;
  if (!ReadAll(parsed.positional[0], text)) return kExitProblem;
  const FeatureSet requests = utils::ParseFeaturesFromString(text);
  FeatureSet supported = NamesOnly(requests);
  if (auto path = parsed.Value("--supported")) {
    std::string list;
    if (!ReadAll(*path, list)) return kExitProblem;
    supported = SupportedNames(list);
  }
  FeatureSwitchManager manager({}, supported);
  const bool valid = manager.UpdateFeatureSwitches(requests, {});
  WriteOut(Report(manager, requests));
  return valid ? kExitOk : kExitProblem;
}

void Demo(const DemoContext& ctx) {
  std::FILE* out = ctx.out;
  std::string text, list;
  if (!ReadAll(ctx.Example("features.txt"), text) ||
      !ReadAll(ctx.Example("features-supported.txt"), list)) {
    std::fprintf(out, "(sample features.txt or features-supported.txt is missing)\n");
    return;
  }
  const FeatureSet requests = utils::ParseFeaturesFromString(text);
  const bool valid = FeatureSwitchManager::InitializeDefaultManager(requests, SupportedNames(list));
  const FeatureSwitchManager& manager = *FeatureSwitchManager::Default();
  std::fprintf(out, "features.txt asks for %zu entries (vetoes and comments included);\n",
               requests.size());
  std::fprintf(out, "checked against features-supported.txt the request is %s.\n",
               valid ? "valid" : "NOT valid");
  std::fprintf(out, "enabled:");
  for (const std::string& name : manager.EnabledFeatures()) std::fprintf(out, " %s", name.c_str());
  std::fprintf(out, "\nvetoed:");
  for (const std::string& name : manager.Negations()) std::fprintf(out, " %s", name.c_str());
  std::fprintf(out, "\nnot supported:");
  for (const std::string& name : Unsupported(manager, requests))
    std::fprintf(out, " %s", name.c_str());
  const char* probe = "sculpt-voxel-remesh";
  std::fprintf(out, "\nIsFeatureEnabled(\"%s\"): %s", probe,
               utils::IsFeatureEnabled(probe) ? "yes" : "no");
  {
    utils::FeatureSwitchesToggle toggle({probe});
    std::fprintf(out, "; inside a toggle: %s", utils::IsFeatureEnabled(probe) ? "yes" : "no");
  }
  std::fprintf(out, "; after it: %s\n", utils::IsFeatureEnabled(probe) ? "yes" : "no");
  FeatureSwitchManager::ShutDownDefaultManager();
}

}  // namespace

TAVRIN_COMMAND({"features", "check a feature-switch request file", kUsage, Run, 70, Demo});

}  // namespace tavrin::cli
