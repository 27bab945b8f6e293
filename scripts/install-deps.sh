#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, and only those missing.
# With the argument "fuzz", also the compiler of the fuzz preset (clang with libFuzzer); with
# "package", also Doxygen for the API reference, `file`, which cpack needs to find the
# libraries of the Debian packages, help2man for the tools' manual pages, and the package
# check's checkers: lintian, hardening-check (devscripts) and abidw/abidiff (abigail-tools)
# (scripts/package-check.sh); with "cross", see below; with "windows", the mingw-w64
# cross compiler, Wine to run the tests, and the libraries built for the target (scripts/windows-deps.sh).
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config git ca-certificates openssl
  libcurl4-openssl-dev libsqlite3-dev nlohmann-json3-dev libssl-dev libcpp-httplib-dev
  libgtest-dev libgmock-dev libbenchmark-dev libmnl-dev libboost-dev chromium iproute2 util-linux locales tzdata libglib2.0-dev
  libgtk-4-dev xvfb xauth xdotool qt6-base-dev
  libsoup-3.0-dev glib-networking tinyproxy microsocks strace
  ccache  # CI's compiler cache (.ci/run); a build without it is unchanged
)
[ "${1:-}" = fuzz ] && packages+=(clang libclang-rt-dev)
[ "${1:-}" = package ] && packages+=(doxygen file help2man lintian devscripts abigail-tools)
[ "${1:-}" = windows ] && packages+=(g++-mingw-w64-x86-64-posix mingw-w64 wine64 wine dpkg-dev)
# "cross": the aarch64 preset's cross compiler, the target's libraries as :arm64 multiarch
# packages (nlohmann/json's headers are shared), GoogleTest's sources (the build compiles them
# for the target) and QEMU's user-mode emulator to run its tests.
if [ "${1:-}" = cross ]; then
  packages+=(crossbuild-essential-arm64 qemu-user-static googletest libcurl4-openssl-dev:arm64 libsqlite3-dev:arm64
    libmnl-dev:arm64 libssl-dev:arm64 libbenchmark-dev:arm64 libcpp-httplib-dev:arm64)
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    $([ "$(id -u)" -eq 0 ] || echo sudo) dpkg --add-architecture arm64
  fi
fi
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
