#!/usr/bin/env bash
# Builds the library in Release and runs the benchmark against plain FFTW; arguments go to the program
# (try --help).
set -euo pipefail
cd "$(dirname "$0")/.."
# apt's output would bury the table: it goes to a log, and only its end is shown if the set-up fails.
mkdir -p build
log=build/setup.log
# setup.sh prints nothing when all is installed; otherwise its first line names what it installs.
if ! scripts/setup.sh 2>&1 | {
  if IFS= read -r first; then
    echo "installing build dependencies (${first#installing: }), log in $log" >&2
    { echo "$first"; cat; } >"$log"
  else
    : >"$log"
  fi
}; then
  echo "bench.sh: installing the build dependencies failed; the end of $log:" >&2
  tail -n 20 "$log" >&2
  exit 1
fi
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release -j"$(nproc)" --target tessel-fft-bench
build/release/bench/tessel-fft-bench "$@"
