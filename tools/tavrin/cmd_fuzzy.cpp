// cmd_fuzzy.cpp - `tavrin fuzzy`: ranks the lines of a file against a typed
// pattern with the library's fuzzy matcher.
//
// Built for large inputs: the file is read in one go into one buffer, lines
// are terminated in place (no copy per line), the buffer is split at line
// boundaries into one slice per core and each slice is scored on its own
// thread, and the output is assembled in one buffer and written once. Ties are
// broken by line number, so the output does not depend on the threads.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "common/utils/convertutf.h"
#include "common/utils/fuzzymatch.h"
#include "common/utils/internal/fuzzymatch_internal.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

const char kUsage[] =
    "usage: tavrin fuzzy PATTERN [FILE] [--scores] [--limit N]\n\n"
    "Ranks the lines of FILE (standard input when FILE is \"-\" or missing) against\n"
    "PATTERN, as a picker ranks names while the user types: the letters of PATTERN\n"
    "must appear in the line in order (any case); consecutive letters, letters at\n"
    "the start, after \"_\" or a space, and camel-case capitals score higher. Matching\n"
    "lines are printed best first; lines with equal scores keep their file order.\n"
    "A line is one \"\\n\"-terminated piece of the file; a \"\\r\" before the \"\\n\" is\n"
    "not part of it. Lines that are not valid UTF-8 never match.\n\n"
    "Options:\n"
    "  --scores   print each line's score and a tab before it\n"
    "  --limit N  print only the N best lines\n\n"
    "Exit status: 0 when a line matched, 1 when none did (an empty pattern matches\n"
    "nothing) or the input cannot be read, 2 usage error.\n";

// One matched line: where it is in the buffer and its score.
struct Hit {
  int score;
  std::uint32_t length;
  std::size_t offset;  // also the line's rank among equals: earlier lines first
};

// Reads all of `fd` into `out`, sized once from fstat when the descriptor is a
// regular file. False (errno set) when a read fails.
bool ReadDescriptor(int fd, std::string& out) {
  struct stat st;
  std::size_t capacity = 1 << 20;
  if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0)
    capacity = static_cast<std::size_t>(st.st_size) + 1;
  out.resize(capacity);
  std::size_t used = 0;
  for (;;) {
    if (used == out.size()) out.resize(out.size() * 2);
    const ssize_t n = ::read(fd, out.data() + used, out.size() - used);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    used += static_cast<std::size_t>(n);
  }
  out.resize(used);
  return true;
}

bool ReadInput(const std::string& path, std::string& out) {
  if (path == "-") {
    if (ReadDescriptor(STDIN_FILENO, out)) return true;
    std::fprintf(stderr, "tavrin fuzzy: cannot read standard input: %s\n", std::strerror(errno));
    return false;
  }
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || !ReadDescriptor(fd, out)) {
    std::fprintf(stderr, "tavrin fuzzy: cannot read %s: %s\n", path.c_str(), std::strerror(errno));
    if (fd >= 0) ::close(fd);
    return false;
  }
  ::close(fd);
  return true;
}

// The score FuzzySearch gives the line [begin, end), 0 when it does not match.
// `begin` is zero-terminated at `end`. Lines that are strictly valid UTF-8 are
// matched as they are (their UTF-16 round trip is the identity); the rare
// lines the string type accepts only leniently (encoded surrogates) go through
// the string type as FuzzySearch would take them; other bytes never match.
int ScoreLine(const char* begin, const char* end, const utils::detail::FuzzyMatcherUtf8& matcher,
              const utils::tavrin_ustring& wide_pattern) {
  const int score = matcher.Score(begin);
  if (score == 0) return 0;
  const UTF8* b = reinterpret_cast<const UTF8*>(begin);
  const UTF8* e = reinterpret_cast<const UTF8*>(end);
  if (SizeNeededForUTF16(b, e, strictConversion) >= 0) return score;
  if (SizeNeededForUTF16(b, e, lenientConversion) < 0) return 0;
  return utils::FuzzyMatch(utils::tavrin_ustring(std::string(begin, end)), wide_pattern);
}

// Better first: higher score, then earlier line. A total order (offsets are
// unique), so sorting gives one result whatever the algorithm and threads.
bool Better(const Hit& a, const Hit& b) {
  return a.score != b.score ? a.score > b.score : a.offset < b.offset;
}

// Keeps the best `limit` of `hits`, sorted.
void SortBest(std::vector<Hit>& hits, std::size_t limit) {
  if (limit < hits.size()) {
    std::partial_sort(hits.begin(), hits.begin() + static_cast<std::ptrdiff_t>(limit), hits.end(),
                      Better);
    hits.resize(limit);
  } else {
    std::sort(hits.begin(), hits.end(), Better);
  }
}

// Scores the lines of [begin, end) (whole lines; the last one may lack its
// "\n"), terminating each in place. `hits` receives the matches, sorted and
// cut to the best `limit`; `matched` their number before the cut.
void ScoreSlice(char* base, std::size_t begin, std::size_t end,
                const utils::detail::FuzzyMatcherUtf8& matcher,
                const utils::tavrin_ustring& wide_pattern, std::size_t limit,
                std::vector<Hit>& hits, std::size_t& matched) {
  std::size_t pos = begin;
  while (pos < end) {
    char* line = base + pos;
    char* newline = static_cast<char*>(std::memchr(line, '\n', end - pos));
    char* stop = newline ? newline : base + end;
    const std::size_t next = newline ? static_cast<std::size_t>(newline - base) + 1 : end;
    if (stop > line && stop[-1] == '\r') --stop;
    *stop = '\0';
    if (stop > line) {
      const int score = ScoreLine(line, stop, matcher, wide_pattern);
      if (score != 0) hits.push_back(Hit{score, static_cast<std::uint32_t>(stop - line), pos});
    }
    pos = next;
  }
  matched = hits.size();
  SortBest(hits, limit);
}

// Slice boundaries: `parts` pieces of similar size, each ending after a "\n".
std::vector<std::size_t> SliceBounds(const std::string& text, std::size_t parts) {
  std::vector<std::size_t> bounds{0};
  for (std::size_t k = 1; k < parts; ++k) {
    std::size_t cut = std::max(bounds.back(), text.size() * k / parts);
    const void* nl =
        cut < text.size() ? std::memchr(text.data() + cut, '\n', text.size() - cut) : nullptr;
    cut =
        nl ? static_cast<std::size_t>(static_cast<const char*>(nl) - text.data()) + 1 : text.size();
    bounds.push_back(cut);
  }
  bounds.push_back(text.size());
  return bounds;
}

// Ranks the lines of `text` (modified in place: lines are terminated) and
// returns the matches best first, at most `limit` of them; `matched` receives
// the number of matching lines.
std::vector<Hit> Rank(std::string& text, const std::string& pattern, std::size_t limit,
                      std::size_t* matched = nullptr) {
  const utils::tavrin_ustring wide_pattern(pattern);
  const utils::detail::FuzzyMatcherUtf8 matcher(pattern.c_str());
  const std::size_t size = text.size();
  constexpr std::size_t kMinSlice = 1 << 18;
  const std::size_t cores = std::max(1u, std::thread::hardware_concurrency());
  const std::size_t parts =
      std::clamp<std::size_t>(size / kMinSlice, 1, std::min<std::size_t>(cores, 16));
  const std::vector<std::size_t> bounds = SliceBounds(text, parts);
  text.push_back('\0');  // room for the terminator of a last line without "\n"

  // Each slice is scored and sorted on its own thread; the sorted slices are
  // then merged.
  std::vector<std::vector<Hit>> slices(parts);
  std::vector<std::size_t> counts(parts, 0);
  std::vector<std::thread> threads;
  for (std::size_t k = 1; k < parts; ++k)
    threads.emplace_back(ScoreSlice, text.data(), bounds[k], bounds[k + 1], std::cref(matcher),
                         std::cref(wide_pattern), limit, std::ref(slices[k]), std::ref(counts[k]));
  ScoreSlice(text.data(), bounds[0], bounds[1], matcher, wide_pattern, limit, slices[0], counts[0]);
  for (std::thread& t : threads) t.join();

  if (matched != nullptr) {
    *matched = 0;
    for (std::size_t c : counts) *matched += c;
  }
  std::vector<Hit> hits = std::move(slices[0]);
  std::vector<Hit> merged;
  for (std::size_t k = 1; k < parts; ++k) {
    merged.clear();
    merged.reserve(hits.size() + slices[k].size());
    std::merge(hits.begin(), hits.end(), slices[k].begin(), slices[k].end(),
               std::back_inserter(merged), Better);
    hits.swap(merged);
  }
  if (hits.size() > limit) hits.resize(limit);
  return hits;
}

std::string Render(const std::string& text, const std::vector<Hit>& hits, bool scores) {
  std::size_t bytes = 0;
  for (const Hit& h : hits) bytes += h.length + (scores ? 13 : 1);
  std::string out;
  out.reserve(bytes);
  char number[16];
  for (const Hit& h : hits) {
    if (scores) {
      const int n = std::snprintf(number, sizeof number, "%d\t", h.score);
      out.append(number, static_cast<std::size_t>(n));
    }
    out.append(text, h.offset, h.length);
    out.push_back('\n');
  }
  return out;
}

bool ParseLimit(const std::string& value, std::size_t& limit) {
  if (value.empty() || value.size() > 18) return false;
  std::size_t n = 0;
  for (char c : value) {
    if (c < '0' || c > '9') return false;
    n = n * 10 + static_cast<std::size_t>(c - '0');
  }
  limit = n;
  return true;
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {"--scores"}, {"--limit"}, parsed, error)) return UsageError("fuzzy", error);
  if (parsed.positional.empty()) return UsageError("fuzzy", "missing PATTERN");
  if (parsed.positional.size() > 2)
    return UsageError("fuzzy", "unexpected argument " + parsed.positional[2]);
  const std::string& pattern = parsed.positional[0];
  const UTF8* p = reinterpret_cast<const UTF8*>(pattern.data());
  if (SizeNeededForUTF16(p, p + pattern.size(), lenientConversion) < 0)
    return UsageError("fuzzy", "PATTERN is not valid UTF-8");
  std::size_t limit = static_cast<std::size_t>(-1);
  if (auto value = parsed.Value("--limit"); value && !ParseLimit(*value, limit))
    return UsageError("fuzzy", "--limit needs a whole number, not '" + *value + "'");

  std::string text;
  if (!ReadInput(parsed.positional.size() == 2 ? parsed.positional[1] : "-", text))
    return kExitProblem;
  std::size_t matched = 0;
  const std::vector<Hit> hits = Rank(text, pattern, limit, &matched);
  WriteOut(Render(text, hits, parsed.Has("--scores")));
  std::fflush(stdout);
  return matched == 0 ? kExitProblem : kExitOk;
}

void Demo(const DemoContext& ctx) {
  std::FILE* out = ctx.out;
  const std::string path = ctx.Example("fuzzy-names.txt");
  std::string names;
  if (!ReadAll(path, names)) {
    std::fprintf(out, "(sample fuzzy-names.txt is missing)\n");
    return;
  }
  const std::size_t count = static_cast<std::size_t>(std::count(names.begin(), names.end(), '\n'));
  std::fprintf(out, "fuzzy-names.txt: %zu names; the three best for each pattern:\n", count);
  for (const char* pattern : {"gebi", "fb", "sdlg", "xyzzy"}) {
    std::string text = names;
    const std::vector<Hit> hits = Rank(text, pattern, 3);
    std::fprintf(out, "  %-6s", pattern);
    if (hits.empty()) std::fprintf(out, " (no match)");
    for (const Hit& h : hits)
      std::fprintf(out, " %s (%d)", std::string(text, h.offset, h.length).c_str(), h.score);
    std::fprintf(out, "\n");
  }
  std::fprintf(out, "scores by hand: abc/abc %d, xabc/abc %d, FooBar/fb %d, foo_bar/fb %d\n",
               utils::FuzzyMatch("abc", "abc"), utils::FuzzyMatch("xabc", "abc"),
               utils::FuzzyMatch("FooBar", "fb"), utils::FuzzyMatch("foo_bar", "fb"));
}

}  // namespace

TAVRIN_COMMAND({"fuzzy", "rank the lines of a file against a typed pattern", kUsage, Run, 74,
                Demo});

}  // namespace tavrin::cli
