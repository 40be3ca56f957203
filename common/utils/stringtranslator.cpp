// stringtranslator.cpp - the string table parser, StringTranslator and the
// Localization lookups.
#include "common/utils/stringtranslator.h"

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

// The text between two quotes with the four escapes replaced, in order.
tavrin_ustring Unescape(const tavrin_ustring& line, tavrin_ustring::size_type open,
                        tavrin_ustring::size_type close) {
  tavrin_ustring text = line.substr(open + 1, close - open - 1);
  if (text.find(kBackslash) == tavrin_ustring::npos) return text;
  static const tavrin_ustring kEscapes[4][2] = {
      {tavrin_ustring("\\r"), tavrin_ustring("\r")},
      {tavrin_ustring("\\n"), tavrin_ustring("\n")},
      {tavrin_ustring("\\t"), tavrin_ustring("\t")},
      {tavrin_ustring("\\\""), tavrin_ustring("\"")},
  };
  for (const auto& escape : kEscapes) text.replace_all(escape[0], escape[1]);
  return text;
}

// The positions of the four quotes of an entry line; false when one of the
// last three is missing.
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
    translator.m_strings.emplace(Unescape(line, quotes[0], quotes[1]),
                                 Unescape(line, quotes[2], quotes[3]));
    report.Dismiss();
  }
}

std::size_t StringTableAccess::Size(const StringTranslator& translator) {
  return translator.m_strings.size();
}

std::vector<tavrin_ustring> StringTableAccess::Keys(const StringTranslator& translator) {
  std::vector<tavrin_ustring> keys;
  keys.reserve(translator.m_strings.size());
  for (const auto& entry : translator.m_strings) keys.push_back(entry.first);
  return keys;
}

}  // namespace tavrin::utils::detail

using tavrin::utils::tavrin_ustring;

bool StringTranslator::KeyLess::operator()(const tavrin_ustring& a, const tavrin_ustring& b) const {
  // tavrin_ustring::compare's order, without its calls: unit by unit over the
  // shorter length, stopping at a zero unit as its ustrncmp does; then the
  // shorter string first.
  const tavrin_ustring::size_type n = a.size() < b.size() ? a.size() : b.size();
  const unsigned short* p = a.data();
  const unsigned short* q = b.data();
  for (tavrin_ustring::size_type i = 0; i < n; ++i) {
    if (p[i] != q[i]) return p[i] < q[i];
    if (p[i] == 0) break;
  }
  return a.size() < b.size();
}

StringTranslator::~StringTranslator() = default;

bool StringTranslator::LoadStringTable(const tavrin_ustring& path,
                                       std::vector<StringTableParseError>* errors) {
  CTextFile file;
  if (!file.Open(path)) return false;
  tavrin::utils::detail::StringTableAccess::ReadLines(
      *this, [&file](tavrin_ustring* line) { return file.GetLine(line); }, errors);
  return true;
}

bool StringTranslator::LookupString(const tavrin_ustring& key, tavrin_ustring* out) const {
  if (out == nullptr) return false;
  if (!key.empty() && !m_strings.empty()) {
    const auto it = m_strings.find(key);
    if (it != m_strings.end()) {
      *out = it->second;
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
