#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
# Idempotent and quiet when everything is already there.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  flex libfl-dev bison
  liboscpack-dev libfftw3-dev libsndfile1-dev libjack-jackd2-dev
  librtmidi-dev libcli11-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libfluidsynth-dev fluid-soundfont-gm
  liblo-tools jackd2 puredata-dev puredata-core
  clang libclang-rt-14-dev
  gnuplot-nox graphviz
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'ok installed'; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "deps: missing packages: ${missing[*]}" >&2
  echo "deps: run as root (or install them) to continue." >&2
  exit 1
fi

echo "deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
