#!/usr/bin/env bash
# Builds everything and runs the whole test suite twice: a Release build with warnings as errors,
# then a build under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

jobs=$(nproc)

cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DTESSEL_WERROR=ON
cmake --build build/release -j"$jobs"
ctest --test-dir build/release -j"$jobs" --output-on-failure

cmake -S . -B build/sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSEL_WERROR=ON \
  -DTESSEL_SANITIZE=address,undefined -DTESSEL_BUILD_MICROBENCH=OFF
cmake --build build/sanitize -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build/sanitize -j"$jobs" --output-on-failure
