// textfile.h - CTextFile, a line reader for text files that detects the
// encoding from the byte-order mark.
//
// Encodings: UTF-8 with the mark EF BB BF, UTF-16 little-endian (FF FE) and
// big-endian (FE FF) with their marks; anything else is read as 8-bit text
// (UTF-16 without a mark included). Unit-wide edge rules, kept on purpose:
// - A file shorter than two bytes, or starting with FF FF, cannot be opened.
// - Lines keep their "\n"; a line longer than 4095 bytes (8-bit, UTF-8) or
//   4095 units (UTF-16) comes back in pieces. A UTF-8 piece never ends inside
//   a character: the cut moves back to the character's start.
// - 8-bit lines are read as UTF-8 by the string's 8-bit assignment: a line
//   that is not valid UTF-8 (Latin-1 text) comes back empty.
// - In UTF-16 files U+2028 reads as "\n" and ends the line, a unit U+FFFF
//   ends the line (and is dropped), and an odd last byte is ignored.
// - After the last line, 8-bit and UTF-8 reads leave the line unchanged while
//   UTF-16 reads set it to "".
// The class only reads; WriteStringToFile (fileutils.h) writes UTF-8 text.
#pragma once

#include <cstdio>
#include <ctime>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

class TAVRIN_EXPORT CTextFile {
 public:
  // Encoding values of GetEncoding().
  static constexpr int kEncoding8Bit = 0;
  static constexpr int kEncodingUTF8 = 1;
  static constexpr int kEncodingUTF16 = 2;

  CTextFile();
  virtual ~CTextFile();
  CTextFile(const CTextFile&) = delete;
  CTextFile& operator=(const CTextFile&) = delete;

  // Open()
  //
  // Opens `path` and reads its byte-order mark; the stream is left just after
  // the mark (or at the start for 8-bit text). An open file is closed first.
  // False when the file cannot be opened, is shorter than two bytes or starts
  // with FF FF.
  bool Open(const tavrin::utils::tavrin_ustring& path);

  // Close()
  //
  // Closes the stream and returns to the state of a new object. Closing a
  // closed object does nothing.
  void Close();

  // GetLine()
  //
  // The next line with the reader of the detected encoding. False at end of
  // file, on a closed object or for a null `line` (left untouched then).
  bool GetLine(tavrin::utils::tavrin_ustring* line);

  // GetLineASCII(), GetLineUTF8(), GetLineUTF16()
  //
  // The three readers; each returns false at end of file, on a closed object
  // or for a null `line`.
  bool GetLineASCII(tavrin::utils::tavrin_ustring* line);
  bool GetLineUTF8(tavrin::utils::tavrin_ustring* line);
  bool GetLineUTF16(tavrin::utils::tavrin_ustring* line);

  // GetPosition()
  //
  // The stream offset in bytes; 0 when closed.
  long GetPosition() const;

  // SetPosition()
  //
  // Seeks to `offset` bytes from the start; false when closed or when the
  // seek fails.
  bool SetPosition(long offset);

  // ResetToStart()
  //
  // Seeks to the first byte after the mark (3 for UTF-8, 2 for UTF-16, 0
  // without a mark); false when closed.
  bool ResetToStart();

  // GetCreationTime(), GetModificationTime()
  //
  // Seconds since 1970 from the open stream: the status-change time
  // (deliberately not a birth time) and the modification time. 0 when closed.
  time_t GetCreationTime() const;
  time_t GetModificationTime() const;

  // Additions: what Open detected. GetEncoding() is kEncoding8Bit,
  // kEncodingUTF8 or kEncodingUTF16; all three are zero when closed.
  int GetEncoding() const { return encoding_; }
  bool HasByteOrderMark() const { return hasByteOrderMark_; }
  bool IsBigEndian() const { return bigEndian_; }

 private:
  std::FILE* stream_ = nullptr;
  int encoding_ = kEncoding8Bit;
  bool hasByteOrderMark_ = false;
  bool bigEndian_ = false;
};
