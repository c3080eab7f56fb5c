#!/usr/bin/env bash
# Builds the library in Release and runs the benchmark against plain FFTW; arguments go to the program
# (try --help).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release -j"$(nproc)" --target tessel-fft-bench
build/release/bench/tessel-fft-bench "$@"
