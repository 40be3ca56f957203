#!/usr/bin/env bash
# Sets up, builds everything with warnings as errors and runs the whole test
# suite. Extra CMake arguments may be given in TAVRIN_CMAKE_ARGS and extra
# ctest arguments on the command line (e.g. -L unit).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup-deps.sh
build=${TAVRIN_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVRIN_WARNINGS_AS_ERRORS=ON \
  ${TAVRIN_CMAKE_ARGS:-} >/dev/null
cmake --build "$build" --parallel "$(nproc)"
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" "$@"
