// stringtranslator.cpp - the string table parser, StringTranslator and the
// Localization lookups.
#include "common/utils/stringtranslator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "common/utils/fileutils.h"
#include "common/utils/internal/stringtable_internal.h"
#include "common/utils/platform.h"
#include "common/utils/textfile.h"

namespace tavrin::utils::detail {
namespace {

constexpr unsigned short kQuote = '"';
constexpr unsigned short kBackslash = '\\';

// Runs `action` when the scope ends unless Dismiss() was called first, so
// every exit path of a rejected line reports exactly once.
template <typename Action>
class ScopeGuard {
 public:
  explicit ScopeGuard(Action action) : action_(std::move(action)) {}
  ~ScopeGuard() {
    if (!active_) return;
    try {
      action_();
    } catch (...) {
      // Out of memory while recording an error: the record is lost, the
      // load goes on.
    }
  }
  ScopeGuard(const ScopeGuard&) = delete;
  ScopeGuard& operator=(const ScopeGuard&) = delete;
  void Dismiss() { active_ = false; }

 private:
  Action action_;
  bool active_ = true;
};

// The first double quote after `open` that is not directly preceded by a
// backslash, or npos.
tavrin_ustring::size_type ClosingQuote(const tavrin_ustring& line, tavrin_ustring::size_type open) {
  for (tavrin_ustring::size_type i = open + 1; i < line.size(); ++i)
    if (line[i] == kQuote && line[i - 1] != kBackslash) return i;
  return tavrin_ustring::npos;
}

// Writes units [p, p + n) of a quoted string to `out` with the four escapes
// replaced and returns how many units it wrote (at most n). One pass gives
// what replacing each escape everywhere, one after the other, gives: every
// escape is a backslash and the unit after it, no escape's second unit and no
// replacement is a backslash, so the escapes of a text never overlap and
// replacing one never makes another.
std::size_t CopyUnescaped(const unsigned short* p, std::size_t n, unsigned short* out) {
  std::size_t written = 0;
  for (std::size_t i = 0; i < n; ++i) {
    unsigned short unit = p[i];
    if (unit == kBackslash && i + 1 < n) {
      switch (p[i + 1]) {
        case 'r':
          unit = '\r';
          ++i;
          break;
        case 'n':
          unit = '\n';
          ++i;
          break;
        case 't':
          unit = '\t';
          ++i;
          break;
        case kQuote:
          unit = kQuote;
          ++i;
          break;
        default:
          break;
      }
    }
    out[written++] = unit;
  }
  return written;
}

// The text between two quotes with the four escapes replaced.
tavrin_ustring Unescape(const tavrin_ustring& line, tavrin_ustring::size_type open,
                        tavrin_ustring::size_type close) {
  tavrin_ustring::string_type text(close - open - 1, 0);
  text.resize(CopyUnescaped(line.data() + open + 1, text.size(), text.data()));
  return tavrin_ustring(std::move(text));
}

// Appends the unescaped text between two quotes to `text`; returns its
// offset and length there.
std::pair<std::size_t, std::size_t> AppendUnescaped(const tavrin_ustring& line,
                                                    tavrin_ustring::size_type open,
                                                    tavrin_ustring::size_type close,
                                                    std::vector<unsigned short>& text) {
  const std::size_t offset = text.size();
  text.resize(offset + (close - open - 1));
  const std::size_t length =
      CopyUnescaped(line.data() + open + 1, close - open - 1, text.data() + offset);
  text.resize(offset + length);
  return {offset, length};
}

// The hash of a key under compare's equality: its length and its units up to
// the first zero unit. Four units at a time while no zero unit is among them.
std::size_t KeyHash(const unsigned short* p, std::size_t n) {
  constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15ull;
  constexpr std::uint64_t kOnes = 0x0001000100010001ull;
  constexpr std::uint64_t kHighs = 0x8000800080008000ull;
  std::uint64_t h = n * kMultiplier;
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    std::uint64_t word;
    std::memcpy(&word, p + i, sizeof word);
    if (((word - kOnes) & ~word & kHighs) != 0) break;  // a zero unit among the four
    h = (h ^ word) * kMultiplier;
    h ^= h >> 32;
  }
  for (; i < n && p[i] != 0; ++i) {
    h = (h ^ p[i]) * kMultiplier;
    h ^= h >> 32;
  }
  return static_cast<std::size_t>(h ^ (h >> 29));
}

// compare's equality: the same length, and the same units up to the end or
// up to a zero unit that both have at the same place.
bool KeysEqual(const unsigned short* a, std::size_t an, const unsigned short* b, std::size_t bn) {
  if (an != bn) return false;
  if (an == 0) return true;  // an empty key may come with a null pointer; memcmp must not see it
  if (std::memcmp(a, b, an * sizeof(unsigned short)) == 0) return true;
  for (std::size_t i = 0; i < an; ++i) {
    if (a[i] != b[i]) return false;
    if (a[i] == 0) return true;
  }
  return true;
}

// compare's order: unit by unit over the shorter length, stopping at a zero
// unit, then the shorter string first.
bool KeyLess(const tavrin_ustring& a, const tavrin_ustring& b) {
  const tavrin_ustring::size_type n = a.size() < b.size() ? a.size() : b.size();
  const unsigned short* p = a.data();
  const unsigned short* q = b.data();
  for (tavrin_ustring::size_type i = 0; i < n; ++i) {
    if (p[i] != q[i]) return p[i] < q[i];
    if (p[i] == 0) break;
  }
  return a.size() < b.size();
}

bool FindQuotes(const tavrin_ustring& line, tavrin_ustring::size_type quotes[4]) {
  quotes[0] = 0;
  quotes[1] = ClosingQuote(line, 0);
  if (quotes[1] == tavrin_ustring::npos) return false;
  quotes[2] = line.find(kQuote, quotes[1] + 1);
  if (quotes[2] == tavrin_ustring::npos) return false;
  quotes[3] = ClosingQuote(line, quotes[2]);
  return quotes[3] != tavrin_ustring::npos;
}

bool IsQuotedLine(const tavrin_ustring& line) {
  return !line.empty() && line[0] == kQuote;
}

}  // namespace

StringTableLine ParseStringTableLine(const tavrin_ustring& line, tavrin_ustring* key,
                                     tavrin_ustring* translation) {
  if (!IsQuotedLine(line)) return StringTableLine::kIgnored;
  tavrin_ustring::size_type quotes[4];
  if (!FindQuotes(line, quotes)) return StringTableLine::kRejected;
  if (key != nullptr) *key = Unescape(line, quotes[0], quotes[1]);
  if (translation != nullptr) *translation = Unescape(line, quotes[2], quotes[3]);
  return StringTableLine::kEntry;
}

void StringTableAccess::ReadLines(StringTranslator& translator,
                                  const StringTableLineSource& next_line,
                                  std::vector<StringTableParseError>* errors) {
  tavrin_ustring line;
  int number = 0;
  while (next_line(&line)) {
    ++number;
    if (!IsQuotedLine(line)) continue;
    // From here on the line is an entry or an error: the guard records the
    // error unless the entry is taken.
    ScopeGuard report([&] {
      if (errors != nullptr) errors->push_back(StringTableParseError{line, number});
    });
    tavrin_ustring::size_type quotes[4];
    if (!FindQuotes(line, quotes)) continue;
    report.Dismiss();
    // The key goes to the end of the text block first; it stays there only
    // when it is new.
    const std::size_t text_size = translator.m_text.size();
    const auto key = AppendUnescaped(line, quotes[0], quotes[1], translator.m_text);
    const std::size_t hash = KeyHash(translator.m_text.data() + key.first, key.second);
    Reserve(translator, translator.m_entries.size() + 1);
    std::size_t slot = 0;
    if (Find(translator, translator.m_text.data() + key.first, key.second, hash, &slot) !=
        nullptr) {
      translator.m_text.resize(text_size);  // defined before: the first definition wins
      continue;
    }
    const auto value = AppendUnescaped(line, quotes[2], quotes[3], translator.m_text);
    translator.m_entries.push_back(
        StringTranslator::Entry{key.first, key.second, value.first, value.second, hash});
    translator.m_slots[slot] = StringTranslator::Slot{hash, translator.m_entries.size()};
  }
}

const StringTranslator::Entry* StringTableAccess::Find(const StringTranslator& translator,
                                                       const unsigned short* key,
                                                       std::size_t length, std::size_t hash,
                                                       std::size_t* free_slot) {
  const std::vector<StringTranslator::Slot>& slots = translator.m_slots;
  if (slots.empty()) return nullptr;
  const std::size_t mask = slots.size() - 1;
  std::size_t i = hash & mask;
  for (; slots[i].entry != 0; i = (i + 1) & mask) {
    if (slots[i].hash != hash) continue;
    const StringTranslator::Entry& entry = translator.m_entries[slots[i].entry - 1];
    if (KeysEqual(translator.m_text.data() + entry.key_offset, entry.key_length, key, length))
      return &entry;
  }
  if (free_slot != nullptr) *free_slot = i;
  return nullptr;
}

void StringTableAccess::Reserve(StringTranslator& translator, std::size_t entries) {
  using Slot = StringTranslator::Slot;
  std::vector<Slot>& slots = translator.m_slots;
  // At most half the slots in use, so probes stay short and always end.
  if (entries <= slots.size() / 2) return;
  std::size_t count = slots.empty() ? 64 : slots.size();
  while (entries > count / 2) count *= 2;
  std::vector<Slot> grown(count, Slot{0, 0});
  const std::size_t mask = count - 1;
  for (const Slot& slot : slots) {
    if (slot.entry == 0) continue;
    std::size_t i = slot.hash & mask;
    while (grown[i].entry != 0) i = (i + 1) & mask;
    grown[i] = slot;
  }
  slots.swap(grown);
}

std::size_t StringTableAccess::Size(const StringTranslator& translator) {
  return translator.m_entries.size();
}

std::vector<tavrin_ustring> StringTableAccess::Keys(const StringTranslator& translator) {
  std::vector<tavrin_ustring> keys;
  keys.reserve(translator.m_entries.size());
  for (const StringTranslator::Entry& entry : translator.m_entries)
    keys.push_back(Text(translator, entry.key_offset, entry.key_length));
  std::sort(keys.begin(), keys.end(), KeyLess);
  return keys;
}

tavrin_ustring StringTableAccess::Text(const StringTranslator& translator, std::size_t offset,
                                       std::size_t length) {
  const unsigned short* p = translator.m_text.data() + offset;
  return tavrin_ustring(tavrin_ustring::string_type(p, p + length));
}

}  // namespace tavrin::utils::detail

using tavrin::utils::tavrin_ustring;

StringTranslator::~StringTranslator() = default;

bool StringTranslator::LoadStringTable(const tavrin_ustring& path,
                                       std::vector<StringTableParseError>* errors) {
  CTextFile file;
  if (!file.Open(path)) return false;
  // Room for the whole file's text at once (a UTF-16 unit per byte at most),
  // so the text block is not copied while it grows; pages that are not
  // written are never touched. Very large files grow the block as they go.
  constexpr unsigned long long kMaxReserve = 256ull << 20;
  const unsigned long long size = tavrin::utils::FileSize(path);
  if (size > 0 && size <= kMaxReserve)
    m_text.reserve(m_text.size() + static_cast<std::size_t>(size));
  tavrin::utils::detail::StringTableAccess::ReadLines(
      *this, [&file](tavrin_ustring* line) { return file.GetLine(line); }, errors);
  return true;
}

bool StringTranslator::LookupString(const tavrin_ustring& key, tavrin_ustring* out) const {
  if (out == nullptr) return false;
  if (!key.empty() && !m_entries.empty()) {
    using tavrin::utils::detail::StringTableAccess;
    const Entry* entry = StringTableAccess::Find(
        *this, key.data(), key.size(), tavrin::utils::detail::KeyHash(key.data(), key.size()));
    if (entry != nullptr) {
      *out = StringTableAccess::Text(*this, entry->value_offset, entry->value_length);
      return true;
    }
  }
  *out = key;
  return false;
}

namespace tavrin::utils::Localization {
namespace {

// The process-wide choice made by Initialize: a string table file, or the
// platform's localisation with the kept bundle identifier and table name
// (empty when none was given).
struct State {
  StringTranslator string_translator;
  bool use_string_translator = false;
  tavrin_ustring bundle_identifier;
  tavrin_ustring bundle_table;
};

State& GetState() {
  static State state;
  return state;
}

}  // namespace

bool Initialize(const tavrin_ustring& bundleId, const tavrin_ustring& table) {
  State& state = GetState();
  if (!GetFileLocation(table).empty() && bundleId.empty()) {
    state.use_string_translator = true;
    return state.string_translator.LoadStringTable(table, nullptr);
  }
  if (!bundleId.empty()) state.bundle_identifier = bundleId;
  if (!table.empty()) state.bundle_table = table;
  return true;
}

tavrin_ustring LookupStringReturnUstring(const char* key) {
  if (key == nullptr || *key == '\0') return tavrin_ustring();
  const State& state = GetState();
  if (state.use_string_translator) {
    tavrin_ustring out;
    state.string_translator.LookupString(tavrin_ustring(key), &out);
    return out;
  }
  return tavrin_ustring(
      platform::LocalizedString(state.bundle_identifier.utf8(), state.bundle_table.utf8(), key));
}

tavrin_ustring LookupStringReturnUstring(const char* key, const char* fallback) {
  tavrin_ustring result = LookupStringReturnUstring(key);
  // Nothing translated: the fallback (a null one changes nothing).
  if (result == key) result = fallback;
  return result;
}

}  // namespace tavrin::utils::Localization
