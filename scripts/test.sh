#!/usr/bin/env bash
# Installs what is needed, builds and runs all tests: first the normal build,
# then the same tests under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
export SOURCE_DATE_EPOCH=1700000000 TZ=UTC
jobs=$(nproc)

scripts/build.sh build
(cd build && ctest --output-on-failure -j "$jobs")

scripts/build.sh build-asan -DSNK_SANITIZE=ON -DSNK_BENCH=OFF
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
(cd build-asan && ctest --output-on-failure -j "$jobs")
echo "all tests passed"
