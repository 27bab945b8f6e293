#!/usr/bin/env bash
# Builds what the `windows` preset needs for the target and Debian ships only for Linux, into
# build/windows-deps (kept: a second run finds it and does nothing):
#   SQLite from Debian's own source package (the same release the Linux build uses), fetched
#     with `apt-get source` through a temporary source list: the machine's sources are untouched;
#   GoogleTest from /usr/src/googletest (libgtest-dev);
#   nlohmann/json, header-only, shared with the Linux build.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
prefix=$root/build/windows-deps
toolchain=$root/cmake/mingw-w64.cmake
mkdir -p "$prefix/include" "$prefix/lib" "$prefix/share/cmake"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if [ ! -f "$prefix/lib/libsqlite3.a" ]; then
  echo "building SQLite for Windows"
  mkdir -p "$work/apt/lists/partial" "$work/apt/parts" "$work/src"
  keyring=/usr/share/keyrings/debian-archive-keyring.gpg
  {
    echo "deb-src [signed-by=$keyring] http://deb.debian.org/debian bookworm main"
    echo "deb-src [signed-by=$keyring] http://deb.debian.org/debian bookworm-updates main"
    echo "deb-src [signed-by=$keyring] http://deb.debian.org/debian-security bookworm-security main"
  } >"$work/apt/sources.list"
  apt_options=(-o "Dir::Etc::SourceList=$work/apt/sources.list" -o "Dir::Etc::SourceParts=$work/apt/parts"
    -o "Dir::State::Lists=$work/apt/lists" -o "APT::Get::List-Cleanup=0" -o "APT::Sandbox::User=root")
  apt-get "${apt_options[@]}" update -qq
  # The version the Linux build links, so both platforms run the same store code.
  version=$(dpkg-query -W -f='${source:Version}' "libsqlite3-dev:$(dpkg --print-architecture)")
  (cd "$work/src" && apt-get "${apt_options[@]}" source -qq "sqlite3=$version" >/dev/null)
  tree=$(find "$work/src" -maxdepth 1 -mindepth 1 -type d | head -1)
  if [ ! -f "$tree/sqlite3.c" ]; then
    # The full source tree: the amalgamation is generated with tclsh (tcl).
    (cd "$tree" && ./configure -q >/dev/null && make -s sqlite3.c >/dev/null)
  fi
  x86_64-w64-mingw32-gcc-posix -O2 -c "$tree/sqlite3.c" -o "$work/sqlite3.o" \
    -DSQLITE_THREADSAFE=1 -DSQLITE_DEFAULT_FOREIGN_KEYS=1 -DSQLITE_OMIT_LOAD_EXTENSION
  x86_64-w64-mingw32-ar rcs "$prefix/lib/libsqlite3.a" "$work/sqlite3.o"
  cp "$tree/sqlite3.h" "$tree/sqlite3ext.h" "$prefix/include/"
fi

if [ ! -f "$prefix/lib/libgtest.a" ]; then
  echo "building GoogleTest for Windows"
  cmake -S /usr/src/googletest -B "$work/gtest" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" >/dev/null
  cmake --build "$work/gtest" -j "${ZELVO_JOBS:-2}" >/dev/null
  cmake --install "$work/gtest" >/dev/null
fi

if [ ! -e "$prefix/include/nlohmann" ]; then
  ln -s /usr/include/nlohmann "$prefix/include/nlohmann"
  cp -r /usr/share/cmake/nlohmann_json "$prefix/share/cmake/"
fi
