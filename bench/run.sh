#!/usr/bin/env bash
# Runs the whole-job benchmarks on an optimised build (build/).
set -euo pipefail
cd "$(dirname "$0")/.."
export SOURCE_DATE_EPOCH=1700000000 TZ=UTC XDG_CONFIG_HOME=$(mktemp -d)
for n in 1 100 1000; do build/bench/bench_blank_job "$n" /tmp/snk-bench-$n.pdf; done
python3 bench/corpus_jobs.py --set vector
python3 bench/corpus_jobs.py --set pictures
build/bench/bench_text_out 100 /tmp/snk-bench-text.pdf
python3 bench/corpus_jobs.py --set text
build/bench/bench_font_subset
[ -x build/bench/bench_engine_scale ] && build/bench/bench_engine_scale
python3 bench/peer_jobs.py
