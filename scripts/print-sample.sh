#!/usr/bin/env bash
# Installs what is needed, builds, and prints the bundled sample job to
# build/sample.pdf.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh build
rm -rf build/sample && mkdir -p build/sample
build/make_sample_job build/sample
build/snkprint --title "snk sample job" build/sample/sample-*.emf -o build/sample.pdf
echo "wrote build/sample.pdf"
