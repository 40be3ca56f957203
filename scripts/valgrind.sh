#!/usr/bin/env bash
# Valgrind memcheck run of a subset of the test suite: the units that own
# memory (strings, converters, formatting, shared strings, Variant and
# Dictionary, colours, identifiers, times, notifications, paths and files,
# text files, logging, and the fuzz regression inputs). Each test program
# runs once under memcheck with all its cases; any invalid access, use of
# uninitialised memory or definite/indirect leak fails the run. The one leak
# the library defines on purpose is suppressed in tests/valgrind.supp.
#
#   scripts/valgrind.sh                 # uses ./build (made by scripts/test.sh)
#   TAVRIN_BUILD_DIR=build-vg scripts/valgrind.sh
#   scripts/valgrind.sh variant_test    # only the named programs
#   TAVRIN_VALGRIND_ORIGINS=1 scripts/valgrind.sh   # also say where an
#                                       # uninitialised value came from (slower)
#
# Programs whose source is not in the tree yet are skipped with a note.
# Not in the set: programs that spawn the tavrin tool or build packages, and
# convertutf_test, whose randomised differential cases take about ten minutes
# under memcheck (the converters are covered here through the string tests
# and under AddressSanitizer by their fuzz target). Test programs that
# replace operator new (to count allocations) keep their own allocator
# (--soname-synonyms=somalloc=nouserintercepts).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${TAVRIN_BUILD_DIR:-build}

if [ $# -gt 0 ]; then
  programs=("$@")
else
  programs=(
    ustring_test unichar_test ustring_ops_test ustring_format_test
    stringutils_test refcountedstring_test bytearray_test base64_test
    variant_test dictionary_test color_test colorize_test guid_test tavrintime_test
    localtime_test notificationcenter_test history_test unitsinfo_test
    fileutils_paths_test fileutils_fs_test textfile_test filelogger_test trace_test
    featureswitchmanager_test stringtranslator_test fuzzymatch_test
    fuzz_regression_test linux_file_faults_test
  )
fi

# Test program name -> source file.
source_of() {
  case "$1" in
    linux_*) echo "tests/linux/${1#linux_}.cpp" ;;
    *) echo "tests/$1.cpp" ;;
  esac
}

selected=()
for p in "${programs[@]}"; do
  if [ -f "$(source_of "$p")" ]; then
    selected+=("$p")
  else
    echo "valgrind: $(source_of "$p") not in the tree yet, skipped" >&2
  fi
done

command -v valgrind >/dev/null || TAVRIN_EXTRA_PACKAGES="valgrind ${TAVRIN_EXTRA_PACKAGES:-}" \
  scripts/setup-deps.sh
if [ ! -f "$build/CMakeCache.txt" ]; then
  scripts/setup-deps.sh
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVRIN_WARNINGS_AS_ERRORS=ON \
    -DTAVRIN_BUILD_BENCHMARKS=OFF >/dev/null
fi
cmake --build "$build" --target "${selected[@]}" --parallel "$(nproc)"

status=0
origins=()
[ "${TAVRIN_VALGRIND_ORIGINS:-0}" = 1 ] && origins=(--track-origins=yes)

# Self-check: the suppression of the defined leak still matches that leak
# (and nothing else is reported for a program that makes it).
probe_dir="$build/valgrind-probe"
mkdir -p "$probe_dir"
cat >"$probe_dir/defined_leak.cpp" <<'EOF_PROBE'
#include "common/utils/variant.h"
using tavrin::utils::tavrin_ustring;
using tavrin::utils::Time;
using tavrin::utils::Variant;
int main() {
  Variant a(tavrin_ustring("shared text"));
  Variant b = a;          // the string has two owners
  b = Variant(Time(42));  // a timestamp copied over the shared string
  return 0;               // one reference is never given back: the string leaks
}
EOF_PROBE
lib_dir=$(dirname "$(find "$build/common/utils" -name 'libtavrin_utils.so' | head -1)")
${CXX:-c++} -std=c++20 -g -O1 -I"$root" "$probe_dir/defined_leak.cpp" -L"$lib_dir" \
  -ltavrin_utils -Wl,-rpath,"$lib_dir" -o "$probe_dir/defined_leak"
valgrind -v --leak-check=full --errors-for-leak-kinds=definite,indirect --error-exitcode=99 \
  --suppressions="$root/tests/valgrind.supp" "$probe_dir/defined_leak" >"$probe_dir/log" 2>&1 ||
  { echo "valgrind: the defined leak is reported despite the suppression (see $probe_dir/log)" >&2;
    exit 1; }
grep -q 'used_suppression:.*variant-timestamp-copy-keeps-a-shared-string' "$probe_dir/log" ||
  { echo "valgrind: the defined leak no longer reaches its suppression (see $probe_dir/log)" >&2;
    exit 1; }
echo "defined leak: suppressed as expected"

for p in "${selected[@]}"; do
  exe="$build/tests/$p"
  log="$build/valgrind-$p.log"
  start=$(date +%s)
  set +e
  valgrind --tool=memcheck --error-exitcode=99 --leak-check=full \
    --show-leak-kinds=definite,indirect --errors-for-leak-kinds=definite,indirect \
    "${origins[@]}" --child-silent-after-fork=yes --num-callers=30 \
    --soname-synonyms=somalloc=nouserintercepts \
    --suppressions="$root/tests/valgrind.supp" --log-file="$log" \
    "$exe" --gtest_brief=1 >"$log.out" 2>&1
  rc=$?
  set -e
  summary=$(grep -E 'ERROR SUMMARY' "$log" | tail -1 | sed -E 's/.*ERROR SUMMARY: //')
  printf '%-28s %4ss  exit %-3s %s\n' "$p" "$(( $(date +%s) - start ))" "$rc" "$summary"
  if [ "$rc" -ne 0 ]; then
    status=1
    echo "  see $log and $log.out" >&2
  fi
done
exit $status
