// textfile_test.cpp - CTextFile: byte-order marks, the three line readers,
// positions and the end-of-file rules.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <random>
#include <string>
#include <vector>

#include "common/utils/textfile.h"
#include "tests/test_support.h"

namespace {

using tavrin::test::FreshDir;
using tavrin::test::WriteFile;
using tavrin::utils::tavrin_ustring;

tavrin_ustring U(const std::string& s) {
  return tavrin_ustring(s);
}

// UTF-16 units of `text` as bytes in the chosen order.
std::string Utf16Bytes(const std::u16string& text, bool big_endian) {
  std::string out;
  for (char16_t c : text) {
    char lo = static_cast<char>(c & 0xFF), hi = static_cast<char>(c >> 8);
    if (big_endian) {
      out += hi;
      out += lo;
    } else {
      out += lo;
      out += hi;
    }
  }
  return out;
}

std::string MakeFile(const std::string& bytes) {
  std::string path = FreshDir("text") + "/f.txt";
  EXPECT_TRUE(WriteFile(path, bytes));
  return path;
}

std::vector<tavrin_ustring> AllLines(CTextFile& file) {
  std::vector<tavrin_ustring> lines;
  tavrin_ustring line;
  while (file.GetLine(&line)) lines.push_back(line);
  return lines;
}

TEST(TextFileTest, Utf8WithMark) {
  CTextFile file;
  ASSERT_TRUE(
      file.Open(U(MakeFile("\xEF\xBB\xBF"
                           "caf\xC3\xA9\nline two"))));
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncodingUTF8);
  EXPECT_TRUE(file.HasByteOrderMark());
  EXPECT_EQ(file.GetPosition(), 3);
  auto lines = AllLines(file);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], U("caf\xC3\xA9\n"));
  EXPECT_EQ(lines[1], U("line two"));
  EXPECT_TRUE(file.ResetToStart());
  EXPECT_EQ(file.GetPosition(), 3);
}

TEST(TextFileTest, Utf16LittleEndianWithMark) {
  std::u16string text = u"h\u00e9llo\n\U0001F600 x\n";
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile("\xFF\xFE" + Utf16Bytes(text, false)))));
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncodingUTF16);
  EXPECT_TRUE(file.HasByteOrderMark());
  EXPECT_FALSE(file.IsBigEndian());
  auto lines = AllLines(file);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], tavrin_ustring(u"h\u00e9llo\n"));
  EXPECT_EQ(lines[1], tavrin_ustring(u"\U0001F600 x\n"));  // the pair survives
  EXPECT_TRUE(file.ResetToStart());
  EXPECT_EQ(file.GetPosition(), 2);
}

TEST(TextFileTest, Utf16BigEndianWithMarkAndLineSeparator) {
  std::u16string text = u"first\u2028second\nthird";
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile("\xFE\xFF" + Utf16Bytes(text, true)))));
  EXPECT_TRUE(file.IsBigEndian());
  auto lines = AllLines(file);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], U("first\n"));  // U+2028 reads as "\n" and ends the line
  EXPECT_EQ(lines[1], U("second\n"));
  EXPECT_EQ(lines[2], U("third"));
}

TEST(TextFileTest, EightBitText) {
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile("plain\nutf8 \xC3\xA9\ncaf\xE9\nlast"))));
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncoding8Bit);
  EXPECT_FALSE(file.HasByteOrderMark());
  EXPECT_EQ(file.GetPosition(), 0);
  auto lines = AllLines(file);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0], U("plain\n"));
  EXPECT_EQ(lines[1], U("utf8 \xC3\xA9\n"));
  EXPECT_TRUE(lines[2].empty());  // Latin-1 is not UTF-8: the line is empty
  EXPECT_EQ(lines[3], U("last"));
  EXPECT_TRUE(file.ResetToStart());
  EXPECT_EQ(file.GetPosition(), 0);
}

TEST(TextFileTest, FilesThatCannotBeOpened) {
  CTextFile file;
  EXPECT_FALSE(file.Open(U(MakeFile(""))));
  EXPECT_FALSE(file.Open(U(MakeFile("a"))));
  EXPECT_FALSE(
      file.Open(U(MakeFile("\xFF\xFF"
                           "abc"))));
  EXPECT_FALSE(file.Open(U(FreshDir("text") + "/missing.txt")));
  EXPECT_FALSE(file.Open(U("")));
  EXPECT_EQ(file.GetPosition(), 0);
}

TEST(TextFileTest, TwoMarkBytesWithoutTheThirdAreEightBit) {
  CTextFile file;
  ASSERT_TRUE(
      file.Open(U(MakeFile("\xEF\xBB"
                           "A\n"
                           "B\n"))));
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncoding8Bit);
  EXPECT_FALSE(file.HasByteOrderMark());
  EXPECT_EQ(file.GetPosition(), 0);  // read from the first byte
  tavrin_ustring line;
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_TRUE(line.empty());  // EF BB 41 is not UTF-8
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line, U("B\n"));
}

TEST(TextFileTest, Utf16WithoutMarkIsEightBit) {
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile(Utf16Bytes(u"ab\n", false)))));
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncoding8Bit);
}

TEST(TextFileTest, LongEightBitLineComesInPieces) {
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile(std::string(5000, 'x') + "\n"))));
  tavrin_ustring line;
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line.size(), 4095u);
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line, U(std::string(905, 'x') + "\n"));
  EXPECT_FALSE(file.GetLine(&line));
}

TEST(TextFileTest, Utf8PieceNeverSplitsACharacter) {
  // 4094 ASCII bytes, then a two-byte "é": the 4095-byte piece would end
  // inside it, so the piece stops before it.
  std::string body = std::string(4094, 'a') + "\xC3\xA9" + "\n";
  for (const std::string& prefix : {std::string("\xEF\xBB\xBF"), std::string()}) {
    CTextFile file;
    ASSERT_TRUE(file.Open(U(MakeFile(prefix + body))));
    tavrin_ustring line;
    ASSERT_TRUE(file.GetLine(&line));
    EXPECT_EQ(line, U(std::string(4094, 'a')));
    ASSERT_TRUE(file.GetLine(&line));
    EXPECT_EQ(line, U("\xC3\xA9\n"));
    EXPECT_FALSE(file.GetLine(&line));
  }
  // A four-byte character cut after its second byte.
  CTextFile file;
  std::string emoji = std::string(4093, 'b') + "\xF0\x9F\x98\x80" + "z";
  ASSERT_TRUE(file.Open(U(MakeFile("\xEF\xBB\xBF" + emoji))));
  tavrin_ustring line;
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line.size(), 4093u);
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line, U("\xF0\x9F\x98\x80z"));
}

TEST(TextFileTest, LongUtf16LineComesInPieces) {
  std::u16string text(5000, u'y');
  text += u"\n";
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile("\xFF\xFE" + Utf16Bytes(text, false)))));
  tavrin_ustring line;
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line.size(), 4095u);
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line.size(), 906u);
  EXPECT_EQ(line[905], '\n');
}

TEST(TextFileTest, EndOfFileRules) {
  tavrin_ustring line = U("before");
  CTextFile eight;
  ASSERT_TRUE(eight.Open(U(MakeFile("one\n"))));
  ASSERT_TRUE(eight.GetLine(&line));
  EXPECT_FALSE(eight.GetLine(&line));
  EXPECT_EQ(line, U("one\n"));  // unchanged

  CTextFile utf8;
  ASSERT_TRUE(utf8.Open(U(MakeFile("\xEF\xBB\xBFone\n"))));
  ASSERT_TRUE(utf8.GetLine(&line));
  EXPECT_FALSE(utf8.GetLine(&line));
  EXPECT_EQ(line, U("one\n"));  // unchanged

  CTextFile utf16;
  ASSERT_TRUE(utf16.Open(U(MakeFile("\xFF\xFE" + Utf16Bytes(u"one\n", false)))));
  ASSERT_TRUE(utf16.GetLine(&line));
  EXPECT_FALSE(utf16.GetLine(&line));
  EXPECT_TRUE(line.empty());  // set to ""
}

TEST(TextFileTest, Utf16OddByteAndUnitFFFF) {
  // "a", U+FFFF, "b", then half a unit.
  std::string bytes =
      "\xFF\xFE" + Utf16Bytes(u"a", false) + "\xFF\xFF" + Utf16Bytes(u"b", false) + "c";
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile(bytes))));
  tavrin_ustring line;
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line, U("a"));  // U+FFFF ends the line and is dropped
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line, U("b"));  // the odd byte is ignored
  EXPECT_FALSE(file.GetLine(&line));
}

TEST(TextFileTest, ClosedObject) {
  CTextFile file;
  tavrin_ustring line = U("untouched");
  EXPECT_FALSE(file.GetLine(&line));
  EXPECT_FALSE(file.GetLineASCII(&line));
  EXPECT_FALSE(file.GetLineUTF8(&line));
  EXPECT_FALSE(file.GetLineUTF16(&line));
  EXPECT_EQ(line, U("untouched"));
  EXPECT_EQ(file.GetPosition(), 0);
  EXPECT_FALSE(file.SetPosition(0));
  EXPECT_FALSE(file.ResetToStart());
  EXPECT_EQ(file.GetCreationTime(), 0);
  EXPECT_EQ(file.GetModificationTime(), 0);
  file.Close();
  file.Close();
  ASSERT_TRUE(file.Open(U(MakeFile("x\n"))));
  EXPECT_FALSE(file.GetLine(nullptr));
}

TEST(TextFileTest, ReuseResetsTheEncoding) {
  CTextFile file;
  ASSERT_TRUE(file.Open(U(MakeFile("\xFE\xFF" + Utf16Bytes(u"wide\n", true)))));
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncodingUTF16);
  ASSERT_TRUE(file.Open(U(MakeFile("narrow\n"))));
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncoding8Bit);
  EXPECT_FALSE(file.IsBigEndian());
  tavrin_ustring line;
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line, U("narrow\n"));
  file.Close();
  EXPECT_EQ(file.GetEncoding(), CTextFile::kEncoding8Bit);
  EXPECT_FALSE(file.HasByteOrderMark());
}

TEST(TextFileTest, PositionsAndTimes) {
  std::string path = MakeFile(
      "\xEF\xBB\xBF"
      "abc\ndef\n");
  CTextFile file;
  ASSERT_TRUE(file.Open(U(path)));
  EXPECT_TRUE(file.SetPosition(7));
  tavrin_ustring line;
  ASSERT_TRUE(file.GetLine(&line));
  EXPECT_EQ(line, U("def\n"));
  EXPECT_EQ(file.GetPosition(), 11);
  struct stat st;
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(file.GetModificationTime(), st.st_mtime);
  EXPECT_EQ(file.GetCreationTime(), st.st_ctime);  // the status-change time
}

// Random text through every marked encoding comes back line by line.
TEST(TextFileTest, RandomRoundTripThroughEveryEncoding) {
  std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 rng(seed);
  const std::vector<char32_t> pool = {U'a',          U'Z',         U' ',      U'%',
                                      U'\u00e9',     U'\u0416',    U'\u4e2d', U'\uFEFF',
                                      U'\U0001F600', U'\U00010348'};
  for (int round = 0; round < 50; ++round) {
    std::vector<std::u16string> lines;
    int count = 1 + static_cast<int>(rng() % 6);
    for (int i = 0; i < count; ++i) {
      std::u16string line;
      int length = static_cast<int>(rng() % 40);
      for (int k = 0; k < length; ++k) {
        char32_t c = pool[rng() % pool.size()];
        if (c >= 0x10000) {
          line += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
          line += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
          line += static_cast<char16_t>(c);
        }
      }
      line += u'\n';
      lines.push_back(line);
    }
    std::u16string whole;
    for (const auto& l : lines) whole += l;
    std::string utf8 = tavrin_ustring(whole.c_str()).utf8();
    const std::string files[] = {"\xEF\xBB\xBF" + utf8, "\xFF\xFE" + Utf16Bytes(whole, false),
                                 "\xFE\xFF" + Utf16Bytes(whole, true)};
    for (const std::string& bytes : files) {
      CTextFile file;
      ASSERT_TRUE(file.Open(U(MakeFile(bytes))));
      auto read = AllLines(file);
      ASSERT_EQ(read.size(), lines.size());
      for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(read[i], tavrin_ustring(lines[i].c_str())) << "round " << round << " line " << i;
    }
  }
}

// --- The tavrin text command over the bundled samples. ---------------------------------

std::string Tool(const std::string& arguments, int* status) {
  std::string out;
  *status = tavrin::test::RunShell("'" + tavrin::test::ToolPath() + "' " + arguments, &out);
  return out;
}

TEST(TextFileTest, ToolCatWritesUtf8) {
  if (tavrin::test::ToolPath().empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string examples = tavrin::test::ExamplesDir();
  int status = -1;
  EXPECT_EQ(Tool("text cat '" + examples + "/text-utf16be.txt'", &status),
            "first line\nsecond line\nthird: \xF0\x9F\x98\x80\n");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Tool("text cat '" + examples + "/text-utf16le.txt'", &status),
            "h\xC3\xA9llo w\xC3\xB6rld\n\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\n");
  EXPECT_EQ(Tool("text cat '" + examples + "/text-utf8-bom.txt'", &status),
            "With a mark: \xC3\x9Cn\xC3\xAF"
            "c\xC3\xB6"
            "d\xC3\xA9\nsecond line\n");
  EXPECT_EQ(Tool("text cat '" + examples + "/text-utf8.txt'", &status),
            tavrin::test::ReadFile(examples + "/text-utf8.txt"));
}

TEST(TextFileTest, ToolInfoAndFailures) {
  if (tavrin::test::ToolPath().empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string examples = tavrin::test::ExamplesDir();
  int status = -1;
  EXPECT_EQ(Tool("text info '" + examples + "/text-utf16be.txt'", &status),
            examples + "/text-utf16be.txt: encoding UTF-16BE, byte-order mark, 3 lines\n");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(
      Tool("text info '" + examples + "/text-utf8.txt'", &status),
      examples + "/text-utf8.txt: encoding 8-bit (read as UTF-8), no byte-order mark, 2 lines\n");
  std::string latin = MakeFile("caf\xE9\nok");
  EXPECT_EQ(
      Tool("text info '" + latin + "'", &status),
      latin + ": encoding 8-bit (read as UTF-8), no byte-order mark, 2 lines, 1 unreadable\n");
  Tool("text cat '" + latin + "' 2>/dev/null", &status);
  EXPECT_EQ(status, 1);
  Tool("text cat '" + MakeFile("") + "' 2>/dev/null", &status);
  EXPECT_EQ(status, 1);
  Tool("text info 2>/dev/null", &status);
  EXPECT_EQ(status, 2);
  Tool("text wrap x 2>/dev/null", &status);
  EXPECT_EQ(status, 2);
}

}  // namespace
