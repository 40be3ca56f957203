// cmd_text.cpp - `tavrin text`: text files with byte-order marks, read with
// CTextFile and written as UTF-8.
#include <cstdio>
#include <string>

#include "common/utils/textfile.h"
#include "common/utils/ustring.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using tavrin::utils::tavrin_ustring;

const char kUsage[] =
    "usage: tavrin text cat FILE\n"
    "       tavrin text info FILE\n\n"
    "Reads a text file line by line, detecting its encoding from the byte-order\n"
    "mark: UTF-8 (EF BB BF), UTF-16 little-endian (FF FE) or big-endian (FE FF);\n"
    "anything else is read as 8-bit text, which must be UTF-8 (UTF-16 without a\n"
    "mark counts as 8-bit). In UTF-16 files U+2028 reads as a line end.\n\n"
    "  cat   writes the text to standard output as UTF-8, without a mark\n"
    "  info  prints the encoding, whether there is a mark, and the line count\n\n"
    "A file shorter than two bytes, or starting with FF FF, cannot be read. Lines\n"
    "of 8-bit text that are not valid UTF-8 (Latin-1, say) come out empty; `info`\n"
    "counts them as unreadable.\n\n"
    "Exit status: 0 ok, 1 the file cannot be read or has unreadable lines, 2 usage\n"
    "error.\n";

const char* EncodingName(const CTextFile& file) {
  switch (file.GetEncoding()) {
    case CTextFile::kEncodingUTF8:
      return "UTF-8";
    case CTextFile::kEncodingUTF16:
      return file.IsBigEndian() ? "UTF-16BE" : "UTF-16LE";
    default:
      return "8-bit (read as UTF-8)";
  }
}

struct Summary {
  long lines = 0;
  long unreadable = 0;  // 8-bit or UTF-8 pieces that were not valid UTF-8
};

// Reads every piece; `out` (when not null) receives the UTF-8 text. A line
// is a piece ending in "\n", or the last piece.
Summary ReadAll(CTextFile& file, std::FILE* out) {
  Summary summary;
  tavrin_ustring line;
  bool open_line = false;
  while (file.GetLine(&line)) {
    if (line.empty()) {
      // Only a piece that failed to decode comes back empty.
      ++summary.unreadable;
      ++summary.lines;
      open_line = false;
      continue;
    }
    std::string bytes = line.utf8();
    if (out) std::fwrite(bytes.data(), 1, bytes.size(), out);
    bool ends = line[line.size() - 1] == '\n';
    if (ends) {
      ++summary.lines;
      open_line = false;
    } else {
      open_line = true;
    }
    line.clear();
  }
  if (open_line) ++summary.lines;
  return summary;
}

bool OpenOrComplain(CTextFile& file, const std::string& path) {
  if (file.Open(tavrin_ustring(path))) return true;
  std::fprintf(stderr,
               "tavrin text: cannot read %s as text (missing, unreadable, shorter than two "
               "bytes, or starting with FF FF)\n",
               path.c_str());
  return false;
}

void PrintInfo(std::FILE* out, const std::string& name, CTextFile& file) {
  std::string encoding = EncodingName(file);
  bool mark = file.HasByteOrderMark();
  Summary summary = ReadAll(file, nullptr);
  std::fprintf(out, "%s: encoding %s, %s, %ld line%s", name.c_str(), encoding.c_str(),
               mark ? "byte-order mark" : "no byte-order mark", summary.lines,
               summary.lines == 1 ? "" : "s");
  if (summary.unreadable > 0) std::fprintf(out, ", %ld unreadable", summary.unreadable);
  std::fputc('\n', out);
}

int Run(const Args& args) {
  if (args.empty()) return UsageError("text", "say cat or info");
  const std::string& mode = args[0];
  if (mode != "cat" && mode != "info")
    return UsageError("text", "unknown mode '" + mode + "' (cat or info)");
  if (args.size() < 2) return UsageError("text", "name a FILE");
  if (args.size() > 2) return UsageError("text", "unexpected argument " + args[2]);
  CTextFile file;
  if (!OpenOrComplain(file, args[1])) return kExitProblem;
  if (mode == "cat") {
    Summary summary = ReadAll(file, stdout);
    std::fflush(stdout);
    if (summary.unreadable > 0) {
      std::fprintf(stderr, "tavrin text: %ld line%s of %s not valid UTF-8 (written empty)\n",
                   summary.unreadable, summary.unreadable == 1 ? " is" : "s are", args[1].c_str());
      return kExitProblem;
    }
    return kExitOk;
  }
  PrintInfo(stdout, args[1], file);
  return kExitOk;
}

void Demo(const DemoContext& ctx) {
  const char* samples[] = {"text-utf8.txt", "text-utf8-bom.txt", "text-utf16le.txt",
                           "text-utf16be.txt"};
  for (const char* name : samples) {
    CTextFile file;
    if (!file.Open(tavrin_ustring(ctx.Example(name)))) {
      std::fprintf(ctx.out, "%s: cannot be read\n", name);
      continue;
    }
    PrintInfo(ctx.out, name, file);
  }
  CTextFile file;
  if (file.Open(tavrin_ustring(ctx.Example("text-utf16be.txt")))) {
    std::fprintf(ctx.out, "text-utf16be.txt as UTF-8:\n");
    std::fflush(ctx.out);
    ReadAll(file, ctx.out);
  }
}

TAVRIN_COMMAND({"text", "read text files with byte-order marks (UTF-8, UTF-16)", kUsage, Run, 55,
                Demo});

}  // namespace
}  // namespace tavrin::cli
