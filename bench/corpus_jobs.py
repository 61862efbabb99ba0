#!/usr/bin/env python3
"""Whole-job timings of the corpus's pages through build/snkprint.

  corpus_jobs.py [--set vector|pictures|text] [--dpi N] [--pages N]

1. One job of every file of the set (the vector or the picture files of the
   shared corpus, as scripts/surface_agreement.py chooses them), run with
   GDIPunt on (the engine draws every page on the surface as well) and off
   (PDF only): wall time, time per page, pages per second, output size. The
   difference between the two is the engine's rasterising (and the clearing
   of the surface at each page start), given as a share of the first.
   For pictures, also the bytes of image data in the PDF against the size
   of their raw pixels, per page. For text (printed with FontEmbed=0),
   the characters the EMF's text records carry, characters per second of
   the whole job, and the PDF's size per page against the EMF's.
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
import surface_agreement  # noqa: E402  (shares the choice of corpus files)

SNKPRINT = os.path.join(surface_agreement.BUILD, 'snkprint')


def job(files, out, dpi, punt, env, *extra):
    args = ['/usr/bin/time', '-v', SNKPRINT, *files, '-o', out, '--dpi', str(dpi), '--no-open',
            '--set', f'GDIPunt={punt}', *extra]
    start = time.monotonic()
    done = subprocess.run(args, capture_output=True, text=True, env=env)
    elapsed = time.monotonic() - start
    if done.returncode != 0:
        sys.exit(f'snkprint failed: {done.stderr.strip()[-500:]}')
    peak_kb = int(re.search(r'Maximum resident set size \(kbytes\): (\d+)', done.stderr).group(1))
    return elapsed, peak_kb


def text_characters(files):
    """Characters (glyphs) that the files' text records carry."""
    sys.path.insert(0, os.path.join(surface_agreement.SHARED, 'tools'))
    import emftext
    total = 0
    for path in files:
        with open(path, 'rb') as f:
            total += sum(len(t) for t in emftext.runs(f.read()) if t)
    return total


def image_bytes(pdf):
    """Stored bytes of the image objects, and the bytes of their raw pixels."""
    with open(pdf, 'rb') as f:
        data = f.read()
    stored = raw = 0
    for d in surface_agreement.image_dictionaries(data):
        fields = dict(re.findall(rb'/(Width|Height|BitsPerComponent|Length) (\d+)', d))
        width, height = int(fields.get(b'Width', 0)), int(fields.get(b'Height', 0))
        bits = int(fields.get(b'BitsPerComponent', 8))
        components = 1 if b'/Indexed' in d else 3
        stored += int(fields.get(b'Length', 0))
        raw += (width * bits * components + 7) // 8 * height
    return stored, raw


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--set', dest='which', choices=('vector', 'pictures', 'text'), default='vector')
    parser.add_argument('--dpi', type=int, default=300)
    parser.add_argument('--pages', type=int, default=1000)
    args = parser.parse_args()
    if not os.path.isdir(surface_agreement.CORPUS):
        print('skipped: the shared corpus is not present')
        return 0
    files = surface_agreement.corpus_files(args.which)
    work = tempfile.mkdtemp(prefix='snk-bench-')
    env = dict(os.environ, SOURCE_DATE_EPOCH='1700000000', TZ='UTC', XDG_CONFIG_HOME=work)
    out = os.path.join(work, 'out.pdf')
    extra = ['--set', 'FontEmbed=0'] if args.which == 'text' else []
    times = {}
    for punt in (1, 0):
        elapsed, peak = job(files, out, args.dpi, punt, env, *extra)
        times[punt] = elapsed
        print(f'{args.which}, GDIPunt={punt}: {len(files)} pages at {args.dpi} dpi in {elapsed:.2f} s: '
              f'{1000 * elapsed / len(files):.1f} ms/page, {len(files) / elapsed:.1f} pages/s, '
              f'peak {peak / 1024:.0f} MiB, PDF {os.path.getsize(out) / 1e6:.2f} MB')
        if args.which == 'pictures':
            stored, raw = image_bytes(out)
            print(f'  image data {stored / len(files) / 1e3:.0f} kB/page against {raw / len(files) / 1e3:.0f} kB/page '
                  f'of raw pixels ({100 * stored / max(raw, 1):.1f}%)')
        if args.which == 'text':
            glyphs = text_characters(files)
            emf = sum(os.path.getsize(f) for f in files)
            print(f'  {glyphs} characters, {glyphs / elapsed:.0f} per second of the whole job; '
                  f'PDF {os.path.getsize(out) / len(files) / 1e3:.1f} kB/page against EMF '
                  f'{emf / len(files) / 1e3:.1f} kB/page')
    print(f'engine rasterising (GDIPunt on minus off): {100 * (times[1] - times[0]) / times[1]:.0f}% of the job')
    many = (files * (args.pages // len(files) + 1))[:args.pages]
    elapsed, peak = job(many, out, args.dpi, 1, env, *extra)
    print(f'{args.pages}-page {args.which} job at {args.dpi} dpi: {elapsed:.1f} s, peak {peak / 1024:.0f} MiB, '
          f'{os.path.getsize(out) / 1e6:.1f} MB PDF')
    return 0


if __name__ == '__main__':
    sys.exit(main())
