#!/usr/bin/env bash
# Uses tessel_fft as another project would: installs a built tree into a temporary prefix, then builds and
# runs the README's example (examples/consumer) three ways: find_package, pkg-config, add_subdirectory.
# Usage: scripts/consumer_test.sh [BUILD_DIR]   (default build/release, built with the program)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
jobs=$(nproc)
consumer=examples/consumer
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "consumer test: $*" >&2
  exit 1
}

# The README's "Using it" example is the consumer's source, so it can't rot.
sed -n '/^## Using it/,/^## /p' README.md | sed -n '/^```cpp$/,/^```$/p' | sed '1d;$d' |
  diff -u - "$consumer/main.cpp" || fail "README's example differs from $consumer/main.cpp"

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
pcfile=$(find "$prefix" -name tessel_fft.pc)
[ -n "$pcfile" ] || fail "no tessel_fft.pc installed"
[ -f "$prefix/share/doc/tessel_fft/LICENSE" ] || fail "LICENSE not installed"

# Hosts compile against FFTW and the standard library only.
echo '#include <tessel_fft/tessel_fft.hpp>' | g++ -std=c++17 -x c++ -E -H -I"$prefix/include" - 2>&1 >/dev/null |
  grep 'tbb/' && fail "the public headers include oneTBB"

# The installed program starts from a prefix the loader doesn't search.
"$prefix/bin/tessel-fft-bench" --version >/dev/null || fail "the installed tessel-fft-bench does not start"
"$prefix/bin/tessel-fft-wisdom" --version >/dev/null || fail "the installed tessel-fft-wisdom does not start"

echo "consumer: find_package"
cmake -S "$consumer" -B "$work/package" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/package" -j"$jobs" >/dev/null
"$work/package/consumer"

echo "consumer: pkg-config"
export PKG_CONFIG_PATH=$(dirname "$pcfile")
# shellcheck disable=SC2046 # the flags are meant to split
g++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -o "$work/pkg-config-consumer" "$consumer/main.cpp" \
  $(pkg-config --cflags --libs tessel_fft) -Wl,-rpath,"$(pkg-config --variable=libdir tessel_fft)"
"$work/pkg-config-consumer"
# The link order of the .pc (the library before FFTW) makes FFTW's assertion handler ours.
LD_BIND_NOW=1 LD_DEBUG=bindings "$work/pkg-config-consumer" 2>&1 >/dev/null |
  grep "normal symbol \`fftw_assertion_failed'" | grep -q "to .*libtessel_fft" ||
  fail "FFTW's assertion handler does not bind to libtessel_fft"

echo "consumer: add_subdirectory"
cmake -S "$consumer" -B "$work/subdirectory" -DTESSEL_FFT_SOURCE_DIR="$PWD" >/dev/null
# As a subproject the library builds neither tests nor programs and leaves the build type alone.
[ ! -e "$work/subdirectory/tessel_fft/tests" ] && [ ! -e "$work/subdirectory/tessel_fft/bench" ] &&
  [ ! -e "$work/subdirectory/tessel_fft/tools" ] ||
  fail "a subproject build configures tests or programs"
grep -q '^CMAKE_BUILD_TYPE:STRING=$' "$work/subdirectory/CMakeCache.txt" ||
  fail "a subproject build sets the parent's CMAKE_BUILD_TYPE"
cmake --build "$work/subdirectory" -j"$jobs" >/dev/null
"$work/subdirectory/consumer"

echo "consumer test: all three ways passed"
