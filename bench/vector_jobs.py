#!/usr/bin/env python3
"""Whole-job timings of the corpus's vector pages through build/snkprint.

  vector_jobs.py [--dpi N] [--pages N]

1. One job of every vector file of the shared corpus (one page each), run
   with GDIPunt on (the engine draws every page on the surface as well) and
   off (PDF only): wall time, time per page and pages per second. The
   difference between the two is the engine's rasterising (and the clearing
   of the surface at each page start), given as a share of the first.
2. One job of N pages (default 1000) made by repeating those files: wall
   time and peak resident memory, from /usr/bin/time.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(SOURCE, 'scripts'))
import surface_agreement  # noqa: E402  (shares the list of vector files)

SNKPRINT = os.path.join(surface_agreement.BUILD, 'snkprint')


def job(files, out, dpi, punt, env):
    args = ['/usr/bin/time', '-v', SNKPRINT, *files, '-o', out, '--dpi', str(dpi), '--no-open',
            '--set', f'GDIPunt={punt}']
    start = time.monotonic()
    done = subprocess.run(args, capture_output=True, text=True, env=env)
    elapsed = time.monotonic() - start
    if done.returncode != 0:
        sys.exit(f'snkprint failed: {done.stderr.strip()[-500:]}')
    peak_kb = int(re.search(r'Maximum resident set size \(kbytes\): (\d+)', done.stderr).group(1))
    return elapsed, peak_kb


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--dpi', type=int, default=300)
    parser.add_argument('--pages', type=int, default=1000)
    args = parser.parse_args()
    if not os.path.isdir(surface_agreement.CORPUS):
        print('skipped: the shared corpus is not present')
        return 0
    files = surface_agreement.corpus_files('vector')
    work = tempfile.mkdtemp(prefix='snk-bench-')
    env = dict(os.environ, SOURCE_DATE_EPOCH='1700000000', TZ='UTC', XDG_CONFIG_HOME=work)
    out = os.path.join(work, 'out.pdf')
    times = {}
    for punt in (1, 0):
        elapsed, peak = job(files, out, args.dpi, punt, env)
        times[punt] = elapsed
        print(f'GDIPunt={punt}: {len(files)} pages at {args.dpi} dpi in {elapsed:.2f} s: '
              f'{1000 * elapsed / len(files):.1f} ms/page, {len(files) / elapsed:.1f} pages/s, '
              f'peak {peak / 1024:.0f} MiB')
    print(f'engine rasterising (GDIPunt on minus off): {100 * (times[1] - times[0]) / times[1]:.0f}% of the job')
    many = (files * (args.pages // len(files) + 1))[:args.pages]
    elapsed, peak = job(many, out, args.dpi, 1, env)
    print(f'{args.pages}-page vector job at {args.dpi} dpi: {elapsed:.1f} s, peak {peak / 1024:.0f} MiB, '
          f'{os.path.getsize(out) / 1e6:.1f} MB PDF')
    return 0


if __name__ == '__main__':
    sys.exit(main())
