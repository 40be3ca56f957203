// guid_fuzz.cpp - every Guid parser on arbitrary bytes: no crash, no read
// past the text, a failed parse leaves the target alone, and whatever parses
// writes back to texts that parse to the same identifier.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/utils/guid.h"
#include "common/utils/ustring.h"

using tavrin::utils::Guid;

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

void CheckWriters(const Guid& g) {
  Guid back;
  Check(Guid::FromCanonicalString(g.ToStdString(), back) && back == g);
  Check(Guid::FromBase64String(g.ToBase64String(), back) && back == g);
  Check(Guid::FromBase85String(g.ToBase85String(), back) && back == g);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  // Exactly sized copies: a read past the end shows up under AddressSanitizer.
  const std::string bytes(size != 0 ? reinterpret_cast<const char*>(data) : "", size);
  char* terminated = static_cast<char*>(std::malloc(size + 1));
  if (terminated == nullptr) return 0;
  if (size != 0) std::memcpy(terminated, data, size);
  terminated[size] = '\0';

  Guid sentinel;
  sentinel.Data1 = 0xDEADBEEF;
  Guid a = sentinel, b = sentinel;
  const bool any = Guid::FromString(bytes, a);
  Check(any == Guid::FromString(terminated, b) || std::strlen(terminated) != size);
  if (any)
    CheckWriters(a);
  else
    Check(a == sentinel);

  Guid c = sentinel;
  if (Guid::FromCanonicalString(terminated, c))
    CheckWriters(c);
  else
    Check(c == sentinel);
  Guid d = sentinel;
  if (Guid::FromBase64String(bytes, d))
    CheckWriters(d);
  else
    Check(d == sentinel);
  Guid e = sentinel;
  if (Guid::FromBase85String(bytes, e))
    CheckWriters(e);
  else
    Check(e == sentinel);

  // The converting overloads take the same text through UTF-16.
  const tavrin::utils::tavrin_ustring text(bytes);
  Guid f = sentinel;
  if (Guid::FromString(text, f))
    CheckWriters(f);
  else
    Check(f == sentinel);

  std::free(terminated);
  return 0;
}
