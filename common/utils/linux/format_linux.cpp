// format_linux.cpp - the Linux platform formatter: the library's own engine
// writes every number (integers here, floating point through std::to_chars
// and the C library).
#include <cstdarg>

#include "common/utils/internal/format_engine.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

bool FormatUtf16V(const unsigned short* format, unsigned long length, va_list args,
                  tavrin_ustring& out) {
  return utils::detail::FormatUtf16WithNumbers(format, length, args, out, nullptr);
}

}  // namespace tavrin::platform
