#!/usr/bin/env bash
# Installs what building and testing need on Debian bookworm, skipping what is
# already there. Safe to run again.
set -euo pipefail

packages=(cmake g++ make binutils libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev libfmt-dev
          clang-14 libclang-rt-14-dev python3)  # the libFuzzer harnesses (fuzz preset)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
