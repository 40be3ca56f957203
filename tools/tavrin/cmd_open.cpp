// cmd_open.cpp - `tavrin open`: hand URLs and files to the desktop.
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <vector>

#include "common/utils/osutils.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

namespace os = tavrin::osutils;
using tavrin::utils::tavrin_ustring;

const char kUsage[] =
    "usage: tavrin open [--with APP | --reveal] [--encoded] URL|FILE...\n\n"
    "Opens each URL with the handler registered for its scheme and the FILEs\n"
    "with their default applications (all files together). An argument is a URL\n"
    "when it starts with a scheme (\"name:\") and names no existing file.\n\n"
    "URL text is escaped first: bytes that may not appear in a URL become %XX,\n"
    "while reserved characters and \"%\" stay, so escaped text is not escaped twice.\n"
    "  --encoded     use each URL exactly as given\n"
    "  --with APP    open the FILEs with APP (a desktop file id such as\n"
    "                org.gnome.TextEditor, or a program name or path)\n"
    "  --reveal      show each FILE selected in the file manager (its ShowItems\n"
    "                D-Bus call; without a session, the containing folder opens)\n\n"
    "Any scheme goes to its registered handler: open only text you trust.\n\n"
    "Exit status: 0 everything was handed over, 1 something could not be opened,\n"
    "2 usage error.\n";

bool Exists(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

// "scheme:" at the start: a letter, then letters, digits, "+", "-" or ".".
bool LooksLikeUrl(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || colon == 0) return false;
  auto alpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  if (!alpha(text[0])) return false;
  for (std::size_t i = 1; i < colon; ++i) {
    const char c = text[i];
    if (!alpha(c) && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.') return false;
  }
  return !Exists(text);
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {"--reveal", "--encoded"}, {"--with"}, parsed, error))
    return UsageError("open", error);
  if (parsed.positional.empty()) return UsageError("open", "name a URL or a file to open");
  const bool reveal = parsed.Has("--reveal");
  const std::string application = parsed.Value("--with").value_or("");
  if (reveal && parsed.Has("--with"))
    return UsageError("open", "--with and --reveal exclude each other");
  if (parsed.Has("--with") && application.empty()) return UsageError("open", "--with needs a name");

  std::vector<tavrin_ustring> files;
  bool ok = true;
  for (const std::string& target : parsed.positional) {
    const tavrin_ustring text(target);
    if (text.empty()) {
      std::fprintf(stderr, "tavrin open: %s is empty or not UTF-8\n",
                   target.empty() ? "an argument" : target.c_str());
      ok = false;
      continue;
    }
    if (LooksLikeUrl(target)) {
      if (reveal || !application.empty()) {
        return UsageError("open", target + " is a URL; --with and --reveal take files");
      }
      if (!os::OpenURL(text, false, parsed.Has("--encoded"))) {
        std::fprintf(stderr, "tavrin open: no handler could open %s\n", target.c_str());
        ok = false;
      }
      continue;
    }
    if (!Exists(target)) {
      std::fprintf(stderr, "tavrin open: %s: no such file\n", target.c_str());
      ok = false;
      continue;
    }
    if (reveal) {
      if (!os::ShowFileInSystemViewer(text)) {
        std::fprintf(stderr, "tavrin open: could not show %s\n", target.c_str());
        ok = false;
      }
    } else if (!application.empty()) {
      if (!os::OpenFileWithApplication(text, tavrin_ustring(application))) {
        std::fprintf(stderr, "tavrin open: %s could not open %s\n", application.c_str(),
                     target.c_str());
        ok = false;
      }
    } else {
      files.push_back(text);
    }
  }
  if (!files.empty() && !os::OpenFiles(files.data(), files.size())) {
    std::fprintf(stderr, "tavrin open: not every file could be handed to an application\n");
    ok = false;
  }
  return ok ? kExitOk : kExitProblem;
}

}  // namespace

TAVRIN_COMMAND({"open", "open URLs and files with their default applications", kUsage, Run, 0,
                nullptr});

}  // namespace tavrin::cli
