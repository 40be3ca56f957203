// main.cpp - entry point of the tavrin tool: subcommand dispatch, --help,
// --version and `tavrin demo`, the tour over the bundled samples.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "common/utils/internal/osutils_internal.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {

std::vector<Command>& Registry() {
  static std::vector<Command> commands;
  return commands;
}

bool Register(const Command& command) {
  Registry().push_back(command);
  return true;
}

int UsageError(const char* command_name, const std::string& message) {
  std::fprintf(stderr, "tavrin %s: %s\nTry 'tavrin %s --help'.\n", command_name, message.c_str(),
               command_name);
  return kExitUsage;
}

int UsageError(const Command& command, const std::string& message) {
  return UsageError(command.name, message);
}

bool WantsHelp(const Args& args) {
  return std::any_of(args.begin(), args.end(),
                     [](const std::string& a) { return a == "--help" || a == "-h"; });
}

bool ReadAll(const std::string& path, std::string& out) {
  out.clear();
  if (path == "-") {
    out.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    return true;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "tavrin: cannot read %s: %s\n", path.c_str(), std::strerror(errno));
    return false;
  }
  out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

void WriteOut(const std::string& bytes) {
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

bool ParsedArgs::Has(const std::string& name) const {
  return std::any_of(options.begin(), options.end(),
                     [&](const auto& o) { return o.first == name; });
}

std::optional<std::string> ParsedArgs::Value(const std::string& name) const {
  for (auto it = options.rbegin(); it != options.rend(); ++it)
    if (it->first == name) return it->second;
  return std::nullopt;
}

bool ParseArgs(const Args& args, const std::vector<std::string>& flags,
               const std::vector<std::string>& with_value, ParsedArgs& out, std::string& error) {
  out = ParsedArgs();
  bool only_positional = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (only_positional || a == "-" || a.size() < 2 || a[0] != '-' ||
        (a[1] != '-' && !std::isalpha(static_cast<unsigned char>(a[1])))) {
      out.positional.push_back(a);  // "-" and negative numbers are positional
      continue;
    }
    if (a == "--") {
      only_positional = true;
      continue;
    }
    std::string name = a, value;
    bool has_inline = false;
    if (auto eq = a.find('='); eq != std::string::npos) {
      name = a.substr(0, eq);
      value = a.substr(eq + 1);
      has_inline = true;
    }
    if (std::find(with_value.begin(), with_value.end(), name) != with_value.end()) {
      if (!has_inline) {
        if (i + 1 >= args.size()) {
          error = "option " + name + " needs a value";
          return false;
        }
        value = args[++i];
      }
      out.options.emplace_back(name, value);
    } else if (std::find(flags.begin(), flags.end(), name) != flags.end() && !has_inline) {
      out.options.emplace_back(name, "");
    } else {
      error = "unknown option " + a;
      return false;
    }
  }
  return true;
}

namespace {

std::vector<Command> Sorted() {
  std::vector<Command> commands = Registry();
  std::sort(commands.begin(), commands.end(),
            [](const Command& a, const Command& b) { return std::strcmp(a.name, b.name) < 0; });
  return commands;
}

void PrintMainHelp(std::FILE* out) {
  std::fprintf(out,
               "usage: tavrin COMMAND [ARGS...]\n"
               "       tavrin COMMAND --help\n"
               "       tavrin --version\n\n"
               "The command-line companion of the tavrin utilities library.\n\n"
               "Commands:\n");
  std::fprintf(out, "  %-10s %s\n", "demo", "tour the library over the bundled sample files");
  for (const Command& c : Sorted()) std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The samples: --examples DIR, else $TAVRIN_EXAMPLES, else the source tree the
// tool was built from, else ../share/tavrin/examples beside the executable.
std::string FindExamples(const std::string& given) {
  if (!given.empty()) return given;
  if (const char* env = std::getenv("TAVRIN_EXAMPLES"); env && *env) return env;
  if (IsDirectory(TAVRIN_EXAMPLES_DIR)) return TAVRIN_EXAMPLES_DIR;
  char self[4096];
  ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
  if (n > 0) {
    std::string exe(self, static_cast<size_t>(n));
    std::string prefix = exe.substr(0, exe.rfind('/'));
    prefix = prefix.substr(0, prefix.rfind('/'));
    if (IsDirectory(prefix + "/share/tavrin/examples")) return prefix + "/share/tavrin/examples";
  }
  return TAVRIN_EXAMPLES_DIR;
}

const char kDemoUsage[] =
    "usage: tavrin demo [--examples DIR]\n\n"
    "Tours the library over the sample files in examples/: each part of the\n"
    "library shows what it does on those files.\n";

int RunDemo(const Args& args) {
  if (WantsHelp(args)) {
    std::fputs(kDemoUsage, stdout);
    return kExitOk;
  }
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {}, {"--examples"}, parsed, error)) return UsageError("demo", error);
  if (!parsed.positional.empty())
    return UsageError("demo", "unexpected argument " + parsed.positional[0]);
  DemoContext ctx{FindExamples(parsed.Value("--examples").value_or("")), stdout};
  if (!IsDirectory(ctx.examples)) {
    std::fprintf(stderr, "tavrin demo: no sample folder at %s\n", ctx.examples.c_str());
    return kExitProblem;
  }
  std::vector<Command> commands = Registry();
  std::stable_sort(commands.begin(), commands.end(),
                   [](const Command& a, const Command& b) { return a.demo_order < b.demo_order; });
  std::fprintf(stdout, "tavrin %s - a tour of the library over %s\n", TAVRIN_VERSION,
               ctx.examples.c_str());
  std::fprintf(stdout, "platform layer: %s\n", tavrin::osutils::internal::PlatformLayerName());
  for (const Command& c : commands) {
    if (!c.demo) continue;
    std::fprintf(stdout, "\n== %s: %s ==\n", c.name, c.summary);
    c.demo(ctx);
  }
  std::fflush(stdout);
  return kExitOk;
}

}  // namespace
}  // namespace tavrin::cli

int main(int argc, char** argv) {
  using namespace tavrin::cli;
  if (argc < 2) {
    PrintMainHelp(stderr);
    return kExitUsage;
  }
  std::string name = argv[1];
  Args args(argv + 2, argv + argc);
  if (name == "--help" || name == "-h" || name == "help") {
    PrintMainHelp(stdout);
    return kExitOk;
  }
  if (name == "--version") {
    std::printf("tavrin %s\n", TAVRIN_VERSION);
    return kExitOk;
  }
  if (name == "demo") return RunDemo(args);
  for (const Command& c : Registry()) {
    if (name != c.name) continue;
    if (WantsHelp(args)) {
      std::fputs(c.usage, stdout);
      return kExitOk;
    }
    return c.run(args);
  }
  std::fprintf(stderr, "tavrin: unknown command '%s'\n\n", name.c_str());
  PrintMainHelp(stderr);
  return kExitUsage;
}
