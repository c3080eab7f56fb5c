#!/usr/bin/env bash
# Builds everything and runs the whole test suite twice: a Release build with warnings as errors,
# then a build under AddressSanitizer and UndefinedBehaviorSanitizer; then the tests that run threads
# under ThreadSanitizer. Between the first two, the Release build is installed into a temporary prefix
# and used by another project (scripts/consumer_test.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

jobs=$(nproc)

cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DTESSEL_WERROR=ON
cmake --build build/release -j"$jobs"
ctest --test-dir build/release -j"$jobs" --output-on-failure
scripts/consumer_test.sh build/release

# The Python package from the build tree: against numpy and scipy, scipy's own scipy.fft tests with it
# as the global backend, and dask on two local worker processes. No tests found (exit 5) fails too.
PYTHONPATH="$PWD/build/release/python" /usr/bin/python3 -m pytest -q -p no:cacheprovider tests/python
# Installed by CMake, it finds the library through its RPATH, and has its typing files.
python_prefix=$(mktemp -d)
venv=$(mktemp -d)
trap 'rm -rf "$python_prefix" "$venv"' EXIT
cmake --install build/release --prefix "$python_prefix" >/dev/null
(cd / && PYTHONPATH=$(echo "$python_prefix"/lib/python3*/*-packages) /usr/bin/python3 -c \
  "import numpy, pathlib, tessel_fft; assert abs(tessel_fft.fft(numpy.ones(8))[0] - 8) < 1e-12
assert (pathlib.Path(tessel_fft.__file__).parent / 'py.typed').exists()")
# Installed by pip into a fresh virtual environment (offline: the system's numpy, scipy and dask), then
# the same tests from outside the source tree, against the installed package with the library inside it.
/usr/bin/python3 -m venv --system-site-packages "$venv"
CMAKE_BUILD_PARALLEL_LEVEL="$jobs" "$venv/bin/pip" install -q --no-build-isolation .
(cd "$venv" && "$venv/bin/python" -m pytest -q -p no:cacheprovider "$OLDPWD/tests/python")

cmake -S . -B build/sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSEL_WERROR=ON \
  -DTESSEL_SANITIZE=address,undefined -DTESSEL_BUILD_MICROBENCH=OFF -DTESSEL_INSTALL=OFF \
  -DTESSEL_BUILD_PYTHON=OFF
cmake --build build/sanitize -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build/sanitize -j"$jobs" --output-on-failure

# Host threads sharing caches and the twiddle shelf, pooled runs, the planner lock and the scratch pools;
# scripts/tsan.supp says why oneTBB needs a suppression, and why it needs the longest access history.
cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSEL_WERROR=ON -DTESSEL_SANITIZE=thread \
  -DTESSEL_BUILD_PROGRAM=OFF -DTESSEL_BUILD_MICROBENCH=OFF -DTESSEL_INSTALL=OFF -DTESSEL_BUILD_PYTHON=OFF
cmake --build build/tsan -j"$jobs" --target tessel_fft_tests
TSAN_OPTIONS="suppressions=$PWD/scripts/tsan.supp history_size=7 halt_on_error=1" ctest --test-dir build/tsan -j"$jobs" \
  --output-on-failure -R 'Soak\.Concurrent|Wisdom\.|Failures\.|Units\.(Pools|PlannerCalls|Twiddles)|Accuracy\.(BatchedFFT|DCST|FFTND)|Plans\.BatchRequests|PooledRun\.'
