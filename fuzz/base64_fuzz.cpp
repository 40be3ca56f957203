// base64_fuzz.cpp - base64_decode on arbitrary text, and round trips of
// arbitrary bytes. Aborts when a decoded length disagrees with the length of
// the leading alphabet run, when a round trip changes the bytes, or when a
// vector kernel gives a result other than the scalar steps'.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/utils/base64.h"
#include "common/utils/internal/base64_internal.h"

namespace {

bool InAlphabet(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
         c == '/';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
#if defined(TAVRIN_FUZZING)
  if (size > (1u << 20)) return 0;
#endif
  using tavrin::utils::base64_decode;
  using tavrin::utils::base64_encode;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string decoded = base64_decode(text);
  std::size_t run = 0;
  while (run < size && InAlphabet(data[run])) ++run;
  static const std::size_t kTail[4] = {0, 0, 1, 2};
  if (decoded.size() != run / 4 * 3 + kTail[run % 4]) std::abort();
  // Whole groups re-encode to the same text.
  const std::size_t whole = run / 4 * 4;
  const std::string again = base64_encode(reinterpret_cast<const unsigned char*>(decoded.data()),
                                          static_cast<unsigned int>(whole / 4 * 3));
  if (again != text.substr(0, whole)) std::abort();
  // Any bytes survive a round trip.
  const std::string encoded = base64_encode(data, static_cast<unsigned int>(size));
  if (encoded.size() != (size + 2) / 3 * 4) std::abort();
  if (base64_decode(encoded) != text) std::abort();
  // Every kernel the processor has agrees with the scalar steps.
  using tavrin::utils::detail::Base64Kernel;
  using tavrin::utils::detail::SetBase64Kernel;
  if (!SetBase64Kernel(Base64Kernel::kScalar)) std::abort();
  const std::string scalarDecoded = base64_decode(text);
  const std::string scalarEncoded = base64_encode(data, static_cast<unsigned int>(size));
  for (Base64Kernel k : {Base64Kernel::kAvx2, Base64Kernel::kAvx512}) {
    if (!SetBase64Kernel(k)) continue;
    if (base64_decode(text) != scalarDecoded) std::abort();
    if (base64_encode(data, static_cast<unsigned int>(size)) != scalarEncoded) std::abort();
  }
  (void)SetBase64Kernel(tavrin::utils::detail::BestBase64Kernel());
  return 0;
}
