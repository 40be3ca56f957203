// color_fuzz.cpp - fuzz target for colour text and the Colorize bitmap walk.
//
// The input is read two ways: as UTF-8 colour text for SetFromName and
// SetFromHtmlHex (a failed parse must leave the colour unchanged), and, from
// its first four bytes, as the shape of a pixel buffer (width, height, depth,
// row stride) whose bytes are the rest of the input. The buffer is allocated
// at exactly the size its rows take, so a sanitizer build reports any byte
// the walk touches beyond it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/utils/color.h"
#include "common/utils/colorize.h"
#include "common/utils/ustring.h"

namespace {

constexpr std::size_t kMaxInput = 1 << 16;

void FuzzText(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const tavrin::utils::tavrin_ustring text(bytes);
  const CColor before(1, 2, 3, 4);
  CColor c = before;
  if (!c.SetFromHtmlHex(text.c_str()) && c != before) std::abort();
  if (c != before && c.m_alpha != 255) std::abort();
  CColor d = before;
  if (!d.SetFromName(text.c_str()) && d != before) std::abort();
  if (d.GetName() == nullptr) std::abort();
}

void FuzzBitmap(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return;
  const int width = data[0] % 12 - 1;
  const int height = data[1] % 6 - 1;
  const int depth = (data[2] & 1) ? 32 : 24;
  const int row_bytes = data[3] % 64 - 2;
  if (width < 1 || height < 1 || row_bytes < 0) {
    std::uint8_t dummy[4] = {};
    if (!Colorize::ColorizeBitmap(dummy, width, height, depth, row_bytes, 0, 0, 0, false) &&
        row_bytes >= 0)
      std::abort();
    return;
  }
  const std::size_t step = row_bytes != 0 ? static_cast<std::size_t>(row_bytes)
                                          : static_cast<std::size_t>(depth) * width / 8;
  std::vector<std::uint8_t> buffer(step * static_cast<std::size_t>(height));
  const std::size_t rest = size - 4;
  for (std::size_t i = 0; i < buffer.size(); ++i)
    buffer[i] = rest != 0 ? data[4 + i % rest] : static_cast<std::uint8_t>(i);
  const double hue = (data[2] >> 1) * 3.0 - 200.0;
  if (!Colorize::ColorizeBitmap(buffer.data(), width, height, depth, row_bytes, hue, 0.1, -0.2,
                                (data[2] & 2) != 0))
    std::abort();
  CColor match(buffer[0], buffer[0], buffer[0], 0), on = CColor::White, off = CColor::Black;
  if (!Colorize::ReassignColors(buffer.data(), width, height, depth, row_bytes, match, on, off))
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInput) return 0;
  FuzzText(data, size);
  FuzzBitmap(data, size);
  return 0;
}
