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
  libfftw3-dev sfftw-dev
  libnoise-dev libstb-dev
  liblapack-dev libeigen3-dev
  libgl-dev libglu1-mesa-dev libx11-dev
  libosmesa6-dev xvfb
  libglfw3-dev xdotool libglx-mesa0 libgl1-mesa-dri
  locales
)

# A locale with a comma as its decimal point, so that the tests can check that
# saved numbers do not depend on the host process's locale.
comma_locale() {
  locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$' && return 0
  echo "install-deps: generating the de_DE.UTF-8 locale"
  "${sudo[@]}" localedef -i de_DE -f UTF-8 de_DE.UTF-8
}

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
sudo=()
if [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
fi
if [ ${#missing[@]} -eq 0 ]; then
  comma_locale || echo "install-deps: no comma-decimal locale; the locale test will be skipped" >&2
  exit 0
fi
if [ "$(id -u)" -ne 0 ] && [ ${#sudo[@]} -eq 0 ]; then
  echo "install-deps: missing packages (${missing[*]}) and not root; run as root or install them" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
comma_locale || echo "install-deps: no comma-decimal locale; the locale test will be skipped" >&2
