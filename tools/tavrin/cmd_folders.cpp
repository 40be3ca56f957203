// cmd_folders.cpp - `tavrin folders`: the well-known folders of the library.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "common/utils/fileutils.h"
#include "common/utils/internal/osutils_internal.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

const char kUsage[] =
    "usage: tavrin folders\n\n"
    "Prints the folders the library works in, one \"name: path\" line each, as\n"
    "they follow from the environment: with the Linux layer $HOME,\n"
    "$XDG_CONFIG_HOME/user-dirs.dirs, $XDG_DATA_HOME, $XDG_DATA_DIRS, $TMPDIR and\n"
    "$XDG_CACHE_HOME; with Foundation $HOME, Foundation's search paths (GNUstep:\n"
    "its configuration file) and $TMPDIR, else NSTemporaryDirectory. An empty path\n"
    "means there is no such folder. Only the private temporary folder is created\n"
    "(mode 0700) when it is missing; the product folder is only looked up.\n\n"
    "Exit status: 0 ok, 2 usage error.\n";

tavrin_ustring ProductFolder(int release) {
  return tu::AppendToPath(tu::UserApplicationDataDirectory(),
                          tavrin_ustring(("Wirelume 20" + std::to_string(release)).c_str()));
}

void PrintLine(std::FILE* out, const char* name, const tavrin_ustring& value) {
  std::fprintf(out, "%s: %s\n", name, value.utf8().c_str());
}

int Run(const Args& args) {
  if (!args.empty()) return UsageError("folders", "unexpected argument " + args[0]);
  PrintLine(stdout, "home", tu::HomeDirectory());
  PrintLine(stdout, "documents", tu::UserDocumentsDirectory());
  PrintLine(stdout, "user application data", tu::UserApplicationDataDirectory());
  PrintLine(stdout, "machine application data", tu::MachineApplicationDataDirectory());
  PrintLine(stdout, "application resources", tu::ApplicationSupportFileDirectory());
  tavrin_ustring product = ProductFolder(25);
  std::fprintf(
      stdout, "product folder: %s (%s)\n", product.utf8().c_str(),
      tu::UserSupportFileDirectoryExists(tavrin_ustring(), 25, false) ? "exists" : "missing");
  tavrin_ustring temp;
  tu::GetTempPath(temp);
  PrintLine(stdout, "temporary", temp);
  PrintLine(stdout, "fonts", tu::FontDirectory());
  return kExitOk;
}

// Sets environment variables for the demo and puts the old values back.
class DemoEnvironment {
 public:
  void Set(const char* name, const char* value) {
    const char* old = std::getenv(name);
    saved_.emplace_back(
        name, old ? std::make_pair(true, std::string(old)) : std::make_pair(false, std::string()));
    if (value)
      ::setenv(name, value, 1);
    else
      ::unsetenv(name);
  }
  ~DemoEnvironment() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
      if (it->second.first)
        ::setenv(it->first.c_str(), it->second.second.c_str(), 1);
      else
        ::unsetenv(it->first.c_str());
    }
  }

 private:
  std::vector<std::pair<std::string, std::pair<bool, std::string>>> saved_;
};

void Demo(const DemoContext& ctx) {
  // A made-up environment, so the tour prints the same everywhere; nothing is
  // created.
  DemoEnvironment env;
  env.Set("HOME", "/home/ada/");
  env.Set("XDG_CONFIG_HOME", "/home/ada/.config-absent");
  env.Set("XDG_DATA_HOME", "relative/ignored");
  env.Set("XDG_DATA_DIRS", "share:/opt/share/:/usr/share");
  std::fprintf(ctx.out, "folders from %s\n", tavrin::osutils::internal::PlatformFolderRules());
  std::fprintf(ctx.out, "with HOME=/home/ada/, a relative XDG_DATA_HOME, XDG_DATA_DIRS=%s\n",
               "share:/opt/share/:/usr/share");
  PrintLine(ctx.out, "  home", tu::HomeDirectory());
  PrintLine(ctx.out, "  documents", tu::UserDocumentsDirectory());
  PrintLine(ctx.out, "  user application data", tu::UserApplicationDataDirectory());
  PrintLine(ctx.out, "  machine application data", tu::MachineApplicationDataDirectory());
  PrintLine(ctx.out, "  product folder, release 25", ProductFolder(25));
  PrintLine(ctx.out, "  product folder, release 5", ProductFolder(5));
  env.Set("HOME", "/");
  std::fprintf(ctx.out, "with HOME=/\n");
  PrintLine(ctx.out, "  home", tu::HomeDirectory());
  PrintLine(ctx.out, "  documents", tu::UserDocumentsDirectory());
}

TAVRIN_COMMAND({"folders", "print the well-known folders (home, documents, data, temporary)",
                kUsage, Run, 60, Demo});

}  // namespace
}  // namespace tavrin::cli
