// cmd_timers.cpp - `tavrin timers`: a timer and a debouncer on the thread's
// run loop driven by the tool, with every firing and callback shown.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/utils/debouncer.h"
#include "common/utils/internal/osutils_internal.h"
#include "common/utils/internal/runloop_internal.h"
#include "common/utils/timer.h"
#include "tools/tavrin/cli.h"

namespace tavrin::cli {
namespace {

using tavrin::utils::CommandInvoker;
using tavrin::utils::Debouncer;
using tavrin::utils::Timer;
namespace loop = tavrin::utils::internal;

constexpr unsigned kGuardMs = 60000;  // no run waits longer than this

const char kUsage[] =
    "usage: tavrin timers [--interval MS] [--count N] [--timeout MS] [--requests N]\n"
    "                     [--spacing MS]\n\n"
    "Runs the library's timers on this thread's run loop (the thread-default GLib\n"
    "main context with the Linux layer, the thread's NSRunLoop with Foundation)\n"
    "and shows what happens:\n"
    "  1. a timer firing every --interval milliseconds (default 20), --count times\n"
    "     (default 3; 0 and 1 both fire once), until it deletes itself;\n"
    "  2. a debouncer with a --timeout (default 100 ms) receiving --requests\n"
    "     requests (default 4) --spacing milliseconds apart (default 10): requests\n"
    "     arriving before the pending call collapse into it.\n\n"
    "Times printed are wall-clock milliseconds since the step began; they vary\n"
    "with the machine's load.\n\n"
    "Exit status: 0 ok, 2 usage error.\n";

using Clock = std::chrono::steady_clock;

long Since(Clock::time_point start) {
  return static_cast<long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

// Prints each firing of a counted timer and notes its deletion.
class Reporter : public CommandInvoker {
 public:
  Reporter(std::FILE* out, bool show_times, int* fired, bool* deleted)
      : out_(out), show_times_(show_times), fired_(fired), deleted_(deleted) {}
  ~Reporter() override { *deleted_ = true; }
  void Invoke() const override {
    ++*fired_;
    if (show_times_) {
      std::fprintf(out_, "  firing %d at %ld ms\n", *fired_, Since(start_));
    } else {
      std::fprintf(out_, "  firing %d\n", *fired_);
    }
  }

 private:
  std::FILE* out_;
  bool show_times_;
  int* fired_;
  bool* deleted_;
  Clock::time_point start_ = Clock::now();
};

void RunTimer(std::FILE* out, unsigned interval_ms, unsigned long count, bool show_times) {
  std::fprintf(out, "timer: every %u ms, count %lu\n", interval_ms, count);
  int fired = 0;
  bool deleted = false;
  Timer::Start(new Reporter(out, show_times, &fired, &deleted), interval_ms / 1000.0, count);
  loop::RunLoopUntil([&] { return deleted; }, kGuardMs);
  std::fprintf(out, "  %s after %d firing%s\n", deleted ? "deleted itself" : "still running", fired,
               fired == 1 ? "" : "s");
}

// Feeds a debouncer `requests` Runs, `spacing_ms` apart, from a repeating
// timer, and prints the requests and callbacks in order.
void RunDebouncer(std::FILE* out, unsigned timeout_ms, unsigned requests, unsigned spacing_ms,
                  bool show_times) {
  std::fprintf(out, "debouncer: timeout %u ms, %u requests %u ms apart\n", timeout_ms, requests,
               spacing_ms);
  const Clock::time_point start = Clock::now();
  int callbacks = 0;
  Debouncer debouncer(
      [&] {
        ++callbacks;
        if (show_times) {
          std::fprintf(out, "  callback %d at %ld ms\n", callbacks, Since(start));
        } else {
          std::fprintf(out, "  callback %d\n", callbacks);
        }
      },
      timeout_ms);
  unsigned sent = 0;
  struct Feeder : CommandInvoker {
    Feeder(std::FILE* o, Debouncer* d, unsigned* s, bool t, Clock::time_point st)
        : out(o), debouncer(d), sent(s), show_times(t), start(st) {}
    void Invoke() const override {
      ++*sent;
      if (show_times) {
        std::fprintf(out, "  request %u at %ld ms%s\n", *sent, Since(start),
                     debouncer->IsPending() ? " (joins the pending call)" : " (starts a burst)");
      } else {
        std::fprintf(out, "  request %u%s\n", *sent,
                     debouncer->IsPending() ? " (joins the pending call)" : " (starts a burst)");
      }
      debouncer->Run();
    }
    std::FILE* out;
    Debouncer* debouncer;
    unsigned* sent;
    bool show_times;
    Clock::time_point start;
  };
  if (requests > 0) {
    auto* feeder = new Feeder(out, &debouncer, &sent, show_times, start);
    feeder->Invoke();  // the first request at once
    if (requests > 1) {
      Timer::Start(feeder, spacing_ms / 1000.0, requests - 1);
    } else {
      delete feeder;
    }
  }
  loop::RunLoopUntil([&] { return sent == requests && !debouncer.IsPending(); }, kGuardMs);
  std::fprintf(out, "  %u request%s gave %d callback%s\n", requests, requests == 1 ? "" : "s",
               callbacks, callbacks == 1 ? "" : "s");
}

bool ReadNumber(const ParsedArgs& parsed, const char* name, unsigned long max,
                unsigned long& value) {
  auto text = parsed.Value(name);
  if (!text) return true;
  char* end = nullptr;
  const unsigned long long v = std::strtoull(text->c_str(), &end, 10);
  if (text->empty() || *end != '\0' || (*text)[0] == '-' || v > max) return false;
  value = static_cast<unsigned long>(v);
  return true;
}

int Run(const Args& args) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {}, {"--interval", "--count", "--timeout", "--requests", "--spacing"},
                 parsed, error))
    return UsageError("timers", error);
  if (!parsed.positional.empty())
    return UsageError("timers", "unexpected argument " + parsed.positional[0]);
  unsigned long interval = 20, count = 3, timeout = 100, requests = 4, spacing = 10;
  if (!ReadNumber(parsed, "--interval", 10000, interval) ||
      !ReadNumber(parsed, "--count", 1000, count) ||
      !ReadNumber(parsed, "--timeout", 10000, timeout) ||
      !ReadNumber(parsed, "--requests", 1000, requests) ||
      !ReadNumber(parsed, "--spacing", 10000, spacing)) {
    return UsageError("timers",
                      "numbers are whole and at most 10000 ms, and at most 1000 for --count and "
                      "--requests");
  }
  RunTimer(stdout, static_cast<unsigned>(interval), count, true);
  RunDebouncer(stdout, static_cast<unsigned>(timeout), static_cast<unsigned>(requests),
               static_cast<unsigned>(spacing), true);
  return kExitOk;
}

void Demo(const DemoContext& ctx) {
  std::FILE* out = ctx.out;
  std::fprintf(out, "run loop: %s\n", tavrin::osutils::internal::PlatformRunLoop());
  RunTimer(out, 10, 3, false);
  RunTimer(out, 10, 0, false);
  // The requests span 20 ms against a 150 ms timeout: even a busy machine
  // keeps them in one burst.
  RunDebouncer(out, 150, 3, 10, false);
  // SetTimeout moves the pending call to burst start + the new timeout;
  // RunAndTerminate calls at once.
  int calls = 0;
  Debouncer debouncer([&] { ++calls; }, 60000);
  debouncer.Run();
  std::fprintf(out, "debouncer: timeout 60 s, one request, then SetTimeout(0)\n");
  debouncer.SetTimeout(0);
  loop::RunLoopUntil([&] { return calls == 1; }, kGuardMs);
  std::fprintf(out, "  %d callback at once; RunAndTerminate with nothing pending: ", calls);
  debouncer.RunAndTerminate();
  std::fprintf(out, "%d callbacks\n", calls);
}

}  // namespace

TAVRIN_COMMAND({"timers", "run a timer and a debouncer on the thread's run loop", kUsage, Run, 45,
                Demo});

}  // namespace tavrin::cli
