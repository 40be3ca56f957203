// osutils_fuzz.cpp - the text rules of the operating-system queries on
// arbitrary bytes: TextToDouble (first byte picks the decimal separator, the
// rest is UTF-16 text read as exact units), the version, language-code and
// URL-escaping rules. No crash, no read past the text, and the documented
// results: a false TextToDouble leaves 0, escaped text holds only allowed
// bytes, versions are never negative.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/utils/internal/osutils_internal.h"
#include "common/utils/osutils.h"

namespace osutils = tavrin::osutils;

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

const char* const kSeparators[] = {".", ",", "\xD9\xAB", "\xC2\xB7\xC2\xB7", ""};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > 4096) return 0;
  static std::string separator;
  static const bool installed = [] {
    osutils::SystemQueries q;
    q.decimalSeparator = [] { return separator; };
    osutils::SetSystemQueries(q);
    return true;
  }();
  (void)installed;
  separator = kSeparators[data[0] % (sizeof kSeparators / sizeof kSeparators[0])];

  // The rest as UTF-16 units, terminated.
  std::vector<unsigned short> units((size - 1) / 2 + 1, 0);
  for (std::size_t i = 0; i + 1 < units.size(); ++i)
    units[i] = static_cast<unsigned short>(data[1 + 2 * i] | (data[2 + 2 * i] << 8));
  double value = 1;
  if (!osutils::TextToDouble(units.data(), value)) Check(value == 0);
  Check(!std::isnan(value));

  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const osutils::OsVersion version = osutils::internal::ParseVersionText(text);
  Check(version.IsValid());
  const std::string code = osutils::internal::LanguageCodeForLocaleName(text);
  Check(code.size() <= 5);
  const std::string escaped = osutils::internal::EscapeUrlText(text);
  Check(escaped.size() >= text.size() && escaped.size() <= 3 * text.size());
  for (char c : escaped) Check(c > 0x20 && c < 0x7F && c != '"' && c != '<' && c != '>');
  return 0;
}
