#!/usr/bin/env bash
# Sets up (with fzf, the peer of `tavrin fuzzy`), builds the benchmarks and the
# tool at -O2 and prints the comparison table of bench/report. Arguments go to
# bench/report (e.g. --repetitions 5, --filter utf8_to_utf16, --json FILE).
set -euo pipefail
cd "$(dirname "$0")/.."
TAVRIN_EXTRA_PACKAGES="fzf ${TAVRIN_EXTRA_PACKAGES:-}" scripts/setup-deps.sh
build=${TAVRIN_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVRIN_BUILD_BENCHMARKS=ON >/dev/null
cmake --build "$build" --target tavrin_bench tavrin --parallel "$(nproc)"
exec bench/report --build "$build" "$@"
