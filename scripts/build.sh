#!/usr/bin/env bash
# Configures and builds into build/ (or the folder given as $1, with any
# further CMake arguments after it).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" > /dev/null
cmake --build "$dir" -j "$(nproc)"
