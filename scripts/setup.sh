#!/usr/bin/env bash
# Installs what building and testing tessel_fft needs on Debian 12, and nothing if it is all there.
set -euo pipefail

packages=(g++ cmake make pkg-config libfftw3-dev libtbb-dev libgtest-dev libbenchmark-dev
  python3-dev pybind11-dev python3-numpy python3-scipy python3-pytest python3-hypothesis python3-dask
  python3-distributed python3-venv python3-pip python3-setuptools python3-wheel)
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "installing: ${missing[*]}" >&2
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
