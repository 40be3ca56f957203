// cmd_base64.cpp - `tavrin base64`: Base64 encoding and decoding of files.
#include <cstdio>
#include <string>

#include "common/utils/base64.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

const char kUsage[] =
    "usage: tavrin base64 encode [FILE]\n"
    "       tavrin base64 decode [FILE]\n\n"
    "Encodes the bytes of FILE as Base64 text (standard alphabet, \"=\" padding, one\n"
    "line), or decodes Base64 text back to bytes. FILE \"-\" or no FILE reads standard\n"
    "input; the result goes to standard output.\n\n"
    "When decoding, white space and line breaks are skipped, so wrapped text decodes\n"
    "as one. Decoding stops at the first \"=\" or at any other character outside the\n"
    "alphabet; what was decoded up to there is written, and a character other than\n"
    "final padding makes the exit status 1.\n\n"
    "Exit status: 0 ok, 1 unreadable input or text that is not Base64, 2 usage error.\n";

// Encodes in slices of whole 3-byte groups, so inputs of any size work with
// the 32-bit length of base64_encode and the pieces join without padding.
std::string EncodeAll(const std::string& bytes) {
  constexpr std::size_t kSlice = 3u << 20;
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t pos = 0; pos < bytes.size(); pos += kSlice) {
    const std::size_t n = bytes.size() - pos < kSlice ? bytes.size() - pos : kSlice;
    out += tavrin::utils::base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()) + pos,
                                        static_cast<unsigned int>(n));
  }
  return out;
}

bool IsAsciiSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool InAlphabet(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
         c == '/';
}

// Decodes `text` with white space removed. Returns false with a message on
// standard error when the text stops being Base64 before its end (anything
// but up to two "=" of padding after the alphabet run), or when the final
// group holds a single character, which carries no whole byte.
bool DecodeAll(const std::string& text, std::string& bytes) {
  std::string compact;
  compact.reserve(text.size());
  for (char c : text)
    if (!IsAsciiSpace(c)) compact += c;
  bytes = tavrin::utils::base64_decode(compact);
  std::size_t run = 0;
  while (run < compact.size() && InAlphabet(compact[run])) ++run;
  std::size_t pad = run;
  while (pad < compact.size() && pad - run < 2 && compact[pad] == '=') ++pad;
  if (pad < compact.size()) {
    const unsigned char c = static_cast<unsigned char>(compact[pad]);
    std::fprintf(stderr, "tavrin base64: not Base64 from character %zu on (byte 0x%02X)\n", pad + 1,
                 c);
    return false;
  }
  if (run % 4 == 1) {
    std::fprintf(stderr, "tavrin base64: the last group has a single character\n");
    return false;
  }
  return true;
}

int Run(const Args& args) {
  if (args.empty()) return UsageError("base64", "say encode or decode");
  const std::string& mode = args[0];
  if (mode != "encode" && mode != "decode")
    return UsageError("base64", "unknown mode '" + mode + "' (encode or decode)");
  if (args.size() > 2) return UsageError("base64", "unexpected argument " + args[2]);
  const std::string path = args.size() == 2 ? args[1] : "-";
  std::string input;
  if (!ReadAll(path, input)) return kExitProblem;
  if (mode == "encode") {
    WriteOut(EncodeAll(input) + "\n");
    return kExitOk;
  }
  std::string bytes;
  const bool clean = DecodeAll(input, bytes);
  WriteOut(bytes);
  return clean ? kExitOk : kExitProblem;
}

void Demo(const DemoContext& ctx) {
  std::FILE* out = ctx.out;
  const std::string path = ctx.Example("greeting.txt");
  std::string text;
  if (!ReadAll(path, text)) {
    std::fprintf(out, "(sample greeting.txt is missing)\n");
    return;
  }
  const std::string first_line = text.substr(0, text.find('\n'));
  std::fprintf(out, "greeting.txt, %zu bytes, first line:\n  %s\n", text.size(),
               first_line.c_str());
  const std::string encoded = EncodeAll(text);
  std::fprintf(out, "encoded: %zu characters\n", encoded.size());
  for (std::size_t pos = 0; pos < encoded.size() && pos < 3 * 64; pos += 64)
    std::fprintf(out, "  %s\n", encoded.substr(pos, 64).c_str());
  if (encoded.size() > 3 * 64) std::fprintf(out, "  ...\n");
  const std::string decoded = tavrin::utils::base64_decode(encoded);
  std::fprintf(out, "decoded: %zu bytes, %s the file\n", decoded.size(),
               decoded == text ? "identical to" : "DIFFERENT from");
  const char* samples[] = {"TWFu", "TWE=", "TQ==", "TW\nFu"};
  std::fprintf(out, "decoding stops at \"=\" or any byte outside the alphabet:\n");
  for (const char* s : samples) {
    std::string shown;
    for (const char* p = s; *p; ++p) shown += *p == '\n' ? std::string("\\n") : std::string(1, *p);
    std::fprintf(out, "  \"%s\" -> \"%s\"\n", shown.c_str(),
                 tavrin::utils::base64_decode(s).c_str());
  }
}

}  // namespace

TAVRIN_COMMAND({"base64", "encode or decode Base64 (files or standard input)", kUsage, Run, 12,
                Demo});

}  // namespace tavrin::cli
