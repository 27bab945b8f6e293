#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, and only those missing.
# With the argument "fuzz", also the compiler of the fuzz preset (clang with libFuzzer); with
# "package", also Doxygen for the API reference and `file`, which cpack needs to find the
# libraries of the Debian packages (scripts/package-check.sh); with "windows", the mingw-w64
# cross compiler, Wine to run the tests, and the libraries built for the target (scripts/windows-deps.sh).
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config git ca-certificates openssl
  libcurl4-openssl-dev libsqlite3-dev nlohmann-json3-dev libssl-dev libcpp-httplib-dev
  libgtest-dev libgmock-dev libbenchmark-dev libmnl-dev libboost-dev chromium iproute2 util-linux locales tzdata libglib2.0-dev
  libgtk-4-dev xvfb xauth xdotool qt6-base-dev
  libsoup-3.0-dev glib-networking tinyproxy microsocks strace
)
[ "${1:-}" = fuzz ] && packages+=(clang libclang-rt-dev)
[ "${1:-}" = package ] && packages+=(doxygen file)
[ "${1:-}" = windows ] && packages+=(g++-mingw-w64-x86-64-posix mingw-w64 wine64 wine dpkg-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get update -qq
  $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
# A locale with a decimal comma, so the tests can show that numbers on the wire never use it.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
  localedef -i de_DE -f UTF-8 de_DE.UTF-8 >/dev/null 2>&1 || echo "note: could not make the de_DE.UTF-8 locale; its test will skip"
fi
[ "${1:-}" != windows ] || bash "$(dirname "$0")/windows-deps.sh"
