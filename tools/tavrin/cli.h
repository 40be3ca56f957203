// cli.h - the subcommand registry and shared helpers of the tavrin tool.
//
// Conventions every subcommand follows: results on standard output, errors on
// standard error, exit status 0 on success, 1 when the job found a problem,
// 2 for a usage error. Input named "-" (or omitted where a subcommand allows)
// is standard input.
#pragma once

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace tavrin::cli {

inline constexpr int kExitOk = 0;
inline constexpr int kExitProblem = 1;
inline constexpr int kExitUsage = 2;

// Arguments of one subcommand: everything after its name.
using Args = std::vector<std::string>;

// What a demo section gets: where the sample files are and where to write.
struct DemoContext {
  std::string examples;  // folder of the bundled samples, no trailing "/"
  std::FILE* out;
  // Path of a sample file.
  std::string Example(const std::string& name) const { return examples + "/" + name; }
};

struct Command {
  const char* name;
  const char* summary;  // one line for `tavrin --help`
  const char* usage;    // full text for `tavrin NAME --help`
  int (*run)(const Args& args);
  int demo_order;                        // position in `tavrin demo`; lower first
  void (*demo)(const DemoContext& ctx);  // null: not part of the tour
};

// Registry of subcommands, filled by TAVRIN_COMMAND before main runs.
std::vector<Command>& Registry();
bool Register(const Command& command);

#define TAVRIN_CLI_CONCAT2(a, b) a##b
#define TAVRIN_CLI_CONCAT(a, b) TAVRIN_CLI_CONCAT2(a, b)
// TAVRIN_COMMAND({"name", "summary", "usage", run, order, demo});
#define TAVRIN_COMMAND(...)                                                            \
  static const bool TAVRIN_CLI_CONCAT(tavrin_registered_, __LINE__) [[maybe_unused]] = \
      ::tavrin::cli::Register(::tavrin::cli::Command __VA_ARGS__)

// Reports a usage error for `command` on standard error and returns 2.
int UsageError(const Command& command, const std::string& message);
int UsageError(const char* command_name, const std::string& message);

// Whether `args` asks for help ("--help" or "-h" anywhere).
bool WantsHelp(const Args& args);

// Reads a whole file ("-" is standard input) into `out`. False with a message
// on standard error when it cannot be read.
bool ReadAll(const std::string& path, std::string& out);

// Writes bytes to standard output exactly.
void WriteOut(const std::string& bytes);

// Splits `args` into options and positional arguments. `with_value` lists the
// options that take a value ("--unit mm" or "--unit=mm"); every other "--x"
// is a flag. Returns false with a message when a value is missing or an
// option is not in `known`.
struct ParsedArgs {
  std::vector<std::string> positional;
  std::vector<std::pair<std::string, std::string>> options;  // name, value ("" for flags)
  bool Has(const std::string& name) const;
  std::optional<std::string> Value(const std::string& name) const;
};
bool ParseArgs(const Args& args, const std::vector<std::string>& flags,
               const std::vector<std::string>& with_value, ParsedArgs& out, std::string& error);

}  // namespace tavrin::cli
