#!/usr/bin/env bash
# Installs what building and testing need on Debian bookworm, skipping what is
# already there. Safe to run again.
set -euo pipefail

packages=(cmake gcc g++ make binutils libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev libfmt-dev
          # reading packet captures (pcap, pcapng)
          libpcap-dev
          # the peer commands of the tool (serve, send)
          libasio-dev
          # the Python package, the tool's tests and the Wireshark dissector's tests
          python3 python3-pytest tshark
          # the compiled Wireshark plugin (Wireshark's headers and their GLib)
          libwireshark-dev libglib2.0-dev
          # the Python module's headers, its asyncio tests, `pip install .` into a fresh venv
          python3-dev python3-pytest-asyncio python3-venv python3-pip
          # packaging and consumer tests: cpack's dpkg-shlibdeps, pkg-config
          dpkg-dev pkg-config
          # the test suite for 64-bit Windows under wine, and for 32-bit x86 under qemu
          googletest g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64
          g++-multilib qemu-user-static
          # the libFuzzer harnesses (fuzz preset)
          clang-14 libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
# tshark's wireshark-common asks whether non-superusers may capture; the
# answer is given beforehand so that the install never waits for it.
echo "wireshark-common wireshark-common/install-setuid boolean false" | $sudo debconf-set-selections
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
