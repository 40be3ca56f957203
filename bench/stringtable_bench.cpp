// stringtable_bench.cpp - loading a 100,000-line string table.
//
// Cases:
//   LoadStringTable/tavrin        StringTranslator::LoadStringTable, UTF-8 file
//   LoadStringTable/tavrin_utf16  the same table as UTF-16 with a mark
//   LoadStringTable/getline_map   what a caller might write instead:
//   std::getline,
//                                 the same quote and escape rules on bytes, and
//                                 a std::map of std::string (no UTF-16 text)
//   LoadStringTable/ctextfile_lines  the UTF-8 file read into UTF-16 lines with
//                                 CTextFile, nothing kept
//   LoadStringTable/fgets_floor   reading the UTF-8 file with fgets alone
// The table (fixed seed) mixes entries with escapes, comments, blank lines and
// a few rejected lines; it is written once to the temporary folder.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "common/utils/stringtranslator.h"
#include "common/utils/textfile.h"
#include "common/utils/ustring.h"

namespace {

using tavrin::utils::tavrin_ustring;

std::string TableText(std::size_t lines) {
  std::mt19937 rng(0x57A7Eu);
  const char* words[] = {"Open",  "Save",   "Export", "Mesh",  "Edge",  "Face", "Grid",
                         "Snap",  "Render", "Light",  "Scene", "Layer", "Undo", "Redo",
                         "Bevel", "Loft",   "Mirror", "Array", "Knife", "Weld"};
  const char* french[] = {"Ouvrir",  "Enregistrer", "Exporter", "Maillage", "Arête",
                          "Face",    "Grille",      "Aimanter", "Rendu",    "Lumière",
                          "Scène",   "Calque",      "Annuler",  "Rétablir", "Biseau",
                          "Lissage", "Miroir",      "Réseau",   "Couteau",  "Souder"};
  std::string text = "/* benchmark table */\n";
  for (std::size_t i = 1; i < lines; ++i) {
    const unsigned roll = rng() % 100;
    if (roll < 5) {
      text += "// section " + std::to_string(i) + "\n";
    } else if (roll < 8) {
      text += "\n";
    } else if (roll < 9) {
      text += "\"Broken " + std::to_string(i) + "\" = missing;\n";
    } else {
      const unsigned a = rng() % 20, b = rng() % 20;
      std::string key = std::string(words[a]) + " " + words[b] + " " + std::to_string(i);
      std::string value = std::string(french[a]) + " " + french[b] + " " + std::to_string(i);
      if (roll < 20) {
        key += "\\n(%1)";
        value += "\\n\\\"%1\\\"";
      }
      text += "\"" + key + "\" = \"" + value + "\";\n";
    }
  }
  return text;
}

std::string Utf16Le(const std::string& utf8) {
  const std::u16string units = tavrin_ustring(utf8).utf16();
  std::string out = "\xFF\xFE";
  out.reserve(2 + units.size() * 2);
  for (char16_t u : units) {
    out += static_cast<char>(u & 0xFF);
    out += static_cast<char>(u >> 8);
  }
  return out;
}

// The two table files, written on first use and removed at exit.
struct Tables {
  std::string utf8_path, utf16_path;
  Tables() {
    const std::string dir = (std::filesystem::temp_directory_path() /
                             ("tavrin-bench-tables." + std::to_string(::getpid())))
                                .string();
    std::filesystem::create_directories(dir);
    utf8_path = dir + "/table.strings";
    utf16_path = dir + "/table-utf16.strings";
    const std::string text = TableText(tavrin::bench::Size(100000, 2000));
    std::ofstream(utf8_path, std::ios::binary) << text;
    std::ofstream(utf16_path, std::ios::binary) << Utf16Le(text);
  }
  ~Tables() {
    std::error_code ec;
    std::filesystem::remove_all(std::filesystem::path(utf8_path).parent_path(), ec);
  }
};

const Tables& GetTables() {
  static const Tables tables;
  return tables;
}

void LoadTavrin(benchmark::State& state, const std::string& path) {
  std::size_t errors_seen = 0;
  for (auto _ : state) {
    StringTranslator t;
    std::vector<StringTableParseError> errors;
    const bool ok = t.LoadStringTable(tavrin_ustring(path), &errors);
    errors_seen = errors.size();
    benchmark::DoNotOptimize(ok);
  }
  state.counters["rejected"] = static_cast<double>(errors_seen);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(tavrin::bench::Size(100000, 2000)));
}

void LoadTavrinUtf8(benchmark::State& state) {
  LoadTavrin(state, GetTables().utf8_path);
}
void LoadTavrinUtf16(benchmark::State& state) {
  LoadTavrin(state, GetTables().utf16_path);
}

std::string UnescapeBytes(std::string s) {
  if (s.find('\\') == std::string::npos) return s;
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 1 < s.size()) {
      const char n = s[i + 1];
      const char r = n == 'r' ? '\r' : n == 'n' ? '\n' : n == 't' ? '\t' : n == '"' ? '"' : 0;
      if (r != 0) {
        out += r;
        ++i;
        continue;
      }
    }
    out += s[i];
  }
  return out;
}

std::size_t Closing(const std::string& line, std::size_t open) {
  for (std::size_t i = open + 1; i < line.size(); ++i)
    if (line[i] == '"' && line[i - 1] != '\\') return i;
  return std::string::npos;
}

void LoadGetlineMap(benchmark::State& state) {
  const std::string& path = GetTables().utf8_path;
  for (auto _ : state) {
    std::map<std::string, std::string> table;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] != '"') continue;
      const std::size_t k = Closing(line, 0);
      if (k == std::string::npos) continue;
      const std::size_t v = line.find('"', k + 1);
      if (v == std::string::npos) continue;
      const std::size_t e = Closing(line, v);
      if (e == std::string::npos) continue;
      table.emplace(UnescapeBytes(line.substr(1, k - 1)),
                    UnescapeBytes(line.substr(v + 1, e - v - 1)));
    }
    benchmark::DoNotOptimize(table.size());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(tavrin::bench::Size(100000, 2000)));
}

void LoadFgetsFloor(benchmark::State& state) {
  const std::string& path = GetTables().utf8_path;
  char buffer[4096];
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    std::size_t lines = 0;
    while (std::fgets(buffer, sizeof buffer, f) != nullptr) ++lines;
    std::fclose(f);
    benchmark::DoNotOptimize(lines);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(tavrin::bench::Size(100000, 2000)));
}

// Reading the UTF-8 table into UTF-16 lines through CTextFile, nothing kept:
// the part of a load that any table of UTF-16 text has to pay.
void LoadTextFileLines(benchmark::State& state) {
  const tavrin_ustring path(GetTables().utf8_path);
  for (auto _ : state) {
    CTextFile file;
    if (!file.Open(path)) {
      state.SkipWithError("cannot open the table");
      return;
    }
    tavrin_ustring line;
    std::size_t units = 0;
    while (file.GetLine(&line)) units += line.size();
    benchmark::DoNotOptimize(units);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(tavrin::bench::Size(100000, 2000)));
}

BENCHMARK(LoadTavrinUtf8)->Name("LoadStringTable/tavrin")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadTavrinUtf16)->Name("LoadStringTable/tavrin_utf16")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadGetlineMap)->Name("LoadStringTable/getline_map")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadTextFileLines)
    ->Name("LoadStringTable/ctextfile_lines")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(LoadFgetsFloor)->Name("LoadStringTable/fgets_floor")->Unit(benchmark::kMillisecond);

}  // namespace
