// stringtable_fuzz.cpp - the string table parser on arbitrary lines. The
// input is split at "\n" (each line keeps its "\n") and fed to the loader as
// a file reader would. Aborts when a line is both an entry and an error, when
// an error is not a quoted line or is recorded twice, when the counts do not
// add up, or when a key of an accepted line cannot be found again.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/utils/internal/stringtable_internal.h"
#include "common/utils/stringtranslator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
#if defined(TAVRIN_FUZZING)
  if (size > (1u << 16)) return 0;
#endif
  using tavrin::utils::tavrin_ustring;
  using tavrin::utils::detail::StringTableLine;
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<tavrin_ustring> lines;
  for (std::size_t pos = 0; pos < text.size();) {
    std::size_t end = text.find('\n', pos);
    end = end == std::string::npos ? text.size() : end + 1;
    // As the file reader assigns lines: up to a zero byte (the string type
    // does not hold zero units), invalid UTF-8 as "".
    lines.emplace_back(text.substr(pos, end - pos).c_str());
    pos = end;
  }

  StringTranslator translator;
  std::vector<StringTableParseError> errors;
  std::size_t next = 0;
  tavrin::utils::detail::StringTableAccess::ReadLines(
      translator,
      [&](tavrin_ustring* line) {
        if (next == lines.size()) return false;
        *line = lines[next++];
        return true;
      },
      &errors);

  std::size_t entries = 0, rejected = 0;
  std::vector<tavrin_ustring> keys;
  for (const tavrin_ustring& line : lines) {
    tavrin_ustring key, value;
    const StringTableLine kind = tavrin::utils::detail::ParseStringTableLine(line, &key, &value);
    if (kind == StringTableLine::kEntry) {
      ++entries;
      keys.push_back(key);
    }
    if (kind == StringTableLine::kRejected) ++rejected;
    if (kind != StringTableLine::kIgnored && (line.empty() || line[0] != '"')) std::abort();
  }
  if (errors.size() != rejected) std::abort();
  int last = 0;
  for (const StringTableParseError& e : errors) {
    if (e.lineNumber <= last || e.lineNumber > static_cast<int>(lines.size())) std::abort();
    last = e.lineNumber;
    if (!(e.text == lines[static_cast<std::size_t>(e.lineNumber) - 1])) std::abort();
  }
  if (tavrin::utils::detail::StringTableAccess::Size(translator) > entries) std::abort();
  for (const tavrin_ustring& key : keys) {
    tavrin_ustring out;
    if (!key.empty() && !translator.LookupString(key, &out)) std::abort();
  }
  return 0;
}
