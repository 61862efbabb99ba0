#!/usr/bin/env python3
"""End-to-end checks of build/snkprint on the shared EMF corpus.

Each well-formed page prints to a PDF that qpdf and the writer checker
accept, with the page size the driver computes from the page's frame; a job
of several files has one page per file, each on its own paper; two runs give
the same bytes; each
malformed file is refused with a message naming the file, the record and the
fault, and leaves no output behind. Exits 77 (skipped) without the corpus.
"""
import os
import re
import struct
import subprocess
import sys
import tempfile

BUILD = os.environ['SNK_BUILD']
SHARED = os.environ.get('SNK_SHARED', '')
SNKPRINT = os.path.join(BUILD, 'snkprint')
CORPUS = os.path.join(SHARED, 'corpus')

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print('FAIL:', message)


def run(args, env_extra=None):
    env = dict(os.environ, SOURCE_DATE_EPOCH='1700000000', TZ='UTC')
    env.update(env_extra or {})
    return subprocess.run(args, capture_output=True, text=True, env=env)


def expected_points(path):
    """Page size in points as the driver derives it from the EMF frame."""
    with open(path, 'rb') as f:
        head = f.read(40)
    left, top, right, bottom = struct.unpack_from('<4i', head, 24)
    w_mm, h_mm = (right - left) / 100, (bottom - top) / 100
    if w_mm < 1 or h_mm < 1:
        return None
    # Halves round away from zero, as the host's lround does.
    tenths = sorted(min(max(int(v * 10 + 0.5), 1), 32767) for v in (w_mm, h_mm))
    px = [int(t / 10.0 / 25.4 * 300) for t in tenths]
    if w_mm > h_mm:
        px.reverse()
    return [p * 72.0 / 300 for p in px]


def page_sizes(pdf):
    out = subprocess.run(['pdfinfo', '-f', '1', '-l', '1000', pdf], capture_output=True, text=True).stdout
    return [(float(a), float(b)) for a, b in re.findall(r'Page\s+\d+ size:\s+([\d.]+) x ([\d.]+) pts', out)]


def main():
    if not os.path.isdir(CORPUS):
        print('skipped: the shared corpus is not present at', CORPUS)
        return 77
    manifest = [l.rstrip('\n').split('\t') for l in open(os.path.join(CORPUS, 'MANIFEST.tsv'))][1:]
    good = [r[0] for r in manifest if r[0].startswith('emf/') and r[9] == 'ok']
    bad = [(r[0], r[9]) for r in manifest if r[0].startswith('emf/') and r[9].startswith('MALFORMED')]
    pick = [f for f in good if int(os.path.getsize(os.path.join(CORPUS, f))) < 400000][:12]
    tmp = tempfile.mkdtemp(prefix='snk-e2e-')
    os.environ['XDG_CONFIG_HOME'] = os.path.join(tmp, 'config')

    for name in pick:
        src = os.path.join(CORPUS, name)
        out = os.path.join(tmp, os.path.basename(name) + '.pdf')
        r = run([SNKPRINT, src, '-o', out])
        check(r.returncode == 0, f'{name}: exit {r.returncode}: {r.stderr.strip()}')
        if r.returncode:
            continue
        q = subprocess.run(['qpdf', '--check', out], capture_output=True, text=True)
        check(q.returncode == 0 and 'WARNING' not in q.stdout + q.stderr, f'{name}: qpdf --check: {q.stdout}{q.stderr}')
        p = subprocess.run([sys.executable, os.path.join(SHARED, 'tools', 'pdfcheck.py'), out], capture_output=True, text=True)
        check(p.returncode == 0, f'{name}: pdfcheck: {p.stdout}')
        want = expected_points(src)
        got = page_sizes(out)
        check(len(got) == 1, f'{name}: {len(got)} pages')
        if want and got:
            check(abs(got[0][0] - want[0]) < 0.01 and abs(got[0][1] - want[1]) < 0.01,
                  f'{name}: page size {got[0]} != {want}')

    # One job, one page per file, in order; the same bytes twice.
    job = [os.path.join(CORPUS, f) for f in pick[:4]]
    a, b = os.path.join(tmp, 'job-a.pdf'), os.path.join(tmp, 'job-b.pdf')
    check(run([SNKPRINT, *job, '-o', a]).returncode == 0, 'multi-page job failed')
    check(run([SNKPRINT, *job, '-o', b]).returncode == 0, 'multi-page job failed (second run)')
    check(len(page_sizes(a)) == len(job), 'multi-page job: wrong page count')
    check(open(a, 'rb').read() == open(b, 'rb').read(), 'two runs gave different bytes')

    # Every well-formed page in one job: each page on the paper of its own
    # frame, whatever the pages before it had.
    everything = [os.path.join(CORPUS, f) for f in good]
    whole = os.path.join(tmp, 'whole.pdf')
    r = run([SNKPRINT, *everything, '-o', whole])
    check(r.returncode == 0, f'whole-corpus job: exit {r.returncode}: {r.stderr.strip()[-500:]}')
    sizes = page_sizes(whole)
    check(len(sizes) == len(everything), f'whole-corpus job: {len(sizes)} pages for {len(everything)} files')
    for src, got in zip(everything, sizes):
        want = expected_points(src)
        if want:
            check(abs(got[0] - want[0]) < 0.01 and abs(got[1] - want[1]) < 0.01,
                  f'whole-corpus job: {os.path.basename(src)} on {got}, not {want}')

    # --verbose lists what was not played, if anything, and still prints.
    r = run([SNKPRINT, '--verbose', job[0], '-o', os.path.join(tmp, 'v.pdf')])
    check(r.returncode == 0, '--verbose job failed')

    # Malformed files: refused, with file, record and fault named, nothing written.
    for name, fault in bad:
        out = os.path.join(tmp, 'bad.pdf')
        r = run([SNKPRINT, os.path.join(CORPUS, name), '-o', out])
        msg = r.stderr
        check(r.returncode != 0, f'{name}: accepted')
        check(os.path.basename(name) in msg, f'{name}: message does not name the file: {msg!r}')
        check(re.search(r'record \d+', msg) or 'header' in msg.lower() or 'EMR_HEADER' in msg,
              f'{name}: message names no record: {msg!r}')
        check('Sanitizer' not in msg and r.returncode > 0, f'{name}: crashed: {msg!r}')
        check(not os.path.exists(out), f'{name}: left {out} behind')

    print(f'{len(pick)} pages printed, {len(bad)} malformed files refused, {len(failures)} failures')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
