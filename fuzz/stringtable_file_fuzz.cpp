// stringtable_file_fuzz.cpp - StringTranslator::LoadStringTable on generated
// file bytes: the whole path from the file through the text reader to the
// table.
//
// The first input byte picks a byte-order mark (UTF-8, UTF-16 LE or BE, none)
// and whether the text is repeated past the 4095-byte line limit; the rest is
// the text, with bytes below 0x20 mapped so that quotes, backslashes, "=",
// ";" and line breaks come up often. The file is written to a private
// temporary folder. Checked against the same file read line by line with
// CTextFile and classified with ParseStringTableLine:
//   - the loader reports exactly the rejected lines, with their text and
//     line number, in file order;
//   - the table holds one entry per distinct non-empty key of the accepted
//     lines, each with its first translation, and no other key;
//   - loading the file again adds nothing and changes no translation;
//   - a file that cannot be opened gives false and leaves the table alone.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "common/utils/internal/stringtable_internal.h"
#include "common/utils/stringtranslator.h"
#include "common/utils/textfile.h"
#include "common/utils/ustring.h"

using tavrin::utils::tavrin_ustring;
using tavrin::utils::detail::StringTableAccess;
using tavrin::utils::detail::StringTableLine;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "stringtable_file_fuzz: %s\n", what);
    std::abort();
  }
}

const std::string& ScratchFolder() {
  static const std::string path = [] {
    const char* base = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string tmpl = std::string(base) + "/stringtable_fuzz.XXXXXX";
    Check(::mkdtemp(tmpl.data()) != nullptr, "cannot make a scratch folder");
    return tmpl;
  }();
  return path;
}

std::u16string Units(const tavrin_ustring& s) {
  return std::u16string(reinterpret_cast<const char16_t*>(s.data()), s.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 8192) return 0;
  const std::uint8_t mode = data[0];
  // Small bytes become the table's syntax characters.
  static const char kSyntax[] = "\"\"\"\\\\= ;\n\n\r\tnrt/*";
  std::string text;
  for (std::size_t i = 1; i < size; ++i) {
    const auto b = static_cast<unsigned char>(data[i]);
    text += b < sizeof(kSyntax) - 1 ? kSyntax[b] : static_cast<char>(b);
  }
  if ((mode & 0x08) && !text.empty())
    while (text.size() <= 5000) text += text;

  std::string bytes;
  switch (mode % 4) {
    case 0:
      bytes = "\xEF\xBB\xBF" + text;
      break;
    case 1:
    case 2: {
      // The text as UTF-8 turned into UTF-16 (invalid UTF-8 gives an empty
      // table file body).
      const tavrin_ustring u(text);
      bytes = mode % 4 == 1 ? "\xFF\xFE" : "\xFE\xFF";
      for (std::size_t i = 0; i < u.size(); ++i) {
        const unsigned short unit = u.data()[i];
        const char lo = static_cast<char>(unit & 0xFF), hi = static_cast<char>(unit >> 8);
        if (mode % 4 == 1) {
          bytes += lo;
          bytes += hi;
        } else {
          bytes += hi;
          bytes += lo;
        }
      }
      break;
    }
    default:
      bytes = text;
      break;
  }
  const std::string path = ScratchFolder() + "/table.strings";
  std::FILE* f = std::fopen(path.c_str(), "wb");
  Check(f != nullptr, "cannot write the scratch file");
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);

  // The reference: the same lines through CTextFile, classified one by one.
  std::vector<tavrin_ustring> lines;
  CTextFile reader;
  const bool readable = reader.Open(tavrin_ustring(path));
  if (readable) {
    tavrin_ustring line;
    while (reader.GetLine(&line)) lines.push_back(line);
  }
  std::map<std::u16string, std::u16string> expected;
  std::vector<std::pair<int, std::u16string>> expected_errors;
  for (std::size_t n = 0; n < lines.size(); ++n) {
    tavrin_ustring key, value;
    const StringTableLine kind =
        tavrin::utils::detail::ParseStringTableLine(lines[n], &key, &value);
    if (kind == StringTableLine::kEntry)
      expected.emplace(Units(key), Units(value));  // the first definition wins
    else if (kind == StringTableLine::kRejected)
      expected_errors.emplace_back(static_cast<int>(n) + 1, Units(lines[n]));
  }

  StringTranslator table;
  std::vector<StringTableParseError> errors;
  const bool loaded = table.LoadStringTable(tavrin_ustring(path), &errors);
  Check(loaded == readable, "LoadStringTable and CTextFile disagree on opening the file");
  Check(errors.size() == expected_errors.size(), "wrong number of rejected lines");
  for (std::size_t k = 0; k < errors.size(); ++k) {
    Check(errors[k].lineNumber == expected_errors[k].first, "wrong line number of a rejected line");
    Check(Units(errors[k].text) == expected_errors[k].second, "wrong text of a rejected line");
  }
  const std::vector<tavrin_ustring> keys = StringTableAccess::Keys(table);
  Check(keys.size() == expected.size(), "wrong number of entries");
  for (const auto& [key, value] : expected) {
    tavrin_ustring out;
    const tavrin_ustring k(reinterpret_cast<const unsigned short*>(key.data()), key.size());
    const bool found = table.LookupString(k, &out);
    if (key.empty()) {
      Check(!found && out.empty(), "the empty key was looked up");
    } else {
      Check(found && Units(out) == value, "a key lost its first translation");
    }
  }

  // Loading again adds nothing and changes nothing.
  std::vector<StringTableParseError> again;
  Check(table.LoadStringTable(tavrin_ustring(path), &again) == readable, "second load differs");
  Check(again.size() == errors.size(), "second load reports other errors");
  Check(StringTableAccess::Keys(table).size() == keys.size(), "second load added entries");

  // A missing file: false, table unchanged, no error records.
  std::vector<StringTableParseError> none;
  Check(!table.LoadStringTable(tavrin_ustring(ScratchFolder() + "/missing.strings"), &none) &&
            none.empty() && StringTableAccess::Keys(table).size() == keys.size(),
        "a missing file changed something");
  return 0;
}
