#!/usr/bin/env bash
# ThreadSanitizer run of the tests that exercise what the library promises to
# be safe across threads: the shared string's atomic count, Variant copies
# living and dying on other threads, the one-time initialisations and
# IsMainThread, the error-checking Mutex and concurrent logger writers.
#
# Builds only those test targets in build-tsan (or $TAVRIN_BUILD_DIR) and
# runs their cases through CTest, one process per case, so every lazily made
# object is first used from several threads at once. Suites whose source
# file is not in the tree yet are skipped with a note.
#   scripts/tsan.sh            # configure, build, run
#   TAVRIN_TSAN_JOBS=1 scripts/tsan.sh
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${TAVRIN_BUILD_DIR:-build-tsan}
jobs=${TAVRIN_TSAN_JOBS:-$(nproc)}

# Test sources (relative to tests/) whose cases run under TSan.
sources=(
  refcountedstring_test.cpp
  variant_test.cpp
  notificationcenter_test.cpp
  mutex_test.cpp
  filelogger_test.cpp
  linux/filelogger_linux_test.cpp
  linux/thread_safety_test.cpp
  linux/file_faults_test.cpp
)

targets=()
suites=()
for src in "${sources[@]}"; do
  if [ ! -f "tests/$src" ]; then
    echo "tsan: tests/$src not in the tree yet, skipped" >&2
    continue
  fi
  name=$(basename "$src" .cpp)
  dir=$(dirname "$src")
  [ "$dir" != "." ] && name="${dir}_${name}"
  targets+=("$name")
  # The GoogleTest suites the file defines (TEST, TEST_F, TEST_P).
  while read -r suite; do suites+=("$suite"); done < <(
    grep -oE '^(TEST|TEST_F|TEST_P)\(([A-Za-z0-9]+)' "tests/$src" | sed -E 's/.*\(//' | sort -u)
done
if [ ${#targets[@]} -eq 0 ]; then
  echo "tsan: no test source found" >&2
  exit 1
fi

scripts/setup-deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVRIN_WARNINGS_AS_ERRORS=ON \
  -DTAVRIN_SANITIZE=thread -DTAVRIN_BUILD_TOOLS=OFF -DTAVRIN_BUILD_BENCHMARKS=OFF \
  -DTAVRIN_BUILD_FUZZERS=OFF >/dev/null
cmake --build "$build" --target "${targets[@]}" --parallel "$jobs"

pattern="^($(printf '%s\n' "${suites[@]}" | sort -u | paste -sd '|'))\\."
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$root/scripts/tsan.supp ${TSAN_OPTIONS:-}"
ctest --test-dir "$build" --output-on-failure --parallel "$jobs" -R "$pattern"
