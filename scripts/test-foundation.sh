#!/usr/bin/env bash
# Sets up GNUstep, builds the Foundation layer with warnings as errors, runs
# the portable and Foundation test suites and `tavrin demo` with it. Extra
# ctest arguments may be given on the command line.
set -euo pipefail
cd "$(dirname "$0")/.."
TAVRIN_EXTRA_PACKAGES="gobjc++ libgnustep-base-dev libgnustep-gui-dev ${TAVRIN_EXTRA_PACKAGES:-}" \
  scripts/setup-deps.sh
build=${TAVRIN_BUILD_DIR:-build-foundation}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVRIN_WARNINGS_AS_ERRORS=ON \
  -DTAVRIN_PLATFORM=foundation -DTAVRIN_BUILD_BENCHMARKS=OFF ${TAVRIN_CMAKE_ARGS:-} >/dev/null
cmake --build "$build" --parallel "$(nproc)"
# The consumer tests build a program against the installed package with the
# host's default layer; the Linux build runs them.
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" -LE consumer "$@"
"$build/tools/tavrin/tavrin" demo >/dev/null
echo "tavrin demo (Foundation layer): ok"
