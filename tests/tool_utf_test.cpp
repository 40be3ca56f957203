// tool_utf_test.cpp - `tavrin utf`, run as a program on files in a fresh
// folder. Expected bytes are spelled out here from char16_t / char32_t
// literals, not produced by the library.
#include <gtest/gtest.h>

#include <string>

#include "tests/test_support.h"

namespace {

using tavrin::test::FreshDir;
using tavrin::test::ReadFile;
using tavrin::test::RunShell;
using tavrin::test::ToolPath;
using tavrin::test::WriteFile;

// "Grüße, 日本, 🌍!" in every encoding.
const char kUtf8[] =
    "Gr\xC3\xBC\xC3\x9F"
    "e, \xE6\x97\xA5\xE6\x9C\xAC, \xF0\x9F\x8C\x8D!";
const char16_t kUtf16[] = u"Grüße, 日本, 🌍!";
const char32_t kUtf32[] = U"Grüße, 日本, 🌍!";

std::string Utf16Bytes(std::u16string_view units, bool big_endian) {
  std::string out;
  for (char16_t u : units) {
    char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
    out += big_endian ? hi : lo;
    out += big_endian ? lo : hi;
  }
  return out;
}

std::string Utf32Bytes(std::u32string_view values) {
  std::string out;
  for (char32_t v : values)
    for (int k = 0; k < 4; ++k) out += static_cast<char>((v >> (8 * k)) & 0xFF);
  return out;
}

std::string Quote(const std::string& s) {
  return "'" + s + "'";
}

class ToolUtfTest : public testing::Test {
 protected:
  void SetUp() override {
    tool_ = ToolPath();
    if (tool_.empty()) GTEST_SKIP() << "the tavrin tool is not built (TAVRIN_EXE unset)";
    dir_ = FreshDir("tool-utf");
  }

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // Runs `tavrin utf ARGS` with standard error in err.txt; returns the exit
  // status and collects standard output in `out`.
  int Utf(const std::string& args, std::string* out = nullptr) {
    return RunShell(Quote(tool_) + " utf " + args + " 2>" + Quote(Path("err.txt")), out);
  }
  std::string Err() const { return ReadFile(Path("err.txt")); }

  // Writes `bytes` to a file named `name` and returns its quoted path.
  std::string Input(const std::string& name, const std::string& bytes) {
    EXPECT_TRUE(WriteFile(Path(name), bytes));
    return Quote(Path(name));
  }

  std::string tool_;
  std::string dir_;
};

TEST_F(ToolUtfTest, ConvertsBetweenEveryPair) {
  const std::string forms[] = {kUtf8, Utf16Bytes(kUtf16, false), Utf16Bytes(kUtf16, true),
                               Utf32Bytes(kUtf32)};
  const char* names[] = {"utf8", "utf16le", "utf16be", "utf32"};
  for (int from = 0; from < 4; ++from) {
    std::string in = Input(std::string("in.") + names[from], forms[from]);
    for (int to = 0; to < 4; ++to) {
      SCOPED_TRACE(std::string(names[from]) + " -> " + names[to]);
      std::string out = Path(std::string("out.") + names[to]);
      ASSERT_EQ(Utf(std::string("--from ") + names[from] + " --to " + names[to] + " -o " +
                    Quote(out) + " " + in),
                0)
          << Err();
      EXPECT_EQ(ReadFile(out), forms[to]);
      EXPECT_EQ(Err(), "");
    }
  }
}

TEST_F(ToolUtfTest, StandardInputAndOutput) {
  std::string in = Input("in.txt", kUtf8);
  std::string out;
  ASSERT_EQ(Utf("--from UTF-8 --to UTF-16BE < " + in, &out), 0) << Err();
  EXPECT_EQ(out, Utf16Bytes(kUtf16, true));
  ASSERT_EQ(Utf("--from utf8 --to utf32le - < " + in, &out), 0) << Err();
  EXPECT_EQ(out, Utf32Bytes(kUtf32));
  // A round trip through every encoding keeps the bytes.
  ASSERT_EQ(RunShell(Quote(tool_) + " utf --from utf8 --to utf16be < " + in + " | " + Quote(tool_) +
                         " utf --from utf16be --to utf32 | " + Quote(tool_) +
                         " utf --from utf32 --to utf16le | " + Quote(tool_) +
                         " utf --from utf16le --to utf8",
                     &out),
            0);
  EXPECT_EQ(out, kUtf8);
}

TEST_F(ToolUtfTest, StrictReportsTheOffsetOfTheFirstBadSequence) {
  std::string in = Input("bad.txt", "abc\xE2\x82 x \xFF");
  std::string out_path = Path("strict-out.txt");
  EXPECT_EQ(Utf("--strict --from utf8 --to utf16le -o " + Quote(out_path) + " " + in), 1);
  EXPECT_NE(Err().find("byte offset 3"), std::string::npos) << Err();
  EXPECT_EQ(ReadFile(out_path), "") << "nothing is written";
  // A surrogate encoding is ill-formed in strict mode only.
  in = Input("sur.txt", "ok \xED\xA0\x80");
  std::string out;
  EXPECT_EQ(Utf("--strict --from utf8 --to utf8 " + in, &out), 1);
  EXPECT_NE(Err().find("byte offset 3"), std::string::npos) << Err();
  EXPECT_EQ(out, "");
  // A cut-off sequence at the end.
  in = Input("cut.txt", "abcd\xF0\x9F\x8C");
  EXPECT_EQ(Utf("--strict --from utf8 --to utf32 " + in, &out), 1);
  EXPECT_NE(Err().find("byte offset 4"), std::string::npos) << Err();
}

TEST_F(ToolUtfTest, LenientReplacesBadBytesAndCarriesSurrogates) {
  std::string in = Input("bad.txt", "caf\xE9!");
  std::string out;
  ASSERT_EQ(Utf("--from utf8 --to utf8 " + in, &out), 0);
  EXPECT_EQ(out, "caf\xEF\xBF\xBD!");
  EXPECT_NE(Err().find("replaced 1 ill-formed byte"), std::string::npos) << Err();
  EXPECT_NE(Err().find("byte offset 3"), std::string::npos) << Err();
  // A lone surrogate in UTF-16 goes to UTF-8 as its three-byte form.
  in = Input("lone.16", Utf16Bytes(std::u16string{u'a', char16_t(0xD800), u'b'}, false));
  ASSERT_EQ(Utf("--from utf16le --to utf8 " + in, &out), 0);
  EXPECT_EQ(out,
            "a\xED\xA0\x80"
            "b");
  EXPECT_EQ(Utf("--strict --from utf16le --to utf8 " + in, &out), 1);
  EXPECT_NE(Err().find("byte offset 2"), std::string::npos) << Err();
  // A trailing high surrogate is unpaired too.
  in = Input("tail.16", Utf16Bytes(std::u16string{u'a', u'b', char16_t(0xDBFF)}, true));
  EXPECT_EQ(Utf("--strict --from utf16be --to utf8 " + in, &out), 1);
  EXPECT_NE(Err().find("byte offset 4"), std::string::npos) << Err();
  // UTF-32 values above U+10FFFF become U+FFFD; strict refuses them.
  in = Input("big.32", Utf32Bytes(std::u32string{U'x', char32_t(0x110000), U'y'}));
  ASSERT_EQ(Utf("--from utf32 --to utf8 " + in, &out), 0);
  EXPECT_EQ(out, "x\xEF\xBF\xBDy");
  EXPECT_EQ(Utf("--strict --from utf32 --to utf8 " + in, &out), 1);
  EXPECT_NE(Err().find("byte offset 4"), std::string::npos) << Err();
  in = Input("sur.32", Utf32Bytes(std::u32string{U'x', U'y', char32_t(0xDC00)}));
  EXPECT_EQ(Utf("--strict --from utf32 --to utf16le " + in, &out), 1);
  EXPECT_NE(Err().find("byte offset 8"), std::string::npos) << Err();
}

TEST_F(ToolUtfTest, ByteOrderMarkIsKeptAndOnlyAddedWhenAsked) {
  std::string with_bom = Input("bom.txt", "\xEF\xBB\xBFhi");
  std::string out;
  ASSERT_EQ(Utf("--from utf8 --to utf16le " + with_bom, &out), 0);
  EXPECT_EQ(out, Utf16Bytes(u"\uFEFFhi", false));
  std::string plain = Input("plain.txt", "hi");
  ASSERT_EQ(Utf("--from utf8 --to utf16le " + plain, &out), 0);
  EXPECT_EQ(out, Utf16Bytes(u"hi", false));
  ASSERT_EQ(Utf("--bom --from utf8 --to utf16be " + plain, &out), 0);
  EXPECT_EQ(out, Utf16Bytes(u"\uFEFFhi", true));
  ASSERT_EQ(Utf("--bom --from utf8 --to utf8 " + plain, &out), 0);
  EXPECT_EQ(out, "\xEF\xBB\xBFhi");
  // Never two marks.
  ASSERT_EQ(Utf("--bom --from utf8 --to utf32 " + with_bom, &out), 0);
  EXPECT_EQ(out, Utf32Bytes(U"\uFEFFhi"));
}

TEST_F(ToolUtfTest, WrongLengthsAreProblems) {
  std::string odd = Input("odd.16", std::string("a\0b", 3));
  std::string out;
  EXPECT_EQ(Utf("--from utf16le --to utf8 " + odd, &out), 1);
  EXPECT_NE(Err().find("odd number of bytes"), std::string::npos) << Err();
  EXPECT_EQ(out, "");
  std::string six = Input("six.32", std::string("a\0\0\0b\0", 6));
  EXPECT_EQ(Utf("--from utf32 --to utf8 " + six, &out), 1);
  EXPECT_NE(Err().find("4-byte"), std::string::npos) << Err();
  // Empty input is fine in every encoding.
  std::string empty = Input("empty", "");
  for (const char* enc : {"utf8", "utf16le", "utf16be", "utf32"}) {
    EXPECT_EQ(Utf(std::string("--strict --from ") + enc + " --to utf8 " + empty, &out), 0) << enc;
    EXPECT_EQ(out, "");
  }
}

TEST_F(ToolUtfTest, UsageErrors) {
  std::string in = Input("in.txt", "x");
  EXPECT_EQ(Utf("--from utf8 " + in), 2);
  EXPECT_EQ(Utf("--to utf8 " + in), 2);
  EXPECT_EQ(Utf("--from latin1 --to utf8 " + in), 2);
  EXPECT_NE(Err().find("unknown encoding latin1"), std::string::npos) << Err();
  EXPECT_EQ(Utf("--from utf8 --to utf8 --sloppy " + in), 2);
  EXPECT_EQ(Utf("--from utf8 --to utf8 " + in + " " + in), 2);
  EXPECT_EQ(Utf("--from utf8 --to utf8 " + Quote(Path("missing.txt"))), 1);
  std::string out;
  EXPECT_EQ(Utf("--help", &out), 0);
  EXPECT_NE(out.find("usage: tavrin utf"), std::string::npos);
}

TEST_F(ToolUtfTest, DemoConvertsTheSamples) {
  std::string examples = tavrin::test::ExamplesDir();
  if (examples.empty()) GTEST_SKIP() << "TAVRIN_EXAMPLES is not set";
  std::string out;
  ASSERT_EQ(RunShell(Quote(tool_) + " demo --examples " + Quote(examples), &out), 0);
  std::size_t at = out.find("== utf:");
  ASSERT_NE(at, std::string::npos) << out;
  std::string section = out.substr(at, out.find("\n== ", at + 1) - at);
  EXPECT_NE(section.find("(identical)"), std::string::npos) << section;
  EXPECT_NE(section.find("byte offset 9"), std::string::npos) << section;
  EXPECT_NE(section.find("U+FFFD"), std::string::npos) << section;
}

}  // namespace
