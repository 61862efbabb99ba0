#!/usr/bin/env python3
"""Whole jobs of the shared corpus's well-formed EMF pages, against a peer.

  peer_jobs.py [--rounds N] [--slowest N] [--no-peer]

With default settings, build/snkprint prints
1. one job of every well-formed page, and
2. each page as a job of its own,
and reports wall time, pages per second, peak resident memory and output
size, and the slowest single pages. Where LibreOffice is installed (the
optional package libreoffice-draw; never needed by the tests), its batch
conversion of the same files in one run (soffice --headless --convert-to
pdf) is timed alternately with our one-job run, N rounds, and the ratio of
the medians is printed. Run by hand on a quiet machine; not part of CI.
"""
import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)
BUILD = os.environ.get('SNK_BUILD', os.path.join(SOURCE, 'build'))
SHARED = os.environ.get('SNK_SHARED', os.path.join(SOURCE, '..', 'shared'))
SNKPRINT = os.path.join(BUILD, 'snkprint')


def well_formed_pages():
    corpus = os.path.join(SHARED, 'corpus')
    with open(os.path.join(corpus, 'MANIFEST.tsv')) as manifest:
        rows = [line.rstrip('\n').split('\t') for line in manifest][1:]
    return [os.path.join(corpus, r[0]) for r in rows if r[0].startswith('emf/') and r[9] == 'ok']


def timed(args, env):
    """Wall seconds and peak resident kilobytes of one command."""
    start = time.monotonic()
    done = subprocess.run(['/usr/bin/time', '-f', '%M', *args], capture_output=True, text=True, env=env)
    elapsed = time.monotonic() - start
    if done.returncode != 0:
        sys.exit(f'failed ({done.returncode}): {" ".join(args[:3])} ...\n{done.stderr[-2000:]}')
    peak = int(done.stderr.strip().splitlines()[-1])
    return elapsed, peak


def ours(pages, out, env):
    return timed([SNKPRINT, *pages, '-o', out, '--no-open'], env)


def peer(soffice, pages, outdir, profile, env):
    return timed([soffice, f'-env:UserInstallation=file://{profile}', '--headless', '--convert-to', 'pdf',
                  '--outdir', outdir, *pages], env)


def report(label, seconds, peak_kb, pages, size):
    print(f'{label}: {seconds:.2f} s, {pages / seconds:.1f} pages/s, peak {peak_kb / 1024:.0f} MB, '
          f'{size / 1e6:.1f} MB of PDF')


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--rounds', type=int, default=3)
    parser.add_argument('--slowest', type=int, default=5)
    parser.add_argument('--no-peer', action='store_true')
    args = parser.parse_args()
    pages = well_formed_pages()
    tmp = tempfile.mkdtemp(prefix='snk-peer-')
    env = dict(os.environ, SOURCE_DATE_EPOCH='1700000000', TZ='UTC', XDG_CONFIG_HOME=os.path.join(tmp, 'config'))
    job = os.path.join(tmp, 'job.pdf')
    print(f'{len(pages)} well-formed pages of {SHARED}/corpus')

    single = []
    for page in pages:
        out = os.path.join(tmp, 'page.pdf')
        seconds, peak = ours([page], out, env)
        single.append((seconds, peak, os.path.getsize(out), os.path.basename(page)))
    report('each page alone (sum)', sum(s[0] for s in single), max(s[1] for s in single), len(pages),
           sum(s[2] for s in single))
    for seconds, peak, _, name in sorted(single, reverse=True)[:args.slowest]:
        print(f'  slow page: {name}: {seconds:.2f} s, peak {peak / 1024:.0f} MB')

    soffice = None if args.no_peer else shutil.which('soffice')
    if not soffice:
        seconds, peak = ours(pages, job, env)
        report('one job', seconds, peak, len(pages), os.path.getsize(job))
        print('LibreOffice not installed (apt-get install libreoffice-draw): no peer comparison')
        return 0
    profile = os.path.join(tmp, 'lo-profile')
    outdir = os.path.join(tmp, 'lo')
    os.makedirs(outdir)
    peer(soffice, pages[:1], outdir, profile, env)  # first start makes the profile
    mine, theirs = [], []
    for _ in range(args.rounds):
        mine.append(ours(pages, job, env))
        theirs.append(peer(soffice, pages, outdir, profile, env))
    m = statistics.median(s for s, _ in mine)
    t = statistics.median(s for s, _ in theirs)
    report('one job (median)', m, max(p for _, p in mine), len(pages), os.path.getsize(job))
    lo_size = sum(os.path.getsize(os.path.join(outdir, f)) for f in os.listdir(outdir))
    report('LibreOffice, one run (median)', t, max(p for _, p in theirs), len(pages), lo_size)
    print(f'LibreOffice time / ours: {t / m:.2f}')
    shutil.rmtree(tmp, ignore_errors=True)
    return 0


if __name__ == '__main__':
    sys.exit(main())
