// textfile_fuzz.cpp - CTextFile on generated file bytes.
//
// The first input byte chooses a byte-order mark (UTF-8, UTF-16 LE or BE,
// none, or the refused FF FF) and whether the rest is repeated until the
// file holds more than 4095 bytes (so lines are cut into pieces); the rest
// is the text. The file is written to a private temporary folder and read
// back. Checked:
//   - Open succeeds exactly for files of two bytes or more that do not start
//     with FF FF, and reports the encoding of the mark;
//   - reading ends: every successful GetLine moves the position forward, and
//     after the last line GetLine keeps returning false (a UTF-16 read then
//     sets the line to "", the others leave it alone);
//   - the lines put together give the text back: for UTF-8 and 8-bit files
//     whose text is valid UTF-8 without zero bytes, the decoded text; for
//     UTF-16 files without zero units, line by line, the documented reader (U+2028 read as
//     "\n", U+FFFF ending the line like the end of the file, so a line that
//     starts with it ends the reading; an odd last byte ignored);
//   - every line holds at most one "\n", at its end, and no UTF-8 piece is
//     empty unless the text was not valid there;
//   - ResetToStart reads the same lines again, and SetPosition to any offset
//     followed by reading never crashes or hangs.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/utils/convertutf.h"
#include "common/utils/textfile.h"
#include "common/utils/ustring.h"

using tavrin::utils::tavrin_ustring;

namespace {

void Check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "textfile_fuzz: %s\n", what);
    std::abort();
  }
}

const std::string& ScratchFile() {
  static const std::string path = [] {
    const char* base = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string tmpl = std::string(base) + "/textfile_fuzz.XXXXXX";
    Check(::mkdtemp(tmpl.data()) != nullptr, "cannot make a scratch folder");
    return tmpl + "/input.txt";
  }();
  return path;
}

std::u16string Units(const tavrin_ustring& s) {
  return std::u16string(reinterpret_cast<const char16_t*>(s.data()), s.size());
}

// Reads every line; the position must move forward on each success, and at
// the end of the file the next read fails again.
std::vector<std::u16string> ReadAll(CTextFile& file, long file_size) {
  std::vector<std::u16string> lines;
  long position = file.GetPosition();
  tavrin_ustring line;
  for (int guard = 0; file.GetLine(&line); ++guard) {
    Check(guard < 1 << 20, "GetLine does not end");
    const long now = file.GetPosition();
    Check(now > position, "a successful GetLine did not move forward");
    position = now;
    lines.push_back(Units(line));
  }
  // A UTF-16 line that starts with U+FFFF stops the reading like the end of
  // the file does, with more text after it; only at the real end must the
  // next read fail too.
  if (file.GetPosition() < file_size) return lines;
  tavrin_ustring after(u"untouched");
  Check(!file.GetLine(&after), "GetLine succeeded after the end");
  if (file.GetEncoding() == CTextFile::kEncodingUTF16)
    Check(after.empty(), "a UTF-16 read after the end did not clear the line");
  else
    Check(after == tavrin_ustring(u"untouched"), "an 8-bit read after the end changed the line");
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 8192) return 0;
  const std::uint8_t mode = data[0];
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  if ((mode & 0x08) && !text.empty())
    while (text.size() <= 5000) text += text;
  static const char* const kMarks[5] = {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF", "", "\xFF\xFF"};
  const std::string bytes = std::string(kMarks[mode % 5]) + text;
  // What the reader must detect, from the bytes as written (a text without a
  // chosen mark may start with one itself).
  int mark = 3;
  if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0)
    mark = 0;
  else if (bytes.compare(0, 2, "\xFF\xFE") == 0)
    mark = 1;
  else if (bytes.compare(0, 2, "\xFE\xFF") == 0)
    mark = 2;
  static const std::size_t kMarkLength[4] = {3, 2, 2, 0};
  text = bytes.substr(std::min(bytes.size(), kMarkLength[mark]));

  std::FILE* f = std::fopen(ScratchFile().c_str(), "wb");
  Check(f != nullptr, "cannot write the scratch file");
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);

  CTextFile file;
  const bool opened = file.Open(tavrin_ustring(ScratchFile()));
  const bool refused = bytes.size() < 2 || (static_cast<unsigned char>(bytes[0]) == 0xFF &&
                                            static_cast<unsigned char>(bytes[1]) == 0xFF);
  Check(opened == !refused, "Open differs from its rule");
  if (!opened) {
    tavrin_ustring line(u"x");
    Check(!file.GetLine(&line) && line == tavrin_ustring(u"x"), "a closed file gave a line");
    return 0;
  }
  // The detected encoding follows the mark (UTF-16 without a mark is 8-bit).
  const int expected_encoding = mark == 0   ? CTextFile::kEncodingUTF8
                                : mark <= 2 ? CTextFile::kEncodingUTF16
                                            : CTextFile::kEncoding8Bit;
  Check(file.GetEncoding() == expected_encoding, "wrong encoding detected");

  const std::vector<std::u16string> lines = ReadAll(file, static_cast<long>(bytes.size()));
  std::u16string joined;
  for (const std::u16string& l : lines) {
    const std::size_t nl = l.find(u'\n');
    Check(nl == std::u16string::npos || nl + 1 == l.size(),
          "a line holds a \"\\n\" before its end");
    joined += l;
  }

  if (expected_encoding == CTextFile::kEncodingUTF16) {
    // The reader's rule: units up to "\n" (U+2028 counts as one) or 4095
    // units; a unit U+FFFF, like the end of the file, ends the line, and a
    // read that stores nothing is the end.
    std::vector<std::u16string> expected;
    std::size_t i = 0;
    for (;;) {
      std::u16string cur;
      while (cur.size() < 4095 && i + 1 < text.size()) {
        const auto a = static_cast<unsigned char>(text[i]);
        const auto b = static_cast<unsigned char>(text[i + 1]);
        i += 2;
        char16_t u =
            mark == 1 ? static_cast<char16_t>(a | b << 8) : static_cast<char16_t>(a << 8 | b);
        if (u == 0xFFFF) break;
        if (u == 0x2028) u = u'\n';
        cur += u;
        if (u == u'\n') break;
      }
      if (cur.empty()) break;
      expected.push_back(cur);
    }
    // Zero units are not kept inside strings (copies stop at them).
    bool zero = false;
    for (std::size_t k = 0; k + 1 < text.size(); k += 2) zero |= text[k] == 0 && text[k + 1] == 0;
    if (!zero) Check(lines == expected, "UTF-16 lines differ from the reader's rule");
  } else {
    const auto* b = reinterpret_cast<const UTF8*>(text.data());
    const bool valid = SizeNeededForUTF16(b, b + text.size(), lenientConversion) >= 0;
    if (valid && text.find('\0') == std::string::npos) {
      const tavrin_ustring whole(text);
      Check(joined == Units(whole), "lines do not give the text back");
      for (const std::u16string& l : lines) Check(!l.empty(), "an empty piece of valid text");
    }
  }

  // Again from the start: the same lines.
  Check(file.ResetToStart(), "ResetToStart failed");
  Check(ReadAll(file, static_cast<long>(bytes.size())) == lines, "reading again gave other lines");
  // From anywhere.
  const long offset = static_cast<long>(mode >> 4) * static_cast<long>(bytes.size()) / 16;
  if (file.SetPosition(offset)) (void)ReadAll(file, static_cast<long>(bytes.size()));
  file.Close();
  Check(file.GetEncoding() == 0 && !file.HasByteOrderMark() && file.GetPosition() == 0,
        "Close did not reset the object");
  return 0;
}
