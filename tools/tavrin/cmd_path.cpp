// cmd_path.cpp - `tavrin path`: the library's path-string functions at the
// prompt (normalise, name, extension, directory, split, relative paths, short
// display paths, ancestor test) and the paths part of `tavrin demo`.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "common/utils/fileutils.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using utils::tavrin_ustring;

const char kUsage[] =
    "usage: tavrin path fix PATH...            normalised path (FixPathString)\n"
    "       tavrin path name [--no-extension] PATH...\n"
    "                                          last component (GetFileName)\n"
    "       tavrin path ext PATH...            extension without the dot (GetFileExtension)\n"
    "       tavrin path dir PATH...            containing directory with a trailing \"/\"\n"
    "       tavrin path split PATH             one component per line, the root first\n"
    "       tavrin path rel BASE TARGET        TARGET relative to the directory of the file BASE\n"
    "       tavrin path resolve BASE RELATIVE  RELATIVE resolved against the directory of BASE\n"
    "       tavrin path short MAX PATH...      display form within about MAX characters\n"
    "       tavrin path child DIR PATH         \"yes\" when DIR is PATH or one of its ancestors\n"
    "\n"
    "Paths are UTF-8; both \"/\" and \"\\\" are read as separators and \"/\" is written.\n"
    "Each result is printed on its own line. Exit status: 0 on success; 1 when rel or\n"
    "resolve has no answer (different drives, climbing above the root) or child says\n"
    "\"no\"; 2 for a usage error.\n";

std::string Out(const tavrin_ustring& s) {
  return s.utf8() + "\n";
}

// MAX of `short`: a whole decimal number within int.
bool ParseMax(const std::string& text, int& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (*end != '\0' || errno == ERANGE || v < INT_MIN || v > INT_MAX) return false;
  out = static_cast<int>(v);
  return true;
}

int Run(const Args& args) {
  if (args.empty()) return UsageError("path", "missing sub-command");
  const std::string verb = args[0];
  std::vector<std::string> rest(args.begin() + 1, args.end());
  bool no_extension = false;
  if (verb == "name" && !rest.empty() && rest[0] == "--no-extension") {
    no_extension = true;
    rest.erase(rest.begin());
  }
  auto need = [&](std::size_t min, std::size_t max) -> bool {
    return rest.size() >= min && rest.size() <= max;
  };
  const std::size_t kAny = static_cast<std::size_t>(-1);
  std::string out;

  if (verb == "fix" || verb == "name" || verb == "ext" || verb == "dir") {
    if (!need(1, kAny)) return UsageError("path", verb + " needs at least one PATH");
    for (const std::string& a : rest) {
      const tavrin_ustring p(a);
      if (verb == "fix") out += Out(utils::FixPathString(p));
      if (verb == "name") out += Out(utils::GetFileName(p, !no_extension));
      if (verb == "ext") out += Out(utils::GetFileExtension(p));
      if (verb == "dir") out += Out(utils::GetFileDirectory(p));
    }
    WriteOut(out);
    return kExitOk;
  }
  if (verb == "split") {
    if (!need(1, 1)) return UsageError("path", "split needs exactly one PATH");
    for (const tavrin_ustring& c : utils::SplitPath(tavrin_ustring(rest[0]))) out += Out(c);
    WriteOut(out);
    return kExitOk;
  }
  if (verb == "rel" || verb == "resolve") {
    if (!need(2, 2)) return UsageError("path", verb + " needs BASE and one more PATH");
    const tavrin_ustring base(rest[0]), other(rest[1]);
    const tavrin_ustring r = verb == "rel" ? utils::CalculateRelativePath(base, other)
                                           : utils::ResolveRelativePath(base, other);
    if (r.empty()) {
      std::fprintf(stderr, "tavrin path %s: no %s path from %s to %s\n", verb.c_str(),
                   verb == "rel" ? "relative" : "resolved", rest[0].c_str(), rest[1].c_str());
      return kExitProblem;
    }
    WriteOut(Out(r));
    return kExitOk;
  }
  if (verb == "short") {
    if (!need(2, kAny)) return UsageError("path", "short needs MAX and at least one PATH");
    int max = 0;
    if (!ParseMax(rest[0], max))
      return UsageError("path", "MAX must be a whole number: " + rest[0]);
    for (std::size_t i = 1; i < rest.size(); ++i) {
      out += Out(utils::GetShortPath(tavrin_ustring(rest[i]), max));
    }
    WriteOut(out);
    return kExitOk;
  }
  if (verb == "child") {
    if (!need(2, 2)) return UsageError("path", "child needs DIR and PATH");
    const bool yes =
        utils::PathIsChildOfDirectory(tavrin_ustring(rest[0]), tavrin_ustring(rest[1]));
    WriteOut(yes ? "yes\n" : "no\n");
    return yes ? kExitOk : kExitProblem;
  }
  return UsageError("path", "unknown sub-command '" + verb + "'");
}

// The tour: each sample path normalised and shortened, then the relative
// path between the pairs of the sample file ("BASE -> TARGET" lines).
void Demo(const DemoContext& ctx) {
  std::ifstream in(ctx.Example("paths.txt"));
  if (!in) {
    std::fprintf(ctx.out, "(no paths.txt in %s)\n", ctx.examples.c_str());
    return;
  }
  std::vector<std::string> paths;
  std::vector<std::pair<std::string, std::string>> pairs;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (const std::size_t arrow = line.find(" -> "); arrow != std::string::npos) {
      pairs.emplace_back(line.substr(0, arrow), line.substr(arrow + 4));
    } else {
      paths.push_back(line);
    }
  }
  // Columns as wide as their longest entry.
  std::vector<std::string> fixed, shortened;
  int w_path = 4, w_fixed = 13;
  for (const std::string& p : paths) {
    const tavrin_ustring u(p);
    fixed.push_back(utils::FixPathString(u).utf8());
    shortened.push_back(utils::GetShortPath(u, 20).utf8());
    w_path = std::max(w_path, static_cast<int>(p.size()));
    w_fixed = std::max(w_fixed, static_cast<int>(fixed.back().size()));
  }
  std::fprintf(ctx.out, "%-*s  %-*s  %s\n", w_path, "path", w_fixed, "FixPathString",
               "GetShortPath(20)");
  for (std::size_t i = 0; i < paths.size(); ++i) {
    std::fprintf(ctx.out, "%-*s  %-*s  %s\n", w_path, paths[i].c_str(), w_fixed, fixed[i].c_str(),
                 shortened[i].c_str());
  }
  for (const auto& [base, target] : pairs) {
    const tavrin_ustring rel =
        utils::CalculateRelativePath(tavrin_ustring(base), tavrin_ustring(target));
    if (rel.empty()) {
      std::fprintf(ctx.out, "relative from %s to %s: none\n", base.c_str(), target.c_str());
      continue;
    }
    const tavrin_ustring back = utils::ResolveRelativePath(tavrin_ustring(base), rel);
    std::fprintf(ctx.out, "relative from %s to %s: %s, resolved back: %s\n", base.c_str(),
                 target.c_str(), rel.utf8().c_str(), back.utf8().c_str());
  }
}

}  // namespace

TAVRIN_COMMAND({"path", "normalise, split, relate and shorten path strings", kUsage, Run, 50,
                Demo});

}  // namespace tavrin::cli
