// cmd_utf.cpp - `tavrin utf`: converts text between UTF-8, UTF-16LE,
// UTF-16BE and UTF-32LE with the library's converters.
//
// Every conversion goes through UTF-16 units, the library's own text form:
// the input is decoded to units (ConvertUTF8toUTF16, a byte swap for
// UTF-16, ConvertUTF32toUTF16) and the units are encoded for the output
// (ConvertUTF16toUTF8, a byte swap, ConvertUTF16toUTF32), each output sized
// exactly by the matching SizeNeeded... function.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "common/utils/convertutf.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

const char kUsage[] =
    "usage: tavrin utf --from ENC --to ENC [--strict] [--bom] [-o OUT] [FILE]\n\n"
    "Converts FILE (standard input when FILE is omitted or \"-\") from one Unicode\n"
    "encoding to another and writes the result to OUT (standard output by default).\n\n"
    "  --from ENC     encoding of the input\n"
    "  --to ENC       encoding of the output\n"
    "                 ENC is utf8, utf16le, utf16be or utf32 (little-endian UTF-32;\n"
    "                 utf32le is accepted too); dashes and case do not matter\n"
    "  --strict       refuse ill-formed input: report the byte offset of the first\n"
    "                 bad sequence on standard error, write nothing and exit 1\n"
    "  --bom          start the output with a byte-order mark (U+FEFF) unless the\n"
    "                 text already starts with one\n"
    "  -o, --output OUT  write to OUT instead of standard output\n\n"
    "Lenient by default: unpaired surrogates are carried through (UTF-8 gets their\n"
    "three-byte forms), UTF-32 values above U+10FFFF become U+FFFD, and every UTF-8\n"
    "byte that does not start a well-formed sequence becomes one U+FFFD; a note on\n"
    "standard error gives the number replaced and the first offset.\n"
    "A byte-order mark is an ordinary character: one at the start of the input is\n"
    "converted like any other and never removed, and none is added without --bom.\n"
    "UTF-16 input must have an even number of bytes and UTF-32 input a multiple of\n"
    "four; otherwise the command exits 1 with a message.\n\n"
    "example: tavrin utf --from utf8 --to utf16le -o notes16.txt notes.txt\n";

enum class Encoding { kUtf8, kUtf16Le, kUtf16Be, kUtf32Le };

bool ParseEncoding(std::string name, Encoding& out) {
  std::string key;
  for (char c : name)
    if (c != '-' && c != '_') key += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (key == "utf8") {
    out = Encoding::kUtf8;
  } else if (key == "utf16le") {
    out = Encoding::kUtf16Le;
  } else if (key == "utf16be") {
    out = Encoding::kUtf16Be;
  } else if (key == "utf32" || key == "utf32le") {
    out = Encoding::kUtf32Le;
  } else {
    return false;
  }
  return true;
}

const char* NameOf(Encoding e) {
  switch (e) {
    case Encoding::kUtf8:
      return "utf8";
    case Encoding::kUtf16Le:
      return "utf16le";
    case Encoding::kUtf16Be:
      return "utf16be";
    default:
      return "utf32";
  }
}

// Where and why strict decoding stopped, or how many bytes lenient decoding
// replaced.
struct DecodeReport {
  bool failed = false;
  std::size_t offset = 0;  // byte offset of the first problem
  const char* why = "";
  std::size_t replaced = 0;  // lenient UTF-8: bytes turned into U+FFFD
};

UTF16 Unit16(const std::string& in, std::size_t i, bool big_endian) {
  auto b0 = static_cast<unsigned char>(in[i]);
  auto b1 = static_cast<unsigned char>(in[i + 1]);
  return static_cast<UTF16>(big_endian ? (b0 << 8) | b1 : (b1 << 8) | b0);
}

UTF32 Unit32(const std::string& in, std::size_t i) {
  UTF32 v = 0;
  for (int k = 3; k >= 0; --k) v = (v << 8) | static_cast<unsigned char>(in[i + k]);
  return v;
}

// UTF-8 bytes to units. Lenient: a byte that does not start a well-formed
// sequence becomes U+FFFD and decoding goes on with the next byte.
std::vector<UTF16> DecodeUtf8(const std::string& in, bool strict, DecodeReport& report) {
  const UTF8* begin = reinterpret_cast<const UTF8*>(in.data());
  const UTF8* end = begin + in.size();
  ConversionFlags flags = strict ? strictConversion : lenientConversion;
  int measured = SizeNeededForUTF16(begin, end, flags);
  // A UTF-8 byte never yields more than one unit (a four-byte sequence two),
  // so the input size bounds the output even when bytes are replaced.
  std::vector<UTF16> units(measured >= 0 ? static_cast<std::size_t>(measured) : in.size());
  const UTF8* src = begin;
  UTF16* dst = units.data();
  UTF16* dst_end = units.data() + units.size();
  while (src < end) {
    ConversionResult r = ConvertUTF8toUTF16(&src, end, &dst, dst_end, flags);
    if (r == conversionOK || r == targetExhausted) break;  // the latter cannot happen: see above
    if (strict) {
      report.failed = true;
      report.offset = static_cast<std::size_t>(src - begin);
      report.why = r == sourceExhausted ? "a sequence cut off by the end of the input"
                                        : "an ill-formed or disallowed sequence";
      return {};
    }
    if (report.replaced++ == 0) report.offset = static_cast<std::size_t>(src - begin);
    *dst++ = 0xFFFD;
    ++src;
  }
  units.resize(static_cast<std::size_t>(dst - units.data()));
  return units;
}

// UTF-16 bytes to units. Strict: an unpaired surrogate, a trailing high one
// included, is refused; the check runs the strict UTF-16 -> UTF-32
// converter over the units.
std::vector<UTF16> DecodeUtf16(const std::string& in, bool big_endian, bool strict,
                               DecodeReport& report) {
  std::vector<UTF16> units(in.size() / 2);
  for (std::size_t i = 0; i < units.size(); ++i) units[i] = Unit16(in, 2 * i, big_endian);
  if (!strict || units.empty()) return units;
  std::vector<UTF32> scratch(units.size());
  const UTF16* src = units.data();
  UTF32* dst = scratch.data();
  ConversionResult r = ConvertUTF16toUTF32(&src, units.data() + units.size(), &dst,
                                           scratch.data() + scratch.size(), strictConversion);
  std::size_t bad = units.size();
  if (r != conversionOK) {
    bad = static_cast<std::size_t>(src - units.data());
  } else if (units.back() >= 0xD800 && units.back() <= 0xDBFF) {
    bad = units.size() - 1;  // the converters let a final high surrogate through
  }
  if (bad == units.size()) return units;
  report.failed = true;
  report.offset = 2 * bad;
  report.why = "an unpaired surrogate";
  return {};
}

// UTF-32LE bytes to units. Lenient: values above U+10FFFF become U+FFFD.
// Strict: surrogate values and values above U+10FFFF are refused (the
// strict converter skips the latter, so it is asked value by value for the
// offset).
std::vector<UTF16> DecodeUtf32(const std::string& in, bool strict, DecodeReport& report) {
  std::vector<UTF32> values(in.size() / 4);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = Unit32(in, 4 * i);
  const UTF32* begin = values.data();
  const UTF32* end = begin + values.size();
  ConversionFlags flags = strict ? strictConversion : lenientConversion;
  int measured = SizeNeededForUTF32To16(begin, end, flags);
  if (measured < 0) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const UTF32* src = begin + i;
      UTF16 pair[2];
      UTF16* dst = pair;
      if (ConvertUTF32toUTF16(&src, src + 1, &dst, pair + 2, strictConversion) != conversionOK) {
        report.failed = true;
        report.offset = 4 * i;
        report.why = values[i] > 0x10FFFF ? "a value above U+10FFFF" : "a surrogate value";
        return {};
      }
    }
  }
  std::vector<UTF16> units(measured > 0 ? static_cast<std::size_t>(measured) : 0);
  const UTF32* src = begin;
  UTF16* dst = units.data();
  ConvertUTF32toUTF16(&src, end, &dst, units.data() + units.size(), flags);
  return units;
}

// Units to output bytes (lenient: the decoding step has already applied
// the strict rules).
std::string Encode(const std::vector<UTF16>& units, Encoding to) {
  const UTF16* begin = units.data();
  const UTF16* end = begin + units.size();
  std::string out;
  switch (to) {
    case Encoding::kUtf8: {
      int n = SizeNeededForUTF8(begin, end, lenientConversion);
      out.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
      UTF8* dst = reinterpret_cast<UTF8*>(out.data());
      ConvertUTF16toUTF8(&begin, end, &dst, dst + out.size(), lenientConversion);
      break;
    }
    case Encoding::kUtf16Le:
    case Encoding::kUtf16Be: {
      bool big = to == Encoding::kUtf16Be;
      out.reserve(units.size() * 2);
      for (UTF16 u : units) {
        char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
        out += big ? hi : lo;
        out += big ? lo : hi;
      }
      break;
    }
    case Encoding::kUtf32Le: {
      std::vector<UTF32> values(units.size());  // never more values than units
      UTF32* dst = values.data();
      ConvertUTF16toUTF32(&begin, end, &dst, values.data() + values.size(), lenientConversion);
      values.resize(static_cast<std::size_t>(dst - values.data()));
      out.reserve(values.size() * 4);
      for (UTF32 v : values)
        for (int k = 0; k < 4; ++k) out += static_cast<char>((v >> (8 * k)) & 0xFF);
      break;
    }
  }
  return out;
}

// Converts `in`; false with a message in `error` when the input cannot be
// converted (strict problems, odd lengths).
bool Convert(const std::string& in, Encoding from, Encoding to, bool strict, bool bom,
             std::string& out, DecodeReport& report, std::string& error) {
  if ((from == Encoding::kUtf16Le || from == Encoding::kUtf16Be) && in.size() % 2 != 0) {
    error = "the " + std::string(NameOf(from)) + " input has an odd number of bytes (" +
            std::to_string(in.size()) + ")";
    return false;
  }
  if (from == Encoding::kUtf32Le && in.size() % 4 != 0) {
    error = "the utf32 input is not a whole number of 4-byte units (" + std::to_string(in.size()) +
            " bytes)";
    return false;
  }
  std::vector<UTF16> units;
  switch (from) {
    case Encoding::kUtf8:
      units = DecodeUtf8(in, strict, report);
      break;
    case Encoding::kUtf16Le:
    case Encoding::kUtf16Be:
      units = DecodeUtf16(in, from == Encoding::kUtf16Be, strict, report);
      break;
    case Encoding::kUtf32Le:
      units = DecodeUtf32(in, strict, report);
      break;
  }
  if (report.failed) {
    error = "ill-formed " + std::string(NameOf(from)) + " input at byte offset " +
            std::to_string(report.offset) + ": " + report.why;
    return false;
  }
  if (bom && (units.empty() || units.front() != 0xFEFF)) units.insert(units.begin(), 0xFEFF);
  out = Encode(units, to);
  return true;
}

void NoteReplaced(const DecodeReport& report, std::FILE* err) {
  if (report.replaced == 0) return;
  std::fprintf(
      err, "tavrin utf: replaced %zu ill-formed byte%s with U+FFFD (first at byte offset %zu)\n",
      report.replaced, report.replaced == 1 ? "" : "s", report.offset);
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {"--strict", "--bom"}, {"--from", "--to", "-o", "--output"}, parsed, error))
    return UsageError("utf", error);
  auto from_name = parsed.Value("--from");
  auto to_name = parsed.Value("--to");
  if (!from_name || !to_name) return UsageError("utf", "both --from and --to are required");
  Encoding from, to;
  if (!ParseEncoding(*from_name, from)) return UsageError("utf", "unknown encoding " + *from_name);
  if (!ParseEncoding(*to_name, to)) return UsageError("utf", "unknown encoding " + *to_name);
  if (parsed.positional.size() > 1) return UsageError("utf", "expected at most one FILE");
  std::string path = parsed.positional.empty() ? "-" : parsed.positional[0];
  std::string output;
  if (auto o = parsed.Value("-o")) output = *o;
  if (auto o = parsed.Value("--output")) output = *o;

  std::string in;
  if (!ReadAll(path, in)) return kExitProblem;
  std::string out;
  DecodeReport report;
  if (!Convert(in, from, to, parsed.Has("--strict"), parsed.Has("--bom"), out, report, error)) {
    std::fprintf(stderr, "tavrin utf: %s\n", error.c_str());
    return kExitProblem;
  }
  NoteReplaced(report, stderr);
  if (output.empty() || output == "-") {
    WriteOut(out);
    return std::fflush(stdout) == 0 ? kExitOk : kExitProblem;
  }
  std::FILE* f = std::fopen(output.c_str(), "wb");
  bool ok = f && std::fwrite(out.data(), 1, out.size(), f) == out.size();
  if (f && std::fclose(f) != 0) ok = false;
  if (!ok) {
    std::fprintf(stderr, "tavrin utf: cannot write %s: %s\n", output.c_str(), std::strerror(errno));
    return kExitProblem;
  }
  return kExitOk;
}

std::string Hex(const std::string& bytes, std::size_t limit) {
  std::string s;
  char buf[4];
  for (std::size_t i = 0; i < bytes.size() && i < limit; ++i) {
    std::snprintf(buf, sizeof buf, "%02X", static_cast<unsigned char>(bytes[i]));
    if (!s.empty()) s += ' ';
    s += buf;
  }
  if (bytes.size() > limit) s += " ...";
  return s;
}

void Demo(const DemoContext& ctx) {
  std::string sample;
  std::string path = ctx.Example("utf8-sample.txt");
  if (!ReadAll(path, sample)) return;
  std::string utf16, back, error;
  DecodeReport report;
  Convert(sample, Encoding::kUtf8, Encoding::kUtf16Le, true, false, utf16, report, error);
  Convert(utf16, Encoding::kUtf16Le, Encoding::kUtf8, true, false, back, report, error);
  std::fprintf(ctx.out,
               "$ tavrin utf --from utf8 --to utf16le utf8-sample.txt | tavrin utf --from utf16le "
               "--to utf8\n");
  std::fprintf(ctx.out, "%zu bytes of UTF-8 -> %zu bytes of UTF-16LE -> %zu bytes of UTF-8 (%s)\n",
               sample.size(), utf16.size(), back.size(),
               back == sample ? "identical" : "DIFFERENT");
  std::size_t first_line = sample.find('\n');
  std::string line = sample.substr(0, first_line);
  std::string line16;
  Convert(line, Encoding::kUtf8, Encoding::kUtf16Le, false, false, line16, report, error);
  std::fprintf(ctx.out, "first line: %s\n  UTF-16LE: %s\n", line.c_str(), Hex(line16, 24).c_str());
  std::string bad;
  if (!ReadAll(ctx.Example("bad-utf8.txt"), bad)) return;
  std::string out;
  DecodeReport strict_report;
  std::fprintf(ctx.out, "$ tavrin utf --strict --from utf8 --to utf16le bad-utf8.txt\n");
  if (!Convert(bad, Encoding::kUtf8, Encoding::kUtf16Le, true, false, out, strict_report, error))
    std::fprintf(ctx.out, "tavrin utf: %s   (exit 1)\n", error.c_str());
  DecodeReport lenient_report;
  Convert(bad, Encoding::kUtf8, Encoding::kUtf8, false, false, out, lenient_report, error);
  std::fprintf(ctx.out, "$ tavrin utf --from utf8 --to utf8 bad-utf8.txt   (lenient)\n");
  NoteReplaced(lenient_report, ctx.out);
  std::size_t end = out.find('\n');
  std::fprintf(ctx.out, "%s\n", out.substr(0, end).c_str());
}

TAVRIN_COMMAND({"utf", "convert text between UTF-8, UTF-16LE/BE and UTF-32", kUsage, Run, 10,
                Demo});

}  // namespace
}  // namespace tavrin::cli
