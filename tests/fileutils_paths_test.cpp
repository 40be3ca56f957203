// Tests of the pure path functions of fileutils.h: normalisation, splitting
// and joining, extensions, relative paths against a base and the working
// directory, and short display paths.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "common/utils/fileutils.h"
#include "common/utils/internal/fileutils_paths_internal.h"
#include "tests/test_support.h"

namespace {

using tavrin::utils::tavrin_ustring;
namespace tu = tavrin::utils;

// Paths in the tests are written as UTF-8 and compared as UTF-8.
tavrin_ustring P(const std::string& s) {
  return tavrin_ustring(s);
}
std::string S(const tavrin_ustring& s) {
  return s.utf8();
}

std::string Fix(const std::string& s) {
  return S(tu::FixPathString(P(s)));
}
std::string Name(const std::string& s, bool ext) {
  return S(tu::GetFileName(P(s), ext));
}
std::string Location(const std::string& s) {
  return S(tu::GetFileLocation(P(s)));
}
std::string Append(const std::string& a, const std::string& b) {
  return S(tu::AppendToPath(P(a), P(b)));
}
std::string Relative(const std::string& base, const std::string& target) {
  return S(tu::CalculateRelativePath(P(base), P(target)));
}
std::string Resolve(const std::string& base, const std::string& rel) {
  return S(tu::ResolveRelativePath(P(base), P(rel)));
}
std::string Short(const std::string& s, int max) {
  return S(tu::GetShortPath(P(s), max));
}

std::vector<std::string> Split(const std::string& s) {
  std::vector<std::string> out;
  for (const tavrin_ustring& c : tu::SplitPath(P(s))) out.push_back(S(c));
  return out;
}

using List = std::vector<std::string>;

// ---------------------------------------------------------------------------
// FixPathString
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, FixPathStringEmptyRootAndDrives) {
  EXPECT_EQ(Fix(""), "");
  EXPECT_EQ(Fix("/"), "");  // a lone "/" becomes empty: kept on purpose
  EXPECT_EQ(Fix("\\"), "");
  EXPECT_EQ(Fix("C:\\"), "C:/");
  EXPECT_EQ(Fix("C:/"), "C:/");
  EXPECT_EQ(Fix("C:"), "C:");
  EXPECT_EQ(Fix("C:\\dir\\"), "C:/dir");
  EXPECT_EQ(Fix("a"), "a");
  EXPECT_EQ(Fix("/a/b"), "/a/b");
}

TEST(FileUtilsPathsTest, FixPathStringSeparators) {
  EXPECT_EQ(Fix("a\\b//c/"), "a/b/c");
  EXPECT_EQ(Fix("a///b"), "a//b");  // one pass: three become two
  EXPECT_EQ(Fix("a////b"), "a//b");
  EXPECT_EQ(Fix("a/////b"), "a///b");
  EXPECT_EQ(Fix("a\\\\\\b"), "a//b");
  EXPECT_EQ(Fix("a/\\b"), "a/b");
  EXPECT_EQ(Fix("a//"), "a");
  EXPECT_EQ(Fix("a///"), "a/");  // "//" then "/" reduced, one trailing dropped
  EXPECT_EQ(Fix("//server//share"), "//server/share");
  EXPECT_EQ(Fix("\\\\server\\share\\"), "//server/share");
  EXPECT_EQ(Fix("//"), "/");
}

TEST(FileUtilsPathsTest, FixPathStringSchemesKeepTheirPrefix) {
  EXPECT_EQ(Fix("http://host//a:b"), "http://host/a_b");
  EXPECT_EQ(Fix("http://:a"), "http://_a");
  EXPECT_EQ(Fix("file:///x//y"), "file:///x/y");  // the third "/" pairs with nothing
  EXPECT_EQ(Fix("file:////x"), "file:///x");
  EXPECT_EQ(Fix("smb://srv//d"), "smb://srv/d");
  EXPECT_EQ(Fix("smb:\\\\srv\\d"), "smb://srv/d");  // backslashes turn first
  EXPECT_EQ(Fix("ms-appx:///a//b"), "ms-appx:///a/b");
  EXPECT_EQ(Fix("ms-appx:////a"), "ms-appx:////a");  // one "/" after the prefix stays
  EXPECT_EQ(Fix("HTTP://a//b"), "HTTP_/a/b");        // schemes are matched exactly
  EXPECT_EQ(Fix("ftp://a"), "ftp_/a");
  EXPECT_EQ(Fix("http://"), "http:/");  // the trailing rule reads the whole string
}

TEST(FileUtilsPathsTest, FixPathStringIllegalCharacters) {
  EXPECT_EQ(Fix("a:b?c"), "a:b_c");  // ":" at index 1: a drive prefix of 2
  EXPECT_EQ(Fix("x?y"), "x_y");
  EXPECT_EQ(Fix("<>"), "<_");
  EXPECT_EQ(Fix("*a*b"), "*a_b");  // the first character is protected
  EXPECT_EQ(Fix("a|b<c>d\"e*f"), "a_b_c_d_e_f");
  EXPECT_EQ(Fix("ab:c"), "ab_c");
  EXPECT_EQ(Fix("::x"), ":_x");  // the first ":" is at 0, not 1
  EXPECT_EQ(Fix("::/"), "::/");  // the first ":/" is at 1: a drive with root
  EXPECT_EQ(Fix(std::string("a\tb\x1f"
                            "c\x01",
                            6)),
            "a_b_c_");
  EXPECT_EQ(Fix("\x01"
                "a"),
            "\x01"
            "a");
  EXPECT_EQ(Fix("a\x7f"
                "b"),
            "a\x7f"
            "b");                  // only units below 32
  EXPECT_EQ(Fix("ab:/"), "ab_/");  // the final "/" after ":" stays
  EXPECT_EQ(Fix("ab:\\"), "ab_/");
  EXPECT_EQ(Fix("\xc3\xa9t\xc3\xa9/\xe6\x97\xa5.txt"), "\xc3\xa9t\xc3\xa9/\xe6\x97\xa5.txt");
}

TEST(FileUtilsPathsTest, FixPathStringLeavesItsInputAlone) {
  const tavrin_ustring in = P("a\\b//c?");
  const tavrin_ustring copy = in;
  EXPECT_EQ(S(tu::FixPathString(in)), "a/b/c_");
  EXPECT_EQ(in, copy);
}

// A literal transcription of the normalisation steps on std::u16string,
// independent of the library's single pass.
std::u16string ReferenceFix(std::u16string s) {
  if (s.empty()) return s;
  std::replace(s.begin(), s.end(), u'\\', u'/');
  std::size_t prefix = 1;
  if (s.rfind(u"http://", 0) == 0 || s.rfind(u"file://", 0) == 0) {
    prefix = 7;
  } else if (s.rfind(u"smb://", 0) == 0) {
    prefix = 6;
  } else if (s.find(u":/") == 1) {
    prefix = 3;
  } else if (s.find(u':') == 1) {
    prefix = 2;
  } else if (s.rfind(u"ms-appx:///", 0) == 0) {
    prefix = 11;
  }
  std::u16string rest = s.substr(prefix), reduced;
  for (std::size_t pos = 0;;) {
    std::size_t hit = rest.find(u"//", pos);
    reduced += rest.substr(pos, hit == std::u16string::npos ? std::u16string::npos : hit - pos);
    if (hit == std::u16string::npos) break;
    reduced += u'/';
    pos = hit + 2;
  }
  s = s.substr(0, prefix) + reduced;
  if (s.back() == u'/' && (s.size() == 1 || s[s.size() - 2] != u':')) s.pop_back();
  for (std::size_t i = s.size(); i > prefix; --i) {
    char16_t& c = s[i - 1];
    if (c < 32 || std::u16string_view(u"|?<>:\"*").find(c) != std::u16string_view::npos) c = u'_';
  }
  return s;
}

TEST(FileUtilsPathsTest, FixPathStringMatchesStepByStepReference) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const std::vector<std::u16string> pieces = {
      u"/",       u"\\",      u"//",     u":",           u":/", u"a",      u"bc",         u".",
      u"?",       u"*",       u"|",      u"\"",          u"<",  u">",      u"\x01",       u"\x1f",
      u"http://", u"file://", u"smb://", u"ms-appx:///", u"C:", u"\u00e9", u"\U0001F600", u" "};
  for (int iter = 0; iter < 5000; ++iter) {
    std::u16string in;
    const int parts = static_cast<int>(rng() % 9);
    for (int i = 0; i < parts; ++i) in += pieces[rng() % pieces.size()];
    const tavrin_ustring got = tu::FixPathString(tavrin_ustring(in.c_str(), in.size()));
    ASSERT_EQ(got.utf16(), ReferenceFix(in))
        << "input " << S(tavrin_ustring(in.c_str(), in.size()));
  }
}

// ---------------------------------------------------------------------------
// Small string functions
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, SanitizeFileNameLeavesNoSlash) {
  EXPECT_EQ(S(tu::SanitizeFileName(P("a/b\\c:d"))), "a_b_c_d");
  EXPECT_EQ(S(tu::SanitizeFileName(P("/abs/x?"))), "_abs_x_");
  EXPECT_EQ(S(tu::SanitizeFileName(P("report.txt"))), "report.txt");
  EXPECT_EQ(S(tu::SanitizeFileName(P(""))), "");
  EXPECT_EQ(S(tu::SanitizeFileName(P("//srv//x/"))), "__srv_x");
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const std::string alphabet = "ab/\\:.?*_";
  for (int iter = 0; iter < 1000; ++iter) {
    std::string in(rng() % 12, 'a');
    for (char& c : in) c = alphabet[rng() % alphabet.size()];
    const std::string out = S(tu::SanitizeFileName(P(in)));
    EXPECT_EQ(out.find('/'), std::string::npos) << in;
    EXPECT_EQ(out.find('\\'), std::string::npos) << in;
  }
}

TEST(FileUtilsPathsTest, RemoveTrailingSlashRemovesOne) {
  EXPECT_EQ(S(tu::RemoveTrailingSlash(P("a//"))), "a/");
  EXPECT_EQ(S(tu::RemoveTrailingSlash(P("a\\"))), "a");
  EXPECT_EQ(S(tu::RemoveTrailingSlash(P("/"))), "");
  EXPECT_EQ(S(tu::RemoveTrailingSlash(P(""))), "");
  EXPECT_EQ(S(tu::RemoveTrailingSlash(P("a\\b"))), "a\\b");
  EXPECT_EQ(S(tu::RemoveTrailingSlash(P("a?//b/"))), "a?//b");  // not normalised
}

TEST(FileUtilsPathsTest, WindowsAndOsCompatiblePaths) {
  EXPECT_EQ(S(tu::MakeWindowsPath(P("/a/b\\c//"))), "\\a\\b\\c\\\\");
  EXPECT_EQ(S(tu::MakeOSCompatiblePath(P("\\a\\b/c\\\\:?"))), "/a/b/c//:?");
  EXPECT_EQ(S(tu::MakeWindowsPath(P(""))), "");
  EXPECT_EQ(S(tu::MakeOSCompatiblePath(P("plain"))), "plain");
}

TEST(FileUtilsPathsTest, ComparePathNormalisesAndIgnoresCaseByDefault) {
  EXPECT_EQ(tu::ComparePath(P("a\\B//c/"), P("a/b/C")), 0);
  EXPECT_NE(tu::ComparePath(P("a\\B//c/"), P("a/b/C"), true), 0);
  EXPECT_EQ(tu::ComparePath(P("a\\b"), P("a/b/"), true), 0);
  EXPECT_EQ(tu::ComparePath(P("a/b"), P("a/c"), true), -1);
  EXPECT_EQ(tu::ComparePath(P("a/c"), P("a/b"), true), 1);
  EXPECT_EQ(tu::ComparePath(P("ZZ"), P("aa")), 1);  // case-insensitive: z after a
  EXPECT_EQ(tu::ComparePath(P("ZZ"), P("aa"), true), -1);
  EXPECT_EQ(tu::ComparePath(P(""), P("/")), 0);  // both normalise to ""
  EXPECT_EQ(tu::ComparePath(P("x?"), P("x_"), true), 0);
}

TEST(FileUtilsPathsTest, GetFileExtensionCountsLeadingDots) {
  EXPECT_EQ(S(tu::GetFileExtension(P("dir.d/file"))), "");
  EXPECT_EQ(S(tu::GetFileExtension(P(".profile"))), "profile");
  EXPECT_EQ(S(tu::GetFileExtension(P("/a/b.tar.gz"))), "gz");
  EXPECT_EQ(S(tu::GetFileExtension(P("a.b\\c"))), "");  // the backslash is a separator here
  EXPECT_EQ(S(tu::GetFileExtension(P("a.b/c/"))), "");
  EXPECT_EQ(S(tu::GetFileExtension(P("x.t?t"))), "t_t");
  EXPECT_EQ(S(tu::GetFileExtension(P("x."))), "");
  EXPECT_EQ(S(tu::GetFileExtension(P(""))), "");
  EXPECT_EQ(S(tu::GetFileExtension(P("noext"))), "");
}

TEST(FileUtilsPathsTest, HasExtensionIgnoresCase) {
  EXPECT_TRUE(tu::HasExtension(P("a/b.TXT"), P("txt")));
  EXPECT_TRUE(tu::HasExtension(P(".profile"), P("Profile")));
  EXPECT_FALSE(tu::HasExtension(P("a/b.txt"), P(".txt")));  // given without the dot
  EXPECT_FALSE(tu::HasExtension(P("a.txt/b"), P("txt")));
  EXPECT_TRUE(tu::HasExtension(P("noext"), P("")));
}

TEST(FileUtilsPathsTest, IsRelativePathRules) {
  EXPECT_TRUE(tu::IsRelativePath(P("file.txt")));
  EXPECT_TRUE(tu::IsRelativePath(P("../x")));
  EXPECT_TRUE(tu::IsRelativePath(P("./x")));
  EXPECT_TRUE(tu::IsRelativePath(P("")));
  EXPECT_TRUE(tu::IsRelativePath(P("a\\b")));  // backslashes are not looked at
  EXPECT_TRUE(tu::IsRelativePath(P("C:\\x")));
  EXPECT_FALSE(tu::IsRelativePath(P("a/b")));
  EXPECT_FALSE(tu::IsRelativePath(P("/a")));
  EXPECT_FALSE(tu::IsRelativePath(P(".../x")));
  EXPECT_FALSE(tu::IsRelativePath(P(".x/y")));
  EXPECT_FALSE(tu::IsRelativePath(P("/")));
}

TEST(FileUtilsPathsTest, AppendToPathJoinsWithOneSeparator) {
  EXPECT_EQ(Append("", "x"), "x");
  EXPECT_EQ(Append("a/", "/b"), "a/b");
  EXPECT_EQ(Append("a", "b\\c"), "a/b/c");
  EXPECT_EQ(Append("a", "/b"), "a/b");
  EXPECT_EQ(Append("a\\", "\\b"), "a/b");
  EXPECT_EQ(Append("a", ""), "a");  // "a/" then the trailing "/" goes
  EXPECT_EQ(Append("", ""), "");
  EXPECT_EQ(Append("", "x?//y/"), "x_/y");  // normalised even without a path
  EXPECT_EQ(Append("/", "a"), "/a");
  EXPECT_EQ(Append("a", "//b"), "a/b");  // one leading "/" dropped, the pair reduced
  EXPECT_EQ(Append("a/", "//b"), "a/b");
  EXPECT_EQ(Append("a/", "///b"), "a//b");  // "a/" + "//b": three become two
  EXPECT_EQ(Append("C:", "x"), "C:/x");
}

TEST(FileUtilsPathsTest, AppendExtensionAddsOneDot) {
  EXPECT_EQ(S(tu::AppendExtension(P("f"), P("txt"))), "f.txt");
  EXPECT_EQ(S(tu::AppendExtension(P("f"), P(".txt"))), "f.txt");
  EXPECT_EQ(S(tu::AppendExtension(P("f"), P(""))), "f");
  EXPECT_EQ(S(tu::AppendExtension(P(""), P("txt"))), ".txt");
  EXPECT_EQ(S(tu::AppendExtension(P("a\\b."), P("x?"))), "a\\b..x?");  // not normalised
}

TEST(FileUtilsPathsTest, RemoveExtensionKeepsDotFilesAndDirectories) {
  EXPECT_EQ(S(tu::RemoveExtension(P("/a/.profile"))), "/a/.profile");
  EXPECT_EQ(S(tu::RemoveExtension(P("/a.b/c"))), "/a.b/c");
  EXPECT_EQ(S(tu::RemoveExtension(P("x.tar.gz"))), "x.tar");
  EXPECT_EQ(S(tu::RemoveExtension(P("/d/x.txt"))), "/d/x");
  EXPECT_EQ(S(tu::RemoveExtension(P("d\\x.txt"))), "d\\x");
  EXPECT_EQ(S(tu::RemoveExtension(P(""))), "");
  EXPECT_EQ(S(tu::RemoveExtension(P("a.b/"))), "a.b/");
  EXPECT_EQ(S(tu::RemoveExtension(P("a.b\\"))), "a.b\\");
  EXPECT_EQ(S(tu::RemoveExtension(P("a/b?.txt"))), "a/b?.txt");  // name normalised away
  EXPECT_EQ(S(tu::RemoveExtension(P("a/.b.c"))), "a/.b");
}

// ---------------------------------------------------------------------------
// Last component, extension and location rules
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, GetFileNameWithAndWithoutExtension) {
  EXPECT_EQ(Name("/x/y/file.txt", true), "file.txt");
  EXPECT_EQ(Name("/x/y/file.txt", false), "file");
  EXPECT_EQ(Name("x\\y\\file.tar.gz", false), "file.tar");
  EXPECT_EQ(Name("/x/y/", true), "y");
  EXPECT_EQ(Name("a/////", true), "a");  // every trailing "/" is ignored
  EXPECT_EQ(Name(".profile", true), ".profile");
  EXPECT_EQ(Name(".profile", false), "");  // all extension, no name
  EXPECT_EQ(Name("/d/.a.b", false), ".a");
  EXPECT_EQ(Name("a.", false), "a");
  EXPECT_EQ(Name(".", false), "");
  EXPECT_EQ(Name("..", false), ".");
  EXPECT_EQ(Name("", true), "");
  EXPECT_EQ(Name("/", true), "");
  EXPECT_EQ(Name("//", true), "/");  // FixPathString leaves "/", the root
  EXPECT_EQ(Name("C:/", true), "C:");
  EXPECT_EQ(Name("a/b?c", true), "b_c");
  EXPECT_EQ(Name("plain", false), "plain");
}

TEST(FileUtilsPathsTest, GetFileExtReadsTheRawPathWithSlashesOnly) {
  EXPECT_EQ(S(tu::GetFileExt(P(".profile"))), "");
  EXPECT_EQ(S(tu::GetFileExt(P("a/.profile"))), "");
  EXPECT_EQ(S(tu::GetFileExt(P("a/x.tar.gz"))), "gz");
  EXPECT_EQ(S(tu::GetFileExt(P("dir.d/file"))), "");
  EXPECT_EQ(S(tu::GetFileExt(P("dir.d\\file"))), "d\\file");
  EXPECT_EQ(S(tu::GetFileExt(P("a.b/"))), "b");  // trailing "/" ignored
  EXPECT_EQ(S(tu::GetFileExt(P("a/.x.y"))), "y");
  EXPECT_EQ(S(tu::GetFileExt(P("x?.t:t"))), "t:t");  // not normalised
  EXPECT_EQ(S(tu::GetFileExt(P(""))), "");
  EXPECT_EQ(S(tu::GetFileExt(P("/"))), "");
  EXPECT_EQ(S(tu::GetFileExt(P("a."))), "");
}

TEST(FileUtilsPathsTest, GetFileLocationAndDirectory) {
  EXPECT_EQ(Location("/x/y/file.txt"), "/x/y/");
  EXPECT_EQ(Location("a//"), "");
  EXPECT_EQ(Location("/a"), "//");
  EXPECT_EQ(Location("/"), "//");
  EXPECT_EQ(Location("///"), "//");
  EXPECT_EQ(Location(""), "");
  EXPECT_EQ(Location("file.txt"), "");
  EXPECT_EQ(Location("a\\b.txt"), "");  // only "/" separates here
  EXPECT_EQ(Location("a//b"), "a/");    // the run of "/" before the name goes
  EXPECT_EQ(Location("a/b/"), "a/");
  EXPECT_EQ(Location("//a/b"), "//a/");
  EXPECT_EQ(Location("a?/b"), "a?/");  // not normalised
  for (const char* p : {"/x/y/file.txt", "a//", "/a", "", "a\\b/c"}) {
    EXPECT_EQ(S(tu::GetFileDirectory(P(p))), Location(p)) << p;
  }
  EXPECT_EQ(S(tu::GetFileDrive(P("C:/x"))), "");
  EXPECT_EQ(S(tu::GetFileDrive(P("/x"))), "");
}

// ---------------------------------------------------------------------------
// SplitPath and JoinPath
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, SplitPathComponents) {
  EXPECT_EQ(Split("/a/b"), (List{"/", "a", "b"}));
  EXPECT_EQ(Split("a/b"), (List{"a", "b"}));
  EXPECT_EQ(Split("/"), (List{"/"}));
  EXPECT_EQ(Split("///"), (List{"/"}));
  EXPECT_EQ(Split(""), (List{""}));
  EXPECT_EQ(Split("a"), (List{"a"}));
  EXPECT_EQ(Split("/a"), (List{"/", "a"}));
  EXPECT_EQ(Split("//a"), (List{"/", "a"}));
  EXPECT_EQ(Split("a/b/"), (List{"a", "b"}));
  EXPECT_EQ(Split("/x//y/z.txt"), (List{"/", "x", "y", "z.txt"}));
  EXPECT_EQ(Split("a//"), (List{"a//"}));  // no directory: the path itself
  // Only "/" splits directories; the names after the first are normalised.
  EXPECT_EQ(Split("a\\b/c?"), (List{"a\\b", "c_"}));
}

TEST(FileUtilsPathsTest, JoinPathFoldsWithAppendToPath) {
  EXPECT_EQ(S(tu::JoinPath({})), "");
  EXPECT_EQ(S(tu::JoinPath({P("/")})), "/");
  EXPECT_EQ(S(tu::JoinPath({P("a?")})), "a?");  // one element: unchanged
  EXPECT_EQ(S(tu::JoinPath({P("/"), P("a")})), "/a");
  EXPECT_EQ(S(tu::JoinPath({P("a"), P("b"), P("c?")})), "a/b/c_");
  for (const char* p : {"/a/b", "a/b/c.txt", "/x", "/usr/local/share/doc"}) {
    EXPECT_EQ(S(tu::JoinPath(tu::SplitPath(P(p)))), p) << p;
  }
}

// ---------------------------------------------------------------------------
// Relative paths
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, CalculateRelativePathExamples) {
  EXPECT_EQ(Relative("/x/y/a.txt", "/x/z/b.txt"), "../z/b.txt");
  EXPECT_EQ(Relative("/x/a.txt", "/x/b.txt"), "./b.txt");
  EXPECT_EQ(Relative("/x/y/a.txt", "/x"), "..");
  EXPECT_EQ(Relative("/x/y/a.txt", "/x/y"), ".");
  EXPECT_EQ(Relative("/x/y/z/a.txt", "/q"), "../../../q");
  EXPECT_EQ(Relative("\\x\\y\\a.txt", "x/z/b.txt"), "../z/b.txt");  // both separators
  EXPECT_EQ(Relative("/x/a.txt", "/x/sub/deep/f"), "./sub/deep/f");
  EXPECT_EQ(Relative("C:/x/a.txt", "c:/x/b"), "");  // drive letters compare exactly
}

TEST(FileUtilsPathsTest, CalculateRelativePathImpossibleCases) {
  EXPECT_EQ(Relative("", "/x"), "");
  EXPECT_EQ(Relative("/x/a.txt", ""), "");
  EXPECT_EQ(Relative("/", "/x"), "");  // no components
  EXPECT_EQ(Relative("/x/a.txt", "//"), "");
  EXPECT_EQ(Relative("C:/a/b.txt", "D:/a/c.txt"), "");
  EXPECT_EQ(Relative("/x/a.txt", "/x/a.txt"), "");
  EXPECT_EQ(Relative("/x/a.txt", "/x/a.txt/inner"), "");  // the base's name is a common part
}

TEST(FileUtilsPathsTest, ResolveRelativePathExamples) {
  EXPECT_EQ(Resolve("/x/y/a.txt", "../b.txt"), "/x/b.txt");
  EXPECT_EQ(Resolve("/x/a.txt", "./b"), "/x/b");
  EXPECT_EQ(Resolve("x/a.txt", "b"), "/x/b");        // always absolute without a drive
  EXPECT_EQ(Resolve("/x/a.txt", "/y/b"), "/x/y/b");  // a leading separator is ignored
  EXPECT_EQ(Resolve("/x/y/a.txt", "..\\..\\q\\.\\r"), "/q/r");
  EXPECT_EQ(Resolve("C:/d/a.txt", "../b"), "C:/b");
  EXPECT_EQ(Resolve("C:\\d\\a.txt", "e\\f"), "C:/d/e/f");
  EXPECT_EQ(Resolve("/x/a.txt", "."), "/x");
}

TEST(FileUtilsPathsTest, ResolveRelativePathImpossibleCases) {
  EXPECT_EQ(Resolve("/a.txt", "../b.txt"), "");  // above the root
  EXPECT_EQ(Resolve("C:/a.txt", "../b"), "");    // only the drive is left
  EXPECT_EQ(Resolve("/x/a.txt", ".."), "");      // nothing left
  EXPECT_EQ(Resolve("", "b"), "");
  EXPECT_EQ(Resolve("/x/a.txt", ""), "");
  EXPECT_EQ(Resolve("/x/a.txt", "//"), "");
  EXPECT_EQ(Resolve("//", "b"), "");
}

TEST(FileUtilsPathsTest, RelativeAndResolveRoundTrip) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const std::vector<std::string> names = {"a", "b", "c", "dd", "e.txt"};
  auto random_path = [&](int min_depth) {
    std::string p;
    const int depth = min_depth + static_cast<int>(rng() % 4);
    for (int i = 0; i < depth; ++i) p += "/" + names[rng() % names.size()];
    return p;
  };
  int resolved = 0;
  for (int iter = 0; iter < 1000; ++iter) {
    const std::string base = random_path(1);
    const std::string target = random_path(1);
    const std::string rel = Relative(base, target);
    if (rel.empty()) continue;
    EXPECT_TRUE(rel == "." || rel.rfind("./", 0) == 0 || rel.rfind("..", 0) == 0)
        << base << " -> " << target;
    EXPECT_EQ(Resolve(base, rel), target) << base << " -> " << target << " via " << rel;
    ++resolved;
  }
  EXPECT_GT(resolved, 500);
}

TEST(FileUtilsPathsTest, PathIsChildOfDirectoryTakesTheAncestorFirst) {
  EXPECT_TRUE(tu::PathIsChildOfDirectory(P("/a"), P("/a/b")));
  EXPECT_FALSE(tu::PathIsChildOfDirectory(P("/a/b"), P("/a")));
  EXPECT_TRUE(tu::PathIsChildOfDirectory(P("/a/b"), P("/a/b")));
  EXPECT_TRUE(tu::PathIsChildOfDirectory(P("a\\b"), P("/a/b/c")));  // separators and root ignored
  EXPECT_FALSE(tu::PathIsChildOfDirectory(P("/a/b"), P("/a/bc")));
  EXPECT_FALSE(tu::PathIsChildOfDirectory(P("/A"), P("/a/b")));  // exact comparison
  EXPECT_FALSE(tu::PathIsChildOfDirectory(P(""), P("/a")));
  EXPECT_FALSE(tu::PathIsChildOfDirectory(P("/a"), P("")));
  EXPECT_FALSE(tu::PathIsChildOfDirectory(P("/"), P("/a")));  // no components
}

// ---------------------------------------------------------------------------
// Working directory
// ---------------------------------------------------------------------------

// Changes the working directory for the life of the object.
class ScopedCwd {
 public:
  explicit ScopedCwd(const std::string& dir) {
    char buf[PATH_MAX];
    if (::getcwd(buf, sizeof buf)) old_ = buf;
    ok_ = ::chdir(dir.c_str()) == 0;
  }
  ~ScopedCwd() {
    if (!old_.empty()) (void)::chdir(old_.c_str());
  }
  bool ok() const { return ok_; }

 private:
  std::string old_;
  bool ok_ = false;
};

TEST(FileUtilsPathsTest, PathsAgainstTheWorkingDirectory) {
  const std::string dir = tavrin::test::FreshDir("cwd");
  ScopedCwd cwd(dir);
  ASSERT_TRUE(cwd.ok()) << dir;
  const std::string parent = dir.substr(0, dir.rfind('/'));
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("./x"))), dir + "/x");
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("../x"))), parent + "/x");
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("/abs"))), "/abs");
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("x/y"))), "x/y");  // no leading dot
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P(""))), "");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P(dir + "/sub/f.txt"))), "./sub/f.txt");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P(parent + "/other"))), "../other");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P("./x"))), "./x");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P(""))), "");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P(dir))), ".");              // the directory itself
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P(dir + "/dummy/x"))), "");  // the base's own name
}

TEST(FileUtilsPathsTest, WorkingDirectoryLongerThanAKilobyte) {
  const std::string root = tavrin::test::FreshDir("longcwd");
  std::string dir = root;
  const std::string part(60, 'd');
  while (dir.size() < 1300) {
    dir += "/" + part;
    ASSERT_EQ(::mkdir(dir.c_str(), 0700), 0) << dir;
  }
  ScopedCwd cwd(dir);
  ASSERT_TRUE(cwd.ok());
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("./f"))), dir + "/f");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P(dir + "/f"))), "./f");
}

TEST(FileUtilsPathsTest, RemovedWorkingDirectoryGivesEmpty) {
  const std::string dir = tavrin::test::FreshDir("gone");
  ScopedCwd cwd(dir);
  ASSERT_TRUE(cwd.ok());
  ASSERT_EQ(::rmdir(dir.c_str()), 0) << std::strerror(errno);
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("./x"))), "");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P("/abs/x"))), "");
  // Paths that need no working directory are still answered.
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("/abs"))), "/abs");
}

TEST(FileUtilsPathsTest, WorkingDirectoryThatIsNotUtf8GivesEmpty) {
  const std::string dir = tavrin::test::FreshDir("bytes") + "/bad\xff";
  ASSERT_EQ(::mkdir(dir.c_str(), 0700), 0) << std::strerror(errno);
  ScopedCwd cwd(dir);
  ASSERT_TRUE(cwd.ok());
  EXPECT_EQ(S(tu::MakeAbsolutePathFromPathRelativeToCWD(P("./x"))), "");
  EXPECT_EQ(S(tu::MakeRelativePathFromCWD(P("/abs/x"))), "");
}

// ---------------------------------------------------------------------------
// GetShortPath
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, GetShortPathWorkedExample) {
  const std::string p = "/Users/me/Documents/Projects/file.txt";
  EXPECT_EQ(Short(p, 100), p);
  EXPECT_EQ(Short(p, 37), p);
  EXPECT_EQ(Short(p, 36), "/Users/.../Projects/file.txt");
  EXPECT_EQ(Short(p, 28), "/Users/.../Projects/file.txt");
  EXPECT_EQ(Short(p, 27), "/Users/.../file.txt");
  EXPECT_EQ(Short(p, 19), "/Users/.../file.txt");
  EXPECT_EQ(Short(p, 18), "/.../file.txt");
  EXPECT_EQ(Short(p, 13), "/.../file.txt");
  // The "/" between "..." and the name is not counted: one over.
  EXPECT_EQ(Short(p, 12), "/.../file.txt");
  EXPECT_EQ(Short(p, 11), "/.../file...");
  EXPECT_EQ(Short(p, 8), "/.../f...");
  EXPECT_EQ(Short(p, 7), "/.../...");
  EXPECT_EQ(Short(p, 6), "/...");  // no room for the name: dir alone
  EXPECT_EQ(Short(p, 4), "/...");
  EXPECT_EQ(Short(p, 3), "/");
  EXPECT_EQ(Short(p, 1), "/");
}

TEST(FileUtilsPathsTest, GetShortPathEdges) {
  EXPECT_EQ(Short("/a/b.txt", 0), "");
  EXPECT_EQ(Short("/a/b.txt", -5), "");
  EXPECT_EQ(Short("", 10), "/");
  EXPECT_EQ(Short("file.txt", 20), "/file.txt");  // a bare name gains a "/"
  EXPECT_EQ(Short("file.txt", 9), "/file.txt");
  EXPECT_EQ(Short("a/b/c.txt", 20), "a/b/c.txt");  // relative: no prefix
  // Directories are split at "/" only, while the name is normalised first.
  EXPECT_EQ(Short("a\\b\\c.txt", 20), "/c.txt");
  EXPECT_EQ(Short("a\\b/c\\d.txt", 20), "a/b/d.txt");
  EXPECT_EQ(Short("/d/x?.txt", 20), "/d/x_.txt");
  EXPECT_EQ(Short("//server/share/docs/report.pdf", 1), "/");
  EXPECT_EQ(Short("//server/share/docs/report.pdf", 40), "//server/share/docs/report.pdf");
  EXPECT_EQ(Short("//server/share/docs/report.pdf", 25), "//server/.../report.pdf");
  // A file at the root: its directory is "//" (the root plus its "/"), so the
  // prefix takes "//" and then "/" for the empty directory.
  EXPECT_EQ(Short("/x.txt", 10), "///x.txt");
  EXPECT_EQ(Short("/x/", 10), "///x");
}

TEST(FileUtilsPathsTest, GetShortPathFirstDirectoryLength) {
  // A first directory of five or more units goes straight to "...".
  EXPECT_EQ(Short("/abcde/name.txt", 14), "/.../name.txt");
  EXPECT_EQ(Short("/abcd/name.txt", 13), "/.../name.txt");
  EXPECT_EQ(Short("/abc/name.txt", 12), "/.../name.txt");
  EXPECT_EQ(Short("/ab/name.txt", 11), "/.../name...");
}

TEST(FileUtilsPathsTest, GetShortPathDirectoryStartingWithDots) {
  // The one directory is named "...abc": no second "/" to replace.
  EXPECT_EQ(Short("/...abc/x.txt", 9), "/.../x.txt");
  EXPECT_EQ(Short("/...abc/x.txt", 13), "/...abc/x.txt");
  EXPECT_EQ(Short("/.../x.txt", 9), "/.../x.txt");
  EXPECT_EQ(Short("/..../x.txt", 9), "/.../x.txt");
  EXPECT_EQ(Short("/..../x.txt", 8), "/.../x...");
  EXPECT_EQ(Short("/a/...//b/c.txt", 9), "/.../c.txt");
  // Removing ".../" can take the directory's final "/" ("x.../" gives "x"):
  // the "/" that AppendToPath puts back is then one over the maximum.
  EXPECT_EQ(Short("/bb/a/ccc/x.../me", 11), "/bb/.../x/me");
  EXPECT_EQ(Short("////a/b", 3), "///");
}

// A literal transcription of the shortening steps on std::u16string (find,
// substr, signed arithmetic), for a differential check of the library's
// in-place version. Its loop has the same backstop: dir becomes "..." after
// (length on entry + 2) passes, and when the only directory's own name
// starts with "...".
std::u16string ReferenceShort(const tavrin_ustring& path, int max) {
  if (max < 1) return u"";
  std::u16string name = tu::GetFileName(path, true).utf16();
  std::u16string prefix = tu::GetFileDrive(path).utf16();
  std::u16string dir = tu::GetFileDirectory(path).utf16();
  if (dir.size() >= 2 && dir.substr(0, 2) == u"//") {
    prefix += u"//";
    dir = dir.substr(2);
  }
  if (!dir.empty() && dir[0] == u'/') {
    prefix += u"/";
    dir = dir.substr(1);
  } else if (dir.empty()) {
    prefix += u"/";
  }
  auto L = [](const std::u16string& s) { return static_cast<long>(s.size()); };
  long budget = max - (L(name) + L(prefix));
  const long cap = L(dir) + 2;
  for (long pass = 0; budget < L(dir); ++pass) {
    if (pass == cap) {
      dir = u"...";
      break;
    }
    std::u16string kept;
    for (std::size_t pos = 0;;) {
      const std::size_t hit = dir.find(u".../", pos);
      kept += dir.substr(pos, hit == std::u16string::npos ? std::u16string::npos : hit - pos);
      if (hit == std::u16string::npos) break;
      pos = hit + 4;
    }
    dir = kept;
    const std::size_t first = dir.find(u'/');
    if (first == std::u16string::npos) {
      dir = u"...";
      break;
    }
    std::size_t second = dir.find(u'/', first + 1);
    if (second == std::u16string::npos && dir.rfind(u"...", 0) == 0) {
      dir = u"...";
      continue;
    }
    if (second == std::u16string::npos) {
      second = first;
      dir = u"..." + dir.substr(first);
    }
    if (first != second) {
      dir = dir.substr(0, first + 1) + u"..." + dir.substr(second);
    } else {
      const long count = L(dir) - static_cast<long>(first) + 1;
      dir = u"..." + (count <= 0        ? std::u16string()
                      : count >= L(dir) ? dir
                                        : dir.substr(L(dir) - count));
    }
  }
  if (budget < L(dir)) {
    const long room = max - (L(prefix) + L(dir));
    name = room < 3 ? u"" : name.substr(0, static_cast<std::size_t>(room - 3)) + u"...";
    budget = max - (L(prefix) + L(name));
  }
  if (budget < L(dir)) {
    dir.clear();
    if (budget < 0) return prefix.substr(0, static_cast<std::size_t>(max));
  }
  const std::u16string d = dir, n = name;
  return prefix +
         tu::AppendToPath(tavrin_ustring(d.c_str(), d.size()), tavrin_ustring(n.c_str(), n.size()))
             .utf16();
}

// Generated paths: every call ends, the result keeps the length bound, and a
// path that fits comes back as it was.
TEST(FileUtilsPathsTest, GetShortPathOnGeneratedPaths) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::printf("GetShortPathOnGeneratedPaths seed %u\n", seed);
  std::mt19937 rng(seed);
  const std::vector<std::string> names = {"a",         "bb",
                                          "ccc",       "dddd",
                                          "Documents", "...",
                                          "....",      "...x",
                                          "x...",      ".",
                                          "..",        "Projects",
                                          "me",        "e\xcc\x81t\xc3\xa9",
                                          "n.tar.gz",  "very-long-directory-name"};
  int checked_fit = 0, shortened = 0;
  for (int iter = 0; iter < 3000; ++iter) {
    std::string path;
    const int kind = static_cast<int>(rng() % 4);
    if (kind == 0) path = "/";
    if (kind == 1) path = "//";
    const int depth = static_cast<int>(rng() % 7);
    for (int i = 0; i < depth; ++i) path += names[rng() % names.size()] + "/";
    path += names[rng() % names.size()];
    const int max = static_cast<int>(rng() % 45) - 2;
    const tavrin_ustring in = P(path);
    const tavrin_ustring out = tu::GetShortPath(in, max);
    SCOPED_TRACE(path + " at " + std::to_string(max) + " gave " + S(out));
    ASSERT_EQ(out.utf16(), ReferenceShort(in, max));
    const long len = static_cast<long>(out.size());
    if (max < 1) {
      EXPECT_EQ(len, 0);
      continue;
    }
    // The "/" that joins the shortened directories and the name is not
    // counted, so a shortened result may be one unit over, never more.
    EXPECT_LE(len, max + 1);
    if (len == max + 1) {
      EXPECT_NE(S(out).find("..."), std::string::npos);
    }
    // These generated paths need no normalisation, so one that fits comes
    // back as it was, except for the root's form: a bare name gains "/", and
    // a name right below the root "///" (its directory is "//").
    std::string whole = path;
    if (depth == 0) {
      whole = std::string(kind <= 1 ? "///" : "/") + path.substr(path.find_first_not_of('/'));
    }
    if (static_cast<long>(P(whole).size()) <= max) {
      EXPECT_EQ(S(out), whole);
      ++checked_fit;
    } else {
      ++shortened;
    }
  }
  EXPECT_GT(checked_fit, 100);
  EXPECT_GT(shortened, 1000);
}

// Arbitrary text as paths (schemes, drives, both separators, illegal
// characters, dots): the loop ends, stays within the bound and agrees with
// the step-by-step reference.
TEST(FileUtilsPathsTest, GetShortPathOnArbitraryText) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed ^ 0x5eedu);
  const std::vector<std::u16string> pieces = {
      u"/",      u"\\",          u"//",    u"...",  u".",    u"..",      u":",
      u"?",      u"a",           u"bcdef", u"x.y",  u"*",    u"http://", u"file://",
      u"smb://", u"ms-appx:///", u"C:",    u"\x01", u"...x", u"|"};
  for (int iter = 0; iter < 5000; ++iter) {
    std::u16string in;
    const int parts = static_cast<int>(rng() % 14);
    for (int i = 0; i < parts; ++i) in += pieces[rng() % pieces.size()];
    const tavrin_ustring path(in.c_str(), in.size());
    const int max = static_cast<int>(rng() % 34) - 2;
    const tavrin_ustring out = tu::GetShortPath(path, max);
    ASSERT_EQ(out.utf16(), ReferenceShort(path, max)) << S(path) << " at " << max;
    EXPECT_LE(static_cast<long>(out.size()), std::max(max + 1, 0)) << S(path) << " at " << max;
  }
}

// ---------------------------------------------------------------------------
// Unique file names
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, UniqueFilePathCandidates) {
  using tu::detail::UniqueFilePathCandidate;
  EXPECT_EQ(S(UniqueFilePathCandidate(P("/d"), P("report"), P("txt"), 1)), "/d/report.txt");
  EXPECT_EQ(S(UniqueFilePathCandidate(P("/d/"), P("report"), P(".txt"), 2)), "/d/report(2).txt");
  EXPECT_EQ(S(UniqueFilePathCandidate(P("/d"), P("report"), P(""), 3)), "/d/report(3)");
  EXPECT_EQ(S(UniqueFilePathCandidate(P(""), P("report"), P("txt"), 1)), "report.txt");
  EXPECT_EQ(S(UniqueFilePathCandidate(P("d\\e"), P("a?b"), P("x"), 12)), "d/e/a_b(12).x");
  EXPECT_EQ(S(UniqueFilePathCandidate(P("/d"), P("r"), P("txt"), 0)), "/d/r.txt");
}

TEST(FileUtilsPathsTest, FirstFreeFilePathSkipsTakenNames) {
  std::set<std::string> taken;
  std::vector<std::string> asked;
  auto is_taken = [&](const tavrin_ustring& p) {
    asked.push_back(S(p));
    return taken.count(S(p)) > 0;
  };
  EXPECT_EQ(S(tu::detail::FirstFreeFilePath(P("/d"), P("report"), P("txt"), is_taken)),
            "/d/report.txt");
  EXPECT_EQ(asked, (List{"/d/report.txt"}));
  taken = {"/d/report.txt"};
  asked.clear();
  EXPECT_EQ(S(tu::detail::FirstFreeFilePath(P("/d"), P("report"), P("txt"), is_taken)),
            "/d/report(2).txt");
  EXPECT_EQ(asked, (List{"/d/report.txt", "/d/report(2).txt"}));
  // A gap is filled: the first free number wins.
  taken = {"/d/report.txt", "/d/report(2).txt", "/d/report(4).txt"};
  EXPECT_EQ(S(tu::detail::FirstFreeFilePath(P("/d"), P("report"), P("txt"), is_taken)),
            "/d/report(3).txt");
  taken.clear();
  taken.insert("/d/n");
  for (int i = 2; i <= 150; ++i) taken.insert("/d/n(" + std::to_string(i) + ")");
  EXPECT_EQ(S(tu::detail::FirstFreeFilePath(P("/d"), P("n"), P(""), is_taken)), "/d/n(151)");
}

// ---------------------------------------------------------------------------
// The tool
// ---------------------------------------------------------------------------

TEST(FileUtilsPathsTest, ToolPathCommand) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  std::string out;
  EXPECT_EQ(tavrin::test::RunShell(tool + " path short 24 /Users/me/Documents/x.txt", &out), 0);
  EXPECT_EQ(out, "/Users/.../x.txt\n");
  EXPECT_EQ(tavrin::test::RunShell(tool + " path fix 'a\\b//c/' '//srv//x'", &out), 0);
  EXPECT_EQ(out, "a/b/c\n//srv/x\n");
  EXPECT_EQ(tavrin::test::RunShell(tool + " path rel /x/y/a.txt /x/z/b.txt", &out), 0);
  EXPECT_EQ(out, "../z/b.txt\n");
  EXPECT_EQ(tavrin::test::RunShell(tool + " path split /a/b", &out), 0);
  EXPECT_EQ(out, "/\na\nb\n");
  EXPECT_EQ(tavrin::test::RunShell(tool + " path resolve /a.txt ../b 2>/dev/null", &out), 1);
  EXPECT_EQ(tavrin::test::RunShell(tool + " path nonsense x 2>/dev/null", &out), 2);
  EXPECT_EQ(tavrin::test::RunShell(tool + " path short 2>/dev/null", &out), 2);
  EXPECT_EQ(tavrin::test::RunShell(tool + " path short many x 2>/dev/null", &out), 2);
  EXPECT_EQ(tavrin::test::RunShell(tool + " path 2>/dev/null", &out), 2);
}

}  // namespace
