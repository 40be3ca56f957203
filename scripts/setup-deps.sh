#!/usr/bin/env bash
# Installs what the build, the tests and the benchmarks need on Debian/Ubuntu,
# when it is missing: GLib/GIO development files, pkg-config, GoogleTest,
# Google Benchmark and the benchmark peers (ICU, libuuid, OpenSSL).
# Does nothing when everything is present; never needs to run twice.
set -euo pipefail

packages=(cmake g++ pkg-config libglib2.0-dev libgtest-dev libgmock-dev libbenchmark-dev
          libicu-dev uuid-dev libssl-dev locales binutils dbus-daemon dbus-bin valgrind)
# Extra packages a caller asks for (e.g. the CI's sanitizer and fuzzing tools).
packages+=(${TAVRIN_EXTRA_PACKAGES:-})

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

if ! command -v apt-get >/dev/null 2>&1; then
  echo "setup-deps: please install: ${missing[*]}" >&2
  exit 1
fi
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi
echo "setup-deps: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
