#!/usr/bin/env bash
# Installs what building and testing ruvo on Debian 12 needs: the one list of packages.
# Run as root, or as a user who may use sudo. Does nothing when all are installed.
set -euo pipefail

packages=(
  # compilers and the build
  g++ clang clang-format clang-tidy libclang-rt-14-dev cmake ninja-build ccache pkg-config
  g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 libz-mingw-w64-dev
  # what the host back end stands on
  zlib1g-dev libssl-dev libicu-dev libmsi-dev libgsf-1-dev libgcab-dev
  # tests
  googletest libbenchmark-dev python3 zip xxd
  wine wine64 libgnutls30
  # real packages and real peers
  wixl msitools osslsigncode openssl nginx-light lighttpd squid-openssl tinyproxy curl
  # peers that the benchmarks compare with
  libfmt-dev libexpat1-dev libxml2-dev libplist-dev libpugixml-dev rapidjson-dev libsimdjson-dev
  libabsl-dev libmodpbase64-dev libcurl4-openssl-dev libhttp-parser-dev
  # what they look at a process with
  strace time
  # zones and locales that the tests name
  tzdata locales faketime util-linux git ca-certificates
)

missing=()
for package in "${packages[@]}"; do
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=
[ "$(id -u)" = 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
# Servers that the packages bring are started by the tests, each on a port of its own.
$sudo env RUNLEVEL=1 DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
