// Tests of string tables: every line form, the escapes, the closing-quote
// rule, error records, merging and lookups; files in UTF-8 and UTF-16; and
// the Localization entry points.
#include "common/utils/stringtranslator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "common/utils/internal/stringtable_internal.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::tavrin_ustring;
using tavrin::utils::detail::ParseStringTableLine;
using tavrin::utils::detail::StringTableAccess;
using tavrin::utils::detail::StringTableLine;

// Feeds `lines` (UTF-8, each with whatever line break it carries) to the
// loader as a file reader would.
void Load(StringTranslator& t, const std::vector<std::string>& lines,
          std::vector<StringTableParseError>* errors) {
  std::size_t next = 0;
  StringTableAccess::ReadLines(
      t,
      [&](tavrin_ustring* line) {
        if (next == lines.size()) return false;
        *line = tavrin_ustring(lines[next++]);
        return true;
      },
      errors);
}

// The translation of `key`, or "<none>" when there is none.
std::string Get(const StringTranslator& t, const std::string& key) {
  tavrin_ustring out;
  if (!t.LookupString(tavrin_ustring(key), &out)) return "<none>";
  return out.utf8();
}

// Parses one line; "<ignored>" or "<rejected>" for lines without an entry.
std::string Parse(const std::string& line) {
  tavrin_ustring key, value;
  switch (ParseStringTableLine(tavrin_ustring(line), &key, &value)) {
    case StringTableLine::kIgnored:
      return "<ignored>";
    case StringTableLine::kRejected:
      return "<rejected>";
    case StringTableLine::kEntry:
      break;
  }
  return "[" + key.utf8() + "]=[" + value.utf8() + "]";
}

// --- Line forms
// ------------------------------------------------------------------------

TEST(StringTranslatorTest, EntryLineForms) {
  EXPECT_EQ(Parse("\"Open\" = \"Ouvrir\";"), "[Open]=[Ouvrir]");
  EXPECT_EQ(Parse("\"Open\" \"Ouvrir\""), "[Open]=[Ouvrir]");
  EXPECT_EQ(Parse("\"Open\"\"Ouvrir\""), "[Open]=[Ouvrir]");
  EXPECT_EQ(Parse("\"Open\" = \"Ouvrir\"; // menu item\n"), "[Open]=[Ouvrir]");
  // Anything between and after the strings is skipped, quotes included.
  EXPECT_EQ(Parse("\"a\" junk \"b\" more \"c\""), "[a]=[b]");
  EXPECT_EQ(Parse("\"\" = \"empty key\""), "[]=[empty key]");
  EXPECT_EQ(Parse("\"k\" = \"\""), "[k]=[]");
  EXPECT_EQ(Parse("\"Fen\xC3\xAAtre\" = \"\xE7\xAA\x97\xE5\x8F\xA3 \xF0\x9F\xAA\x9F\""),
            "[Fen\xC3\xAAtre]=[\xE7\xAA\x97\xE5\x8F\xA3 \xF0\x9F\xAA\x9F]");
}

TEST(StringTranslatorTest, IgnoredLines) {
  EXPECT_EQ(Parse(""), "<ignored>");
  EXPECT_EQ(Parse("\n"), "<ignored>");
  EXPECT_EQ(Parse("// comment \"a\" = \"b\""), "<ignored>");
  EXPECT_EQ(Parse("/* \"a\" = \"b\" */"), "<ignored>");
  // The quote must be the very first character.
  EXPECT_EQ(Parse(" \"a\" = \"b\";"), "<ignored>");
  EXPECT_EQ(Parse("\t\"a\" = \"b\";"), "<ignored>");
  EXPECT_EQ(Parse("Open = Ouvrir"), "<ignored>");
}

TEST(StringTranslatorTest, RejectedLines) {
  EXPECT_EQ(Parse("\"Open\" = Ouvrir"), "<rejected>");  // no translation quote
  EXPECT_EQ(Parse("\"Open"), "<rejected>");             // key never closes
  EXPECT_EQ(Parse("\"Open\""), "<rejected>");           // no translation
  EXPECT_EQ(Parse("\"Open\" = \"Ouvrir"),
            "<rejected>");  // translation never closes
  EXPECT_EQ(Parse("\"Open\" = \"Ouvrir\\\""),
            "<rejected>");  // its last quote is escaped
  EXPECT_EQ(Parse("\"Open\" = \"Ouvrir\\\"\""), "[Open]=[Ouvrir\"]");
  EXPECT_EQ(Parse("\""), "<rejected>");
  EXPECT_EQ(Parse("\"\n"), "<rejected>");
}

TEST(StringTranslatorTest, ClosingQuoteIsTheFirstUnescapedOne) {
  EXPECT_EQ(Parse("\"Say \\\"hi\\\"\" = \"Dis \\\"salut\\\"\""), "[Say \"hi\"]=[Dis \"salut\"]");
  // A backslash before the would-be closing quote hides it even when the
  // backslash is itself escaped: the key runs on to the next quote, and the
  // translation then has no closing quote.
  EXPECT_EQ(Parse("\"C:\\\\\" = \"x\""), "<rejected>");
  // With one more quote the same line parses, into a surprising pair: the
  // key ends at the quote before x (and its backslash-quote is unescaped),
  // the translation is the blank between the next two quotes.
  EXPECT_EQ(Parse("\"C:\\\\\" = \"x\" \"y\""), "[C:\\\" = ]=[ ]");
}

TEST(StringTranslatorTest, ExactlyFourEscapes) {
  EXPECT_EQ(Parse("\"Line\\nbreak\" = \"A\\tB\""), "[Line\nbreak]=[A\tB]");
  EXPECT_EQ(Parse("\"cr\\r\" = \"\\r\\n\""), "[cr\r]=[\r\n]");
  // A doubled backslash stays two backslashes; so does any other escape.
  EXPECT_EQ(Parse("\"C:\\\\dir\" = \"x\""), "[C:\\\\dir]=[x]");
  EXPECT_EQ(Parse("\"a\\qb\\u00e9\" = \"\\0x\""), "[a\\qb\\u00e9]=[\\0x]");
  // The backslash of an escaped backslash still starts the next escape.
  EXPECT_EQ(Parse("\"a\\\\n\" = \"b\""), "[a\\\n]=[b]");
  // A trailing lone backslash before the closing quote cannot exist (the
  // quote would be escaped); one before other text stays.
  EXPECT_EQ(Parse("\"end\\ \" = \"v\\\\t\""), "[end\\ ]=[v\\\t]");
}

// Unescapes in one left-to-right pass: the four escapes, every other
// backslash literal. Equivalent to the loader's four replacements in order
// because no replacement produces a backslash.
std::string ReferenceUnescape(const std::string& s) {
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 1 < s.size()) {
      const char n = s[i + 1];
      const char* rep = n == 'r'   ? "\r"
                        : n == 'n' ? "\n"
                        : n == 't' ? "\t"
                        : n == '"' ? "\""
                                   : nullptr;
      if (rep != nullptr) {
        out += rep;
        ++i;
        continue;
      }
    }
    out += s[i];
  }
  return out;
}

TEST(StringTranslatorTest, RandomLinesAgreeWithCharacterScan) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const std::string alphabet = "\"\"\"\\\\\\rntqa =;";
  int entries = 0, rejected = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string line = rng() % 8 ? "\"" : "";
    const std::size_t len = rng() % 14;
    for (std::size_t i = 0; i < len; ++i) line += alphabet[rng() % alphabet.size()];
    SCOPED_TRACE("line '" + line + "'");
    // Scan: quote positions by the rule, found by walking characters.
    std::vector<std::size_t> quotes;
    if (!line.empty() && line[0] == '"') {
      quotes.push_back(0);
      for (std::size_t i = 1; i < line.size() && quotes.size() < 4; ++i) {
        if (line[i] != '"') continue;
        const bool closing = quotes.size() % 2 == 1;
        if (closing && line[i - 1] == '\\') continue;
        quotes.push_back(i);
      }
    }
    std::string expected;
    if (quotes.empty()) {
      expected = "<ignored>";
    } else if (quotes.size() < 4) {
      expected = "<rejected>";
      ++rejected;
    } else {
      expected = "[" + ReferenceUnescape(line.substr(1, quotes[1] - 1)) + "]=[" +
                 ReferenceUnescape(line.substr(quotes[2] + 1, quotes[3] - quotes[2] - 1)) + "]";
      ++entries;
    }
    ASSERT_EQ(Parse(line), expected);
  }
  EXPECT_GT(entries, 1000);
  EXPECT_GT(rejected, 1000);
}

// --- Loading lines
// ----------------------------------------------------------------------------

TEST(StringTranslatorTest, LoadsEntriesAndReportsEachRejectedLineOnce) {
  StringTranslator t;
  std::vector<StringTableParseError> errors;
  Load(t,
       {"// French menu\n", "\n", "\"Open\" = \"Ouvrir\";\n", "\"Close\" = Fermer;\n",
        "\"Save\" \"Enregistrer\"\r\n", "  \"Indented\" = \"x\";\n", "\"Quit\n",
        "\"Open\" = \"Ouvrir (bis)\";\n", "\"Help\" = \"Aide\""},
       &errors);
  EXPECT_EQ(StringTableAccess::Size(t), 3u);
  EXPECT_EQ(Get(t, "Open"), "Ouvrir");  // the first definition wins
  EXPECT_EQ(Get(t, "Save"), "Enregistrer");
  EXPECT_EQ(Get(t, "Help"), "Aide");
  EXPECT_EQ(Get(t, "Close"), "<none>");
  EXPECT_EQ(Get(t, "Indented"), "<none>");
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_TRUE(errors[0].text == "\"Close\" = Fermer;\n");
  EXPECT_EQ(errors[0].lineNumber, 4);
  EXPECT_TRUE(errors[1].text == "\"Quit\n");
  EXPECT_EQ(errors[1].lineNumber, 7);
}

TEST(StringTranslatorTest, ErrorListIsOptionalAndAppendedTo) {
  StringTranslator t;
  Load(t, {"\"bad\n", "\"a\" = \"1\"\n"}, nullptr);
  EXPECT_EQ(Get(t, "a"), "1");
  std::vector<StringTableParseError> errors = {{tavrin_ustring("earlier"), 99}};
  Load(t, {"\"x\" = \"y\"\n", "\"z\" =\n", "\"b\" = \"2\"\n", "\"w\r\n"}, &errors);
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[0].lineNumber, 99);  // kept
  EXPECT_EQ(errors[1].lineNumber, 2);   // each load counts from 1
  EXPECT_TRUE(errors[2].text == "\"w\r\n");
  EXPECT_EQ(errors[2].lineNumber, 4);
}

TEST(StringTranslatorTest, SecondLoadMergesAndKeepsFirstDefinitions) {
  StringTranslator t;
  Load(t, {"\"Open\" = \"Ouvrir\"\n", "\"Cut\" = \"Couper\"\n"}, nullptr);
  Load(t,
       {"\"Open\" = \"\xC3\x96"
        "ffnen\"\n",
        "\"Paste\" = \"Einf\xC3\xBCgen\"\n"},
       nullptr);
  EXPECT_EQ(StringTableAccess::Size(t), 3u);
  EXPECT_EQ(Get(t, "Open"), "Ouvrir");
  EXPECT_EQ(Get(t, "Paste"), "Einf\xC3\xBCgen");
  EXPECT_EQ(Get(t, "Cut"), "Couper");
}

// --- Lookups
// ------------------------------------------------------------------------------------

TEST(StringTranslatorTest, LookupGivesKeyBackWhenUntranslated) {
  StringTranslator t;
  tavrin_ustring out("stale");
  EXPECT_FALSE(t.LookupString(tavrin_ustring("Open"), &out));  // empty map
  EXPECT_TRUE(out == "Open");
  Load(t, {"\"\" = \"for the empty key\"\n", "\"Open\" = \"Ouvrir\"\n"}, nullptr);
  EXPECT_TRUE(t.LookupString(tavrin_ustring("Open"), &out));
  EXPECT_TRUE(out == "Ouvrir");
  EXPECT_FALSE(t.LookupString(tavrin_ustring("open"), &out));  // case-sensitive
  EXPECT_TRUE(out == "open");
  // The empty key never finds its entry.
  EXPECT_FALSE(t.LookupString(tavrin_ustring(), &out));
  EXPECT_TRUE(out.empty());
  EXPECT_FALSE(t.LookupString(tavrin_ustring("Open"), nullptr));
}

TEST(StringTranslatorTest, KeysAreOrderedAsCompareOrdersThem) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  // Units around the edges of UTF-16: ASCII, Latin-1, surrogates, U+FFFF.
  const unsigned short units[] = {'a', 'b', 'A', ' ', 0xE9, 0x4E2D, 0xD83D, 0xDE00, 0xFFFD, 0xFFFF};
  StringTranslator t;
  std::vector<tavrin_ustring> keys;
  std::size_t next = 0;
  for (int i = 0; i < 3000; ++i) {
    tavrin_ustring key;
    for (std::size_t k = 0, n = rng() % 6; k < n; ++k) key.push_back(units[rng() % 10]);
    keys.push_back(key);
  }
  StringTableAccess::ReadLines(
      t,
      [&](tavrin_ustring* line) {
        if (next == keys.size()) return false;
        *line = tavrin_ustring("\"") + keys[next] + tavrin_ustring("\" = \"") +
                tavrin_ustring(std::to_string(next)) + tavrin_ustring("\"");
        ++next;
        return true;
      },
      nullptr);
  const std::vector<tavrin_ustring> ordered = StringTableAccess::Keys(t);
  for (std::size_t i = 1; i < ordered.size(); ++i)
    ASSERT_LT(ordered[i - 1].compare(ordered[i]), 0) << "at " << i;
  // Every key finds the first line that defined it.
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (keys[i].empty()) continue;
    tavrin_ustring out;
    ASSERT_TRUE(t.LookupString(keys[i], &out));
    const std::size_t first =
        static_cast<std::size_t>(std::find(keys.begin(), keys.end(), keys[i]) - keys.begin());
    EXPECT_TRUE(out == std::to_string(first).c_str()) << "key " << i;
  }
}

TEST(StringTranslatorTest, KeysWithEscapesAreLookedUpByTheirText) {
  StringTranslator t;
  Load(t, {"\"Line\\nbreak\" = \"A\\tB\"\n", "\"Say \\\"hi\\\"\" = \"Dis \\\"salut\\\"\"\n"},
       nullptr);
  EXPECT_EQ(Get(t, "Line\nbreak"), "A\tB");
  EXPECT_EQ(Get(t, "Line\\nbreak"), "<none>");
  EXPECT_EQ(Get(t, "Say \"hi\""), "Dis \"salut\"");
}

// --- Files
// -----------------------------------------------------------------------------------

// The bytes of `text` (UTF-8) as UTF-16 with a byte-order mark.
std::string Utf16(const std::string& text, bool big_endian) {
  const std::u16string units = tavrin_ustring(text).utf16();
  std::string out = big_endian ? "\xFE\xFF" : "\xFF\xFE";
  for (char16_t u : units) {
    const char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
    out += big_endian ? std::string{hi, lo} : std::string{lo, hi};
  }
  return out;
}

const char kTable[] =
    "/* test table */\r\n"
    "\"Open\" = \"\xC3\x96"
    "ffnen\";\r\n"
    "\r\n"
    "\"Tab\\there\" \"A\\tB\" // note\r\n"
    "\"Broken\" = kaputt;\r\n"
    "\"Open\" = \"second\";\r\n"
    "\"Emoji \xF0\x9F\x98\x80\" = \"\xE7\xAC\x91\"\r\n"
    "\"Last\" = \"no line break\"";

void ExpectTableContents(const StringTranslator& t, const std::vector<StringTableParseError>& e) {
  EXPECT_EQ(StringTableAccess::Size(t), 4u);
  EXPECT_EQ(Get(t, "Open"),
            "\xC3\x96"
            "ffnen");
  EXPECT_EQ(Get(t, "Tab\there"), "A\tB");
  EXPECT_EQ(Get(t, "Emoji \xF0\x9F\x98\x80"), "\xE7\xAC\x91");
  EXPECT_EQ(Get(t, "Broken"), "<none>");
  ASSERT_EQ(e.size(), 1u);
  EXPECT_TRUE(e[0].text == "\"Broken\" = kaputt;\r\n");
  EXPECT_EQ(e[0].lineNumber, 5);
}

TEST(StringTranslatorTest, LoadsEveryEncoding) {
  const std::string dir = tavrin::test::FreshDir("tables");
  const std::pair<const char*, std::string> files[] = {
      {"plain.strings", kTable},
      {"bom.strings", "\xEF\xBB\xBF" + std::string(kTable)},
      {"le.strings", Utf16(kTable, false)},
      {"be.strings", Utf16(kTable, true)},
  };
  for (const auto& [name, bytes] : files) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(tavrin::test::WriteFile(dir + "/" + name, bytes));
    StringTranslator t;
    std::vector<StringTableParseError> errors;
    ASSERT_TRUE(t.LoadStringTable(tavrin_ustring(dir + "/" + name), &errors));
    ExpectTableContents(t, errors);
    EXPECT_EQ(Get(t, "Last"), "no line break");
  }
}

TEST(StringTranslatorTest, FileThatCannotBeOpenedChangesNothing) {
  const std::string dir = tavrin::test::FreshDir("tables-missing");
  StringTranslator t;
  std::vector<StringTableParseError> errors;
  Load(t, {"\"a\" = \"1\"\n"}, nullptr);
  EXPECT_FALSE(t.LoadStringTable(tavrin_ustring(dir + "/none.strings"), &errors));
  // Files the reader refuses: empty, one byte, starting with FF FF.
  for (const char* bytes : {"", "\"", "\xFF\xFF\"b\" = \"2\"\n"}) {
    ASSERT_TRUE(tavrin::test::WriteFile(dir + "/bad.strings", bytes));
    EXPECT_FALSE(t.LoadStringTable(tavrin_ustring(dir + "/bad.strings"), &errors));
  }
  EXPECT_FALSE(t.LoadStringTable(tavrin_ustring(dir), &errors));  // a folder
  EXPECT_TRUE(errors.empty());
  EXPECT_EQ(StringTableAccess::Size(t), 1u);
  EXPECT_EQ(Get(t, "a"), "1");
}

TEST(StringTranslatorTest, Latin1LineIsReadEmptyAndIgnored) {
  // 8-bit lines are read as UTF-8; a Latin-1 line comes back empty, so it is
  // neither an entry nor an error, and the lines after it still count.
  const std::string dir = tavrin::test::FreshDir("tables-latin1");
  ASSERT_TRUE(
      tavrin::test::WriteFile(dir + "/t.strings", "\"caf\xE9\" = \"x\"\n\"ok\" = \"1\"\n\"bad\n"));
  StringTranslator t;
  std::vector<StringTableParseError> errors;
  ASSERT_TRUE(t.LoadStringTable(tavrin_ustring(dir + "/t.strings"), &errors));
  EXPECT_EQ(StringTableAccess::Size(t), 1u);
  EXPECT_EQ(Get(t, "ok"), "1");
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0].lineNumber, 3);
}

TEST(StringTranslatorTest, SampleTables) {
  const std::string dir = tavrin::test::ExamplesDir();
  StringTranslator fr, de;
  std::vector<StringTableParseError> fr_errors, de_errors;
  ASSERT_TRUE(fr.LoadStringTable(tavrin_ustring(dir + "/strings-fr.strings"), &fr_errors));
  ASSERT_TRUE(de.LoadStringTable(tavrin_ustring(dir + "/strings-de-utf16.strings"), &de_errors));
  EXPECT_EQ(Get(fr, "Open"), "Ouvrir");
  EXPECT_EQ(Get(fr, "Close"), "Fermer");
  EXPECT_EQ(Get(fr, "Line\nbreak"), "Saut\tde ligne");
  EXPECT_EQ(Get(fr, "Folder C:\\\\Models"), "Dossier C:\\\\Mod\xC3\xA8les");
  EXPECT_EQ(Get(de, "Close"),
            "Schlie\xC3\x9F"
            "en");
  ASSERT_EQ(fr_errors.size(), 1u);
  EXPECT_EQ(fr_errors[0].lineNumber, 12);
  EXPECT_TRUE(fr_errors[0].text == "\"Export\" = Exporter;\n");
  ASSERT_EQ(de_errors.size(), 1u);
  EXPECT_EQ(de_errors[0].lineNumber, 7);
  EXPECT_TRUE(de_errors[0].text == "\"Paste\" = \"Einf\xC3\xBCgen\r\n");
}

// --- Localization with a table file
// -------------------------------------------------------------- Localization
// keeps process-wide state, so each scenario runs in a child.

#define CHILD_CHECK(condition)                                \
  do {                                                        \
    if (!(condition)) {                                       \
      std::fprintf(stderr, "check failed: %s\n", #condition); \
      std::exit(1);                                           \
    }                                                         \
  } while (0)

TEST(StringTranslatorTest, LocalizationUsesTableFileWithFolder) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string dir = tavrin::test::FreshDir("localization");
  ASSERT_TRUE(
      tavrin::test::WriteFile(dir + "/fr.strings", "\"Open\" = \"Ouvrir\"\n\"Empty\" = \"\"\n"));
  namespace L = tavrin::utils::Localization;
  EXPECT_EXIT(
      {
        CHILD_CHECK(L::Initialize(tavrin_ustring(), tavrin_ustring(dir + "/fr.strings")));
        CHILD_CHECK(L::LookupStringReturnUstring("Open") == "Ouvrir");
        CHILD_CHECK(L::LookupStringReturnUstring("Redo") == "Redo");
        CHILD_CHECK(L::LookupStringReturnUstring("Redo", "Refaire") == "Refaire");
        CHILD_CHECK(L::LookupStringReturnUstring("Redo", nullptr) == "Redo");
        CHILD_CHECK(L::LookupStringReturnUstring("Open", "unused") == "Ouvrir");
        CHILD_CHECK(L::LookupStringReturnUstring("Empty").empty());
        CHILD_CHECK(L::LookupStringReturnUstring(nullptr).empty());
        CHILD_CHECK(L::LookupStringReturnUstring("", "fb") == "fb");
        // A fallback that is not UTF-8 reads as empty text.
        CHILD_CHECK(L::LookupStringReturnUstring("Redo", "\xFF").empty());
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        // Missing file: false, and keys come back unchanged.
        CHILD_CHECK(!L::Initialize(tavrin_ustring(), tavrin_ustring(dir + "/none.strings")));
        CHILD_CHECK(L::LookupStringReturnUstring("Open") == "Open");
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  // With a bundle identifier the table is a platform table name, not a file:
  // what the platform answers then is checked by the backend suites.
}

// --- The tavrin tool
// -------------------------------------------------------------------------------

TEST(StringTranslatorTest, ToolChecksTables) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::string dir = tavrin::test::FreshDir("strings-tool");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/good.strings", "\"a\" = \"1\"\n\"b\" = \"2\"\n"));
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/bad.strings",
                                      "// c\r\n\"a\" = x\r\n\"b\" = \"2\"\r\n\"c\r\n"));
  const std::string q = "'" + tool + "' strings ";
  std::string out;
  EXPECT_EQ(tavrin::test::RunShell(q + "check '" + dir + "/good.strings'", &out), 0);
  EXPECT_EQ(out, dir + "/good.strings: 2 entries, 0 rejected\n");
  // Rejected lines go to standard error as FILE:LINE: text.
  EXPECT_EQ(
      tavrin::test::RunShell(
          q + "check '" + dir + "/good.strings' '" + dir + "/bad.strings' 2>&1 >/dev/null", &out),
      1);
  EXPECT_EQ(out, dir + "/bad.strings:2: \"a\" = x\n" + dir + "/bad.strings:4: \"c\n");
  EXPECT_EQ(tavrin::test::RunShell(q + "check '" + dir + "/bad.strings' 2>/dev/null", &out), 1);
  EXPECT_EQ(out, dir + "/bad.strings: 1 entries, 2 rejected\n");
  EXPECT_EQ(tavrin::test::RunShell(q + "check '" + dir + "/none' 2>/dev/null", &out), 1);
  EXPECT_EQ(tavrin::test::RunShell(q + "check 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell(q + "2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell(q + "list x 2>/dev/null"), 2);
}

TEST(StringTranslatorTest, ToolGetsTranslations) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::string dir = tavrin::test::FreshDir("strings-tool-get");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/t.strings", Utf16("\"Open\" = \"\xC3\x96"
                                                                "ffnen\"\r\n\"Two\\nlines\" = "
                                                                "\"Zwei\\nZeilen\"\r\n",
                                                                false)));
  const std::string q = "'" + tool + "' strings get '" + dir + "/t.strings' ";
  std::string out;
  EXPECT_EQ(tavrin::test::RunShell(q + "Open", &out), 0);
  EXPECT_EQ(out,
            "\xC3\x96"
            "ffnen\n");
  EXPECT_EQ(tavrin::test::RunShell(q + "\"$(printf 'Two\\nlines')\"", &out), 0);
  EXPECT_EQ(out, "Zwei\nZeilen\n");
  EXPECT_EQ(tavrin::test::RunShell(q + "Close", &out), 1);
  EXPECT_EQ(out, "Close\n");
  EXPECT_EQ(tavrin::test::RunShell(q + "2>/dev/null"), 2);
  EXPECT_EQ(
      tavrin::test::RunShell("'" + tool + "' strings get '" + dir + "/none' Open 2>/dev/null"), 1);
}

}  // namespace
