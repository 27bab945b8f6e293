#!/usr/bin/env bash
# Zelvo as a host gets it: a Release shared build (the `package` preset, hardened, with the
# toolkit integrations) installed into a temporary prefix; a small host outside the tree
# (tests/consumer) built against it with CMake's find_package and with pkg-config, and once more
# with Zelvo added by add_subdirectory, each run; the shared library's exported symbols checked
# and its ABI compared with the baseline (scripts/abi-check.sh); its stripped size printed
# beside the minsize preset's; the Debian packages made (in
# build/package/packages) and checked with lintian and hardening-check; each benchmark program
# run once, briefly, as a smoke run (its figures are not judged here).
# Usage: scripts/package-check.sh        (CI runs it from .ci/run)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=$root/build/package

# Hooks for checks that need the shared build itself: extra configure arguments, targets to
# build beside the default ones, and ctest labels to run in the build directory afterwards.
# Keep them to what must run against the shared library; the full suite runs elsewhere.
extra_cmake_args=(-DZELVO_BUILD_BINDING_TESTS=ON)  # the C API's and the Python package's tests
extra_targets=()
ctest_labels=(c-api python)

# Exported symbols: an upper bound that keeps the ABI deliberate (524 with the consent and
# transport calls and the 1.0 names kept for hosts built against 1.0; the standard library's
# template instances stay out, cmake/libzelvo.map).
max_exported_symbols=560
# The stripped shared library of the minsize preset, for devices with little flash.
max_minsize_kib=450

bash scripts/install-deps.sh package
start=$SECONDS
step() { echo "== $* ($((SECONDS - start)) s)"; }

step "configure and build (package preset)"
cmake --preset package "${extra_cmake_args[@]}" >/dev/null
cmake --build --preset package -j "${ZELVO_JOBS:-2}"
if [ ${#extra_targets[@]} -gt 0 ]; then
  cmake --build --preset package -j "${ZELVO_JOBS:-2}" --target "${extra_targets[@]}"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
step "install into a temporary prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null
lib=$(find "$prefix" -name 'libzelvo.so.1.0.0')
[ -n "$lib" ] || { echo "libzelvo.so.1.0.0 was not installed"; exit 1; }
soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = libzelvo.so.1 ] || { echo "SONAME is '$soname', not libzelvo.so.1"; exit 1; }
libdir=$(dirname "$lib")

step "exported symbols"
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}')
count=$(wc -l <<<"$symbols")
# Nothing of the libraries Zelvo uses: their C entry points, or nlohmann's templates.
leaked=$(grep -E 'nlohmann|^(sqlite3|curl|Curl|mnl)_' <<<"$symbols" || true)
echo "libzelvo.so.1 exports $count symbols (at most $max_exported_symbols)"
if [ -n "$leaked" ]; then
  echo "dependency symbols exported:"; c++filt <<<"$leaked" | head -20; exit 1
fi
[ "$count" -le "$max_exported_symbols" ] || { echo "too many exported symbols"; exit 1; }
if grep -rl nlohmann "$prefix/include" >/dev/null; then
  echo "a public header mentions nlohmann:"; grep -rl nlohmann "$prefix/include"; exit 1
fi

step "ABI against the baseline in abi/"
bash scripts/abi-check.sh "$build/libzelvo.so"

step "consumer: find_package, the toolkit integrations' components too"
cmake -S tests/consumer -B "$work/find-package" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "-DZELVO_COMPONENTS=gtk;qt" >/dev/null
cmake --build "$work/find-package" >/dev/null
"$work/find-package/zelvo-consumer"

step "consumer: pkg-config"
flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs zelvo-testing)
# shellcheck disable=SC2086  # the flags are words
c++ -std=c++20 tests/consumer/main.cpp $flags -Wl,-rpath,"$libdir" -o "$work/pkg-config-consumer"
"$work/pkg-config-consumer"

step "C API: a C11 program against the installed header and library, with pkg-config"
flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs zelvo)
# shellcheck disable=SC2086  # the flags are words
cc -std=c11 -pedantic -Wall -Wextra -Werror tests/bindings/c_api_test.c $flags -Wl,-rpath,"$libdir" -o "$work/c-consumer"
# Without arguments it loads the library, prints its usage and exits 2.
set +e; "$work/c-consumer" 2>/dev/null; c_status=$?; set -e
[ "$c_status" -eq 2 ] || { echo "the C program exited with $c_status"; exit 1; }

step "consumer: add_subdirectory (without GoogleTest and Google Benchmark)"
cmake -S tests/consumer -B "$work/subdirectory" -G Ninja -DZELVO_SOURCE_DIR="$root" \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON >/dev/null
cmake --build "$work/subdirectory" -j "${ZELVO_JOBS:-2}" >/dev/null
"$work/subdirectory/zelvo-consumer"

step "Debian packages"
rm -rf "$build/packages"
(cd "$build" && cpack -G DEB -B "$build/packages" >/dev/null)
rm -rf "$build/packages/_CPack_Packages"
for package in libzelvo1 libzelvo-dev libzelvo-gtk1 libzelvo-gtk-dev libzelvo-qt1 libzelvo-qt-dev zelvo-tools; do
  deb=$(ls "$build/packages/${package}_"*.deb 2>/dev/null || true)
  [ -n "$deb" ] || { echo "no $package package"; exit 1; }
  echo "$(basename "$deb"): Depends: $(dpkg-deb -f "$deb" Depends)"
done
for package in libzelvo1 libzelvo-gtk1 libzelvo-qt1 zelvo-tools; do
  ls "$build/packages/${package}-dbgsym_"*.ddeb >/dev/null || { echo "no $package-dbgsym package"; exit 1; }
done
# A host that wants only the tracker installs no toolkit.
if dpkg-deb -f "$build"/packages/libzelvo1_*.deb Depends | grep -Eiq 'gtk|qt'; then
  echo "libzelvo1 depends on a toolkit"; exit 1
fi

step "lintian"
# Errors and warnings fail; the informational and pedantic tags are shown.
lintian --fail-on error,warning --display-info --pedantic "$build"/packages/*.deb "$build"/packages/*.ddeb

step "hardening-check on every program and library"
for deb in "$build"/packages/*.deb; do dpkg-deb -x "$deb" "$work/unpacked"; done
# Every ELF file but the static testing library, whose objects are checked inside the programs.
elves=$(find "$work/unpacked" -type f ! -name '*.a' -exec sh -c 'readelf -h "$1" >/dev/null 2>&1' _ {} \; -print)
[ -n "$elves" ] || { echo "no binaries in the packages"; exit 1; }
for elf in $elves; do
  case $elf in
    # hardening-check counts fortified calls by the __*_chk functions a binary imports. The
    # toolkit integrations' only call that _FORTIFY_SOURCE covers is memcpy with a size known
    # only at run time (inside std::string and std::vector), which it cannot check, so none
    # is found; everything else is required of them.
    */libzelvo-gtk.so.* | */libzelvo-qt.so.*) hardening-check --nofortify "$elf" ;;
    *) hardening-check "$elf" ;;
  esac
done

step "benchmarks, once each (smoke run)"
for bench in "$build"/bench/*_benchmark; do
  "$bench" --benchmark_min_time=0.01 >"$work/bench.log" 2>&1 || { cat "$work/bench.log"; echo "$(basename "$bench") failed"; exit 1; }
  echo "$(basename "$bench") ran"
done

step "library size, stripped: release (this build) and minsize (-Os, LTO, unused sections dropped)"
cmake --preset minsize >/dev/null
cmake --build --preset minsize -j "${ZELVO_JOBS:-2}" --target zelvo >/dev/null
for preset in package minsize; do
  strip -o "$work/libzelvo.so" "$root/build/$preset/libzelvo.so.1.0.0"
  size_bytes=$(stat -c %s "$work/libzelvo.so")
  size_kib=$((size_bytes / 1024))
  echo "$preset: libzelvo.so.1.0.0 stripped is $size_kib KiB ($size_bytes bytes)"
done
[ "$size_kib" -le "$max_minsize_kib" ] || { echo "the minsize library is over $max_minsize_kib KiB"; exit 1; }

if [ ${#ctest_labels[@]} -gt 0 ]; then
  step "ctest -L ${ctest_labels[*]}"
  ctest --test-dir "$build" --output-on-failure -L "$(IFS='|'; echo "${ctest_labels[*]}")"
fi
step "package check passed"
