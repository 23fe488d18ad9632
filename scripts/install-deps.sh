#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need.
# Does nothing when they are all there already; otherwise runs apt-get (as
# root, or through sudo).
set -euo pipefail

packages=(
  g++ make cmake ninja-build pkg-config
  clang libclang-rt-14-dev clang-format
  googletest libgtest-dev
  libbenchmark-dev
  libpng-dev libopenexr-dev
  libnoise-dev libstb-dev
)

if ! command -v dpkg-query >/dev/null 2>&1; then
  echo "install-deps: not a Debian system; install these yourself: ${packages[*]}" >&2
  exit 0
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then
    sudo=(sudo)
  else
    echo "install-deps: missing packages (${missing[*]}) and not root; run as root or install them" >&2
    exit 1
  fi
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
