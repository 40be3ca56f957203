#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer, the library instrumented for coverage) and runs
# each one for a bounded time, one after the other in one process, starting
# from its seed corpus in fuzz/corpus/<name>. Prints one line per target:
# seconds run, executions, executions per second, final coverage (edges and
# features), corpus size and the number of crash, leak or timeout files.
#
#   scripts/fuzz.sh [seconds per target, default 60] [target ...]
#   TAVRIN_FUZZ_MERGE=1 scripts/fuzz.sh 120   # also merge new coverage into the seeds
#
# Work folders (new inputs, crash files, logs) are in
# $TAVRIN_BUILD_DIR/fuzz-work/<name> (build-fuzz by default). The exit status
# is 1 when any target reported a finding. Needs clang and libclang-rt
# (Debian: clang, libclang-rt-dev or the llvm package that carries
# libclang_rt.fuzzer).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
seconds=${1:-60}
[ $# -gt 0 ] && shift
build=${TAVRIN_BUILD_DIR:-build-fuzz}
jobs=${TAVRIN_FUZZ_BUILD_JOBS:-2}

if [ $# -gt 0 ]; then
  names=("$@")
else
  names=()
  for f in fuzz/*_fuzz.cpp; do names+=("$(basename "$f" _fuzz.cpp)"); done
fi

CC=${CC:-clang} CXX=${CXX:-clang++} cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTAVRIN_BUILD_FUZZERS=ON -DTAVRIN_SANITIZE=address,undefined -DTAVRIN_BUILD_TESTS=OFF \
  -DTAVRIN_BUILD_TOOLS=OFF -DTAVRIN_BUILD_BENCHMARKS=OFF -DTAVRIN_INSTALL=OFF >/dev/null
targets=()
for n in "${names[@]}"; do targets+=("${n}_fuzz"); done
cmake --build "$build" --target "${targets[@]}" --parallel "$jobs"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:${UBSAN_OPTIONS:-}"
status=0
printf '%-20s %7s %11s %9s %7s %7s %7s %8s\n' target seconds executions exec/s cov ft corpus findings
for n in "${names[@]}"; do
  exe="$root/$build/fuzz/${n}_fuzz"
  work="$root/$build/fuzz-work/$n"
  rm -rf "$work"
  mkdir -p "$work/corpus" "$work/artifacts"
  if [ -d "fuzz/corpus/$n" ] && [ -n "$(ls -A "fuzz/corpus/$n")" ]; then
    cp "fuzz/corpus/$n"/* "$work/corpus/"
  fi
  start=$(date +%s)
  set +e
  # One process (no -jobs/-workers): the machine is shared.
  "$exe" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="$work/artifacts/" "$work/corpus" >"$work/log" 2>&1
  rc=$?
  set -e
  elapsed=$(( $(date +%s) - start ))
  execs=$(grep -a 'stat::number_of_executed_units' "$work/log" | awk '{print $2}' | tail -1)
  rate=$(grep -a 'stat::average_exec_per_sec' "$work/log" | awk '{print $2}' | tail -1)
  last=$(grep -aE '^#[0-9]+.*cov: ' "$work/log" | tail -1)
  cov=$(sed -nE 's/.*cov: ([0-9]+).*/\1/p' <<<"$last")
  ft=$(sed -nE 's/.*ft: ([0-9]+).*/\1/p' <<<"$last")
  corpus=$(ls "$work/corpus" | wc -l)
  findings=$(ls "$work/artifacts" | wc -l)
  printf '%-20s %7s %11s %9s %7s %7s %7s %8s\n' "$n" "$elapsed" "${execs:-?}" "${rate:-?}" \
    "${cov:-?}" "${ft:-?}" "$corpus" "$findings"
  if [ "$rc" -ne 0 ] || [ "$findings" -ne 0 ]; then
    status=1
    echo "  finding: see $work/log and $work/artifacts" >&2
  fi
  if [ "${TAVRIN_FUZZ_MERGE:-0}" = 1 ] && [ "$rc" -eq 0 ]; then
    mkdir -p "fuzz/corpus/$n"
    "$exe" -merge=1 -max_len=4096 "fuzz/corpus/$n" "$work/corpus" >"$work/merge.log" 2>&1
  fi
done
exit $status
