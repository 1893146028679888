#!/usr/bin/env bash
# Makes sure that the Debian packages melta needs are installed.
#
#   scripts/setup.sh [package ...]
#
# Packages named on the command line are wanted in addition to those of the build. Missing packages are installed when
# that is possible without a password; otherwise their names are printed and the status is 1.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkgconf python3 ca-certificates
    libopenblas-openmp-dev libhwy-dev libgtest-dev libbenchmark-dev
    "$@"
)

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "setup: not a Debian system, so the packages are not checked; CMake will name what it does not find."
    echo "setup: on Debian they would be: ${packages[*]}"
    for tool in cmake ninja; do
        command -v "$tool" >/dev/null || { echo "setup: $tool is missing." >&2; exit 1; }
    done
    exit 0
fi

isInstalled() {
    [[ "$(dpkg-query -W -f='${db:Status-Status}\n' "$1" 2>/dev/null | head -n 1)" == installed ]]
}

missing=()
for package in "${packages[@]}"; do
    isInstalled "$package" || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

echo "setup: missing packages: ${missing[*]}"
if ((EUID == 0)); then
    asAdmin=(env DEBIAN_FRONTEND=noninteractive)
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
    asAdmin=(sudo -n env DEBIAN_FRONTEND=noninteractive)
else
    {
        echo "setup: they can only be installed by an administrator:"
        echo
        echo "  apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
        echo
    } >&2
    exit 1
fi
# A list that cannot be renewed does not matter as long as the installation finds its packages.
"${asAdmin[@]}" apt-get -q update || echo "setup: some package lists could not be renewed." >&2
"${asAdmin[@]}" apt-get -q install -y --no-install-recommends "${missing[@]}"
