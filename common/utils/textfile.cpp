// textfile.cpp - CTextFile, the byte-order-mark aware line reader.
#include "common/utils/textfile.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "common/utils/fileutils.h"
#include "common/utils/platform.h"

using tavrin::utils::tavrin_ustring;

namespace {

constexpr int kLineBufferSize = 4096;  // at most 4095 bytes or units per piece

// Bytes to give back at the end of a full piece that stops inside a UTF-8
// sequence: the trailing bytes of an incomplete sequence, 0 when the piece
// ends on a character boundary or the bytes are not a sequence start.
std::size_t IncompleteTail(const char* bytes, std::size_t length) {
  for (std::size_t back = 1; back <= 3 && back <= length; ++back) {
    auto b = static_cast<unsigned char>(bytes[length - back]);
    if ((b & 0xC0) == 0x80) continue;  // a continuation byte: look further back
    std::size_t need = b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : b >= 0xC0 ? 2 : 1;
    if (b >= 0xF8) return 0;  // not a lead byte
    return need > back ? back : 0;
  }
  return 0;
}

}  // namespace

CTextFile::CTextFile() = default;

CTextFile::~CTextFile() {
  Close();
}

bool CTextFile::Open(const tavrin_ustring& path) {
  Close();
  stream_ = tavrin::utils::OpenFile(path, tavrin_ustring("rb"));
  if (!stream_) return false;
  unsigned char mark[2];
  std::uint16_t value = 0xFFFF;
  if (std::fread(mark, 1, 2, stream_) == 2)
    value = static_cast<std::uint16_t>(mark[0] | mark[1] << 8);
  switch (value) {
    case 0xBBEF: {
      int third = std::fgetc(stream_);
      if (third == 0xBF) {
        encoding_ = kEncodingUTF8;
        hasByteOrderMark_ = true;
        return true;
      }
      break;  // EF BB without BF: 8-bit text from the start
    }
    case 0xFEFF:
      encoding_ = kEncodingUTF16;
      hasByteOrderMark_ = true;
      bigEndian_ = false;
      return true;
    case 0xFFFE:
      encoding_ = kEncodingUTF16;
      hasByteOrderMark_ = true;
      bigEndian_ = true;
      return true;
    case 0xFFFF:
      Close();
      return false;
    default:
      break;
  }
  // Reopened as 8-bit text, read from its first byte.
  std::fclose(stream_);
  stream_ = tavrin::utils::OpenFile(path, tavrin_ustring("rt"));
  return stream_ != nullptr;
}

void CTextFile::Close() {
  if (stream_) std::fclose(stream_);
  stream_ = nullptr;
  encoding_ = kEncoding8Bit;
  hasByteOrderMark_ = false;
  bigEndian_ = false;
}

bool CTextFile::GetLine(tavrin_ustring* line) {
  switch (encoding_) {
    case kEncodingUTF16:
      return GetLineUTF16(line);
    case kEncodingUTF8:
      return GetLineUTF8(line);
    case kEncoding8Bit:
      return GetLineASCII(line);
    default:
      return false;
  }
}

// Reads one piece of at most 4095 bytes with fgets; a full piece without
// "\n" that ends inside a UTF-8 sequence gives those bytes back to the stream.
// False at end of file.
static bool ReadPiece(std::FILE* stream, char (&buffer)[kLineBufferSize], std::size_t& length) {
  if (!std::fgets(buffer, kLineBufferSize, stream)) return false;
  length = std::strlen(buffer);
  if (length == kLineBufferSize - 1 && buffer[length - 1] != '\n') {
    std::size_t tail = IncompleteTail(buffer, length);
    if (tail > 0 && tail < length && std::fseek(stream, -static_cast<long>(tail), SEEK_CUR) == 0) {
      length -= tail;
      buffer[length] = '\0';
    }
  }
  return true;
}

bool CTextFile::GetLineASCII(tavrin_ustring* line) {
  if (!stream_ || !line) return false;
  char buffer[kLineBufferSize];
  std::size_t length = 0;
  if (!ReadPiece(stream_, buffer, length)) return false;
  *line = static_cast<const char*>(buffer);  // the string's 8-bit assignment (UTF-8)
  return true;
}

bool CTextFile::GetLineUTF8(tavrin_ustring* line) {
  if (!stream_ || !line) return false;
  char buffer[kLineBufferSize];
  std::size_t length = 0;
  if (!ReadPiece(stream_, buffer, length)) return false;
  line->assign_utf8(buffer, length);
  return true;
}

bool CTextFile::GetLineUTF16(tavrin_ustring* line) {
  if (!stream_ || !line) return false;
  tavrin_ustring::string_type& units = line->str();
  units.clear();
  // Byte by byte from the stream's buffer: getc is a macro-speed read where
  // fread of two bytes goes through the whole read path each time.
  while (units.size() < kLineBufferSize - 1) {
    const int low = std::getc(stream_);
    if (low == EOF) break;
    const int high = std::getc(stream_);
    if (high == EOF) break;  // an odd last byte is dropped
    unsigned short unit = static_cast<unsigned short>(low | high << 8);
    if (unit == 0xFFFF) break;  // U+FFFF ends the line, as the end of file does
    if (bigEndian_) unit = static_cast<unsigned short>((unit >> 8) | (unit << 8));
    if (unit == 0x2028) unit = '\n';
    units.push_back(unit);
    if (unit == '\n') break;
  }
  return !units.empty();
}

long CTextFile::GetPosition() const {
  return stream_ ? std::ftell(stream_) : 0;
}

bool CTextFile::SetPosition(long offset) {
  return stream_ && std::fseek(stream_, offset, SEEK_SET) == 0;
}

bool CTextFile::ResetToStart() {
  if (!stream_) return false;
  long start = 0;
  if (hasByteOrderMark_) start = encoding_ == kEncodingUTF8 ? 3 : 2;
  return std::fseek(stream_, start, SEEK_SET) == 0;
}

time_t CTextFile::GetCreationTime() const {
  std::int64_t status_change = 0;
  if (!tavrin::platform::GetStreamTimes(stream_, &status_change, nullptr)) return 0;
  return static_cast<time_t>(status_change);
}

time_t CTextFile::GetModificationTime() const {
  std::int64_t modification = 0;
  if (!tavrin::platform::GetStreamTimes(stream_, nullptr, &modification)) return 0;
  return static_cast<time_t>(modification);
}
