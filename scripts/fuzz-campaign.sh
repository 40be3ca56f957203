#!/usr/bin/env bash
# Long fuzzing campaign: every libFuzzer target (or the ones named) runs for a
# fixed time on a copy of its corpus, a few targets at a time at the lowest
# priority, then the inputs that add coverage are merged back into
# fuzz/corpus/<name> and that corpus is minimised.
#
#   scripts/fuzz-campaign.sh [seconds per target, default 600] [target ...]
#   TAVRIN_CAMPAIGN_JOBS=2       targets running at once (default 2)
#   TAVRIN_CAMPAIGN_DIR=...      logs and work folders (default ./fuzz-campaign)
#   TAVRIN_CAMPAIGN_MERGE=0      leave fuzz/corpus alone
#   TAVRIN_BUILD_DIR=build-fuzz  the clang build holding the targets
#
# Outputs, in the campaign folder:
#   <target>.log       libFuzzer's output for the run (the merge log is
#                      <target>.merge.log)
#   work/<target>/     the corpus copy the run grew, and crash, leak, timeout
#                      or out-of-memory files in artifacts/
#   STATUS             updated as targets start and finish: one line per
#                      target with its state, seconds, executions, final
#                      cov/ft, corpus sizes (seeds, after the run, after the
#                      merge) and the number of findings
# The exit status is 1 when any target reported a finding or failed.
#
# Minimising keeps every seed with a chosen name (regression-*, example-*,
# hand-written seeds) as it is; the anonymous inputs (named by their SHA-1)
# are rebuilt with libFuzzer's -merge=1 from the old corpus and the run's
# corpus, so only inputs that add features to the named seeds stay.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
seconds=${1:-600}
[ $# -gt 0 ] && shift
build=${TAVRIN_BUILD_DIR:-build-fuzz}
jobs=${TAVRIN_CAMPAIGN_JOBS:-2}
dir=${TAVRIN_CAMPAIGN_DIR:-$root/fuzz-campaign}
merge=${TAVRIN_CAMPAIGN_MERGE:-1}

all=()
for f in fuzz/*_fuzz.cpp; do all+=("$(basename "$f" _fuzz.cpp)"); done
if [ $# -gt 0 ]; then
  names=("$@")
else
  names=("${all[@]}")
fi
for n in "${names[@]}"; do
  if [ ! -x "$build/fuzz/${n}_fuzz" ]; then
    echo "fuzz-campaign: $build/fuzz/${n}_fuzz is missing; build it first:" >&2
    echo "  CC=clang CXX=clang++ cmake -S . -B $build -DTAVRIN_BUILD_FUZZERS=ON" \
      "-DTAVRIN_SANITIZE=address,undefined ... && cmake --build $build --target tavrin_fuzzers" >&2
    exit 2
  fi
done

# Rows of earlier runs of other targets stay in STATUS.
mkdir -p "$dir/rows" "$dir/work"
for n in "${names[@]}"; do rm -f "$dir/rows/$n"; done
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:${UBSAN_OPTIONS:-}"

header=$(printf '%-19s %-8s %5s %12s %6s %7s %6s %6s %6s %5s' \
  target state secs executions cov ft seeds run merged finds)

# Called from the main shell and from the background runs; every variable
# is local so the caller's loop variable is never changed.
write_status() {
  local t
  {
    echo "# fuzz campaign, $seconds s per target, $jobs at a time (updated $(date '+%F %T'))"
    echo "$header"
    for t in "${all[@]}"; do
      if [ -f "$dir/rows/$t" ]; then
        cat "$dir/rows/$t"
      elif [[ " ${names[*]} " == *" $t "* ]]; then
        printf '%-19s %-8s\n' "$t" waiting
      fi
    done
  } >"$dir/STATUS.$BASHPID"
  mv "$dir/STATUS.$BASHPID" "$dir/STATUS"
}

# Last value of a libFuzzer status field ("cov: 123") in a log.
last_field() {
  grep -aE "^#[0-9]+.*$2: " "$1" | tail -1 | sed -nE "s/.*$2: ([0-9]+).*/\\1/p"
}

count_files() { find "$1" -maxdepth 1 -type f | wc -l; }

run_one() {
  local n=$1
  local exe="$root/$build/fuzz/${n}_fuzz"
  local work="$dir/work/$n"
  local log="$dir/$n.log"
  rm -rf "$work"
  mkdir -p "$work/corpus" "$work/artifacts"
  if [ -d "fuzz/corpus/$n" ]; then
    find "fuzz/corpus/$n" -maxdepth 1 -type f -exec cp {} "$work/corpus/" \;
  fi
  local seeds
  seeds=$(count_files "$work/corpus")
  printf '%-19s %-8s %5s %12s %6s %7s %6s\n' "$n" running "" "" "" "" "$seeds" >"$dir/rows/$n"
  write_status
  local start rc
  start=$(date +%s)
  set +e
  nice -n 19 "$exe" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="$work/artifacts/" "$work/corpus" >"$log" 2>&1
  rc=$?
  set -e
  local elapsed=$(( $(date +%s) - start ))
  local execs cov ft after findings merged=- state=done
  execs=$(grep -a 'stat::number_of_executed_units' "$log" | awk '{print $2}' | tail -1)
  cov=$(last_field "$log" cov)
  ft=$(last_field "$log" ft)
  after=$(count_files "$work/corpus")
  findings=$(count_files "$work/artifacts")
  if [ "$rc" -ne 0 ] || [ "$findings" -ne 0 ]; then
    state=FINDING
  elif [ "$merge" = 1 ]; then
    # Named seeds stay; anonymous inputs are chosen again from the old corpus
    # and the run's corpus.
    local fresh="$work/merged" old="$work/old-anonymous"
    rm -rf "$fresh" "$old"
    mkdir -p "$fresh" "$old"
    find "fuzz/corpus/$n" -maxdepth 1 -type f -regextype posix-extended \
      ! -regex '.*/[0-9a-f]{40}' -exec cp {} "$fresh/" \;
    find "fuzz/corpus/$n" -maxdepth 1 -type f -regextype posix-extended \
      -regex '.*/[0-9a-f]{40}' -exec cp {} "$old/" \;
    if nice -n 19 "$exe" -merge=1 -timeout=25 -rss_limit_mb=2048 -max_len=4096 \
        "$fresh" "$old" "$work/corpus" >"$dir/$n.merge.log" 2>&1; then
      find "fuzz/corpus/$n" -maxdepth 1 -type f -delete
      find "$fresh" -maxdepth 1 -type f -exec cp {} "fuzz/corpus/$n/" \;
      merged=$(count_files "fuzz/corpus/$n")
    else
      state=MERGEFAIL
    fi
  fi
  printf '%-19s %-8s %5s %12s %6s %7s %6s %6s %6s %5s\n' "$n" "$state" "$elapsed" \
    "${execs:-?}" "${cov:-?}" "${ft:-?}" "$seeds" "$after" "$merged" "$findings" >"$dir/rows/$n"
  write_status
  [ "$state" = done ]
}

write_status
status=0
running=0
for target in "${names[@]}"; do
  if [ "$running" -ge "$jobs" ]; then
    wait -n || status=1
    running=$((running - 1))
    write_status
  fi
  run_one "$target" &
  running=$((running + 1))
  sleep 1
  write_status
done
while [ "$running" -gt 0 ]; do
  wait -n || status=1
  running=$((running - 1))
  write_status
done
echo "# finished $(date '+%F %T'), exit $status" >>"$dir/STATUS"
cat "$dir/STATUS"
exit $status
