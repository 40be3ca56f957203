// cmd_strings.cpp - `tavrin strings`: checks string table files and looks
// translations up in them.
#include <cstdio>
#include <string>
#include <vector>

#include "common/utils/internal/stringtable_internal.h"
#include "common/utils/osutils.h"
#include "common/utils/stringtranslator.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using utils::tavrin_ustring;

const char kUsage[] =
    "usage: tavrin strings check FILE...\n"
    "       tavrin strings get FILE KEY\n\n"
    "String table files hold one entry per line, \"source text\" = "
    "\"translation\";\n"
    "(anything between and after the two strings is ignored). Lines that do "
    "not\n"
    "start with a double quote are comments. In both strings \\n, \\r, \\t and "
    "\\\"\n"
    "stand for a line feed, a carriage return, a tab and a double quote; every "
    "other\n"
    "backslash is kept. The first definition of a source text wins. Files are "
    "UTF-8\n"
    "(with or without a byte-order mark) or UTF-16 with a byte-order mark.\n\n"
    "check  loads each FILE on its own, prints \"FILE: N entries, M rejected\" "
    "on\n"
    "       standard output and reports each rejected line (a line that starts "
    "with a\n"
    "       quote but lacks one of the four quotes) as FILE:LINE: text on "
    "standard\n"
    "       error.\n"
    "get    prints the translation of KEY (the source text, as UTF-8) from "
    "FILE, or\n"
    "       KEY itself when FILE has none.\n\n"
    "Exit status: 0 ok; 1 when a line was rejected, a file cannot be opened or "
    "KEY\n"
    "has no translation; 2 usage error.\n";

// The text of a rejected line without its line break, for one-line reports.
std::string WithoutLineBreak(const tavrin_ustring& text) {
  std::string line = text.utf8();
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return line;
}

// Loads `path` into `translator`; false with a message when it cannot be
// opened.
bool LoadTable(const std::string& path, StringTranslator& translator,
               std::vector<StringTableParseError>* errors) {
  if (translator.LoadStringTable(tavrin_ustring(path), errors)) return true;
  std::fprintf(stderr, "tavrin strings: cannot open %s as a string table\n", path.c_str());
  return false;
}

int Check(const std::vector<std::string>& files) {
  int status = kExitOk;
  for (const std::string& path : files) {
    StringTranslator translator;
    std::vector<StringTableParseError> errors;
    if (!LoadTable(path, translator, &errors)) {
      status = kExitProblem;
      continue;
    }
    std::fflush(stdout);
    for (const StringTableParseError& e : errors)
      std::fprintf(stderr, "%s:%d: %s\n", path.c_str(), e.lineNumber,
                   WithoutLineBreak(e.text).c_str());
    std::printf("%s: %zu entries, %zu rejected\n", path.c_str(),
                utils::detail::StringTableAccess::Size(translator), errors.size());
    if (!errors.empty()) status = kExitProblem;
  }
  return status;
}

int Get(const std::string& path, const std::string& key) {
  StringTranslator translator;
  if (!LoadTable(path, translator, nullptr)) return kExitProblem;
  tavrin_ustring out;
  const bool found = translator.LookupString(tavrin_ustring(key), &out);
  WriteOut(out.utf8() + "\n");
  return found ? kExitOk : kExitProblem;
}

int Run(const Args& args) {
  if (args.empty()) return UsageError("strings", "say check or get");
  const std::string& mode = args[0];
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  if (mode == "check") {
    if (rest.empty()) return UsageError("strings", "check needs at least one FILE");
    return Check(rest);
  }
  if (mode == "get") {
    if (rest.size() != 2) return UsageError("strings", "get needs FILE and KEY");
    return Get(rest[0], rest[1]);
  }
  return UsageError("strings", "unknown mode '" + mode + "' (check or get)");
}

// Shows a string with its control characters escaped.
std::string Shown(const tavrin_ustring& s) {
  std::string out;
  for (char c : s.utf8()) {
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else {
      out += c;
    }
  }
  return out;
}

void Demo(const DemoContext& ctx) {
  std::FILE* out = ctx.out;
  const char* tables[] = {"strings-fr.strings", "strings-de-utf16.strings"};
  StringTranslator fr, de;
  StringTranslator* translators[] = {&fr, &de};
  for (int i = 0; i < 2; ++i) {
    std::vector<StringTableParseError> errors;
    if (!translators[i]->LoadStringTable(tavrin_ustring(ctx.Example(tables[i])), &errors)) {
      std::fprintf(out, "(sample %s is missing)\n", tables[i]);
      return;
    }
    std::fprintf(out, "%s: %zu entries", tables[i],
                 utils::detail::StringTableAccess::Size(*translators[i]));
    for (const StringTableParseError& e : errors)
      std::fprintf(out, "; line %d rejected: %s", e.lineNumber, WithoutLineBreak(e.text).c_str());
    std::fprintf(out, "\n");
  }
  const char* keys[] = {"Open", "Close", "Say \"cheese\"", "Line\nbreak", "Export"};
  for (const char* key : keys) {
    tavrin_ustring f, d;
    fr.LookupString(tavrin_ustring(key), &f);
    de.LookupString(tavrin_ustring(key), &d);
    std::fprintf(out, "  %-16s fr: %-22s de: %s\n", Shown(tavrin_ustring(key)).c_str(),
                 Shown(f).c_str(), Shown(d).c_str());
  }
  // Localization with a table file: untranslated keys come back, or the
  // fallback when one is given.
  if (utils::Localization::Initialize(tavrin_ustring(), tavrin_ustring(ctx.Example(tables[0])))) {
    std::fprintf(out,
                 "Localization over the French table: \"Save\" -> \"%s\", \"Redo\" -> "
                 "\"%s\","
                 " with fallback -> \"%s\"\n",
                 utils::Localization::LookupStringReturnUstring("Save").utf8().c_str(),
                 utils::Localization::LookupStringReturnUstring("Redo").utf8().c_str(),
                 utils::Localization::LookupStringReturnUstring("Redo", "Refaire").utf8().c_str());
  }
  std::fprintf(out, "language folders and web codes:");
  for (const char* lang : {"en-US", "en-GB", "zh-TW", "pt-BR", "de"}) {
    const tavrin_ustring code(lang);
    std::fprintf(out, " %s=%s,%s", lang, osutils::GetMacLProjDir(code).utf8().c_str(),
                 osutils::ComputeWebCode(code).utf8().c_str());
  }
  std::fprintf(out, "\n");
}

}  // namespace

TAVRIN_COMMAND({"strings", "check string table files and look translations up", kUsage, Run, 72,
                Demo});

}  // namespace tavrin::cli
