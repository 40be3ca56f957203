#!/usr/bin/env bash
# Sets up, builds the tavrin tool and runs `tavrin demo` on the bundled samples.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup-deps.sh
build=${TAVRIN_BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target tavrin --parallel "$(nproc)"
"$build/tools/tavrin/tavrin" demo "$@"
