#!/usr/bin/env python3
"""Prints EMF files and compares the engine's surface with the PDF's rendering.

For each file: snkprint prints it with ImageCompress=0 and --dump-surface,
qpdf checks the PDF, pdftoppm renders each page without anti-aliasing at the
job's resolution, and pixagree.py compares surface and rendering page by
page. One tab-separated line per file:

  file  pages  agree  agree_ink  ink_t1  images  qpdf  [text  objects  runs]  [default  punt_off]

(the page figures are the worst over the file's pages; images counts the
image XObjects in the PDF). Without file arguments the files of the shared
corpus are taken, all well-formed: --set vector (the default) takes those
with no bitmaps and no gradients, --set pictures those with bitmaps or
gradients, --set text those with text records.

With --set text the file is printed without embedded fonts (FontEmbed=0),
and three more columns follow: the share of the EMF's characters that
pdftotext finds in the PDF (textmatch.py), the number of text objects
("BT") in the page contents and the number of text records of the EMF.
--no-pixels leaves the surface and the rendering out: the line is then

  file  qpdf  text  objects  runs

With --set text --embed the file is printed with the default settings,
which embed the fonts, and once more with FontEmbed=0; the line ends with
"same-text" when pdftotext gives both PDFs the same characters,
"more-text" when they differ but the embedded one holds at least as many
of the EMF's characters (an embedded font keeps characters that no charset
of a stand-in holds), TEXT-DIFFERS otherwise; and with "fonts: ..." naming
each font that pdffonts does not list as an embedded CID font with "+KPEF"
behind its name. poppler then
runs under a fontconfig configuration without fonts, as on a machine that
lacks the faces.

With --modes the file is printed twice more: with the default settings
(JPEG for true-colour images), where the PDF must pass qpdf and every image
must carry one of the filters the driver chooses; and with GDIPunt=0 (the
engine does not draw), where the PDF must pass qpdf and hold images when
the first print had images and the EMF draws source bitmaps (other than
PNG, which the driver drops). The two columns say "ok" or what failed.

  surface_agreement.py [--set vector|pictures|text] [--embed] [--modes] [--no-pixels]
                       [--renderer poppler|cairo]
                       [--dpi N] [--jobs N] [--check] [--known FILE] [--work DIR] [FILE.emf...]

--check exits 1 when a file fails qpdf or has agree < 0.99 or ink_t1 < 0.97,
or fails one of the --modes checks; with --set text also when the text
share is below 0.98 or there are more text objects than text records, and
with --embed when the fonts or the text are amiss.
--known names a file of "name<TAB>reason" lines: pages whose PDF differs
from the surface by the product's design (see the reasons there). They are
still printed, checked with qpdf and measured, but their pixel and text
figures do not fail --check. --known may be given more than once.
"""
import argparse
import concurrent.futures
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)
BUILD = os.environ.get('SNK_BUILD', os.path.join(SOURCE, 'build'))
SHARED = os.environ.get('SNK_SHARED', os.path.join(SOURCE, '..', 'shared'))
CORPUS = os.path.join(SHARED, 'corpus')
PIXAGREE = os.path.join(SHARED, 'tools', 'pixagree.py')
TEXTMATCH = os.path.join(SHARED, 'tools', 'textmatch.py')

# pdftoppm smooths every image drawn at less than four times its own
# resolution, so a sharp bitmap placed pixel for pixel renders blurred;
# --renderer cairo (pdftocairo, nearest pixel) tells those pages apart from
# real differences.
RENDERER = 'poppler'
EMBED = False

AGREE_MIN = 0.99
INK_T1_MIN = 0.97
TEXT_MIN = 0.98


def corpus_files(which='vector'):
    """The well-formed EMF files of the corpus: 'vector' ones (no bitmaps,
    no gradients), 'pictures' (bitmaps or gradients) or 'text' (text
    records)."""
    rows = []
    with open(os.path.join(CORPUS, 'MANIFEST.tsv'), encoding='utf-8') as f:
        header = f.readline().rstrip('\n').split('\t')
        for line in f:
            row = dict(zip(header, line.rstrip('\n').split('\t')))
            features = row.get('features', '')
            if not (row['file'].startswith('emf/') and row.get('well_formed') == 'ok'
                    and 'EMF+ only' not in features):
                continue
            pictures = 'bitmaps' in features or 'gradients' in features
            if which == 'text':
                if re.search(r'\btext \d+', features):
                    rows.append(os.path.join(CORPUS, row['file']))
            elif pictures == (which == 'pictures'):
                rows.append(os.path.join(CORPUS, row['file']))
    return rows


def run(args, extra_env=None, **kw):
    env = dict(os.environ, SOURCE_DATE_EPOCH='1700000000', TZ='UTC', **(extra_env or {}))
    return subprocess.run(args, capture_output=True, text=True, env=env, **kw)


# With --embed the PDFs are read as on a machine without the faces: poppler
# runs under a fontconfig configuration that has no fonts at all, so every
# glyph it draws comes from the file.
NO_FONTS_ENV = {}


def no_fonts_environment(work):
    config = os.path.join(work, 'no-fonts.conf')
    with open(config, 'w', encoding='utf-8') as f:
        f.write('<?xml version="1.0"?>\n<!DOCTYPE fontconfig SYSTEM "fonts.dtd">\n'
                f'<fontconfig><cachedir>{os.path.join(work, "fc-cache")}</cachedir></fontconfig>\n')
    return {'FONTCONFIG_FILE': config}


def font_problems(pdf):
    """What pdffonts finds amiss with the fonts of an embedding PDF: a font
    that is not embedded, not a Type 0 font over a CIDFont, or whose name
    lacks the subset tag behind it."""
    lines = run(['pdffonts', pdf], NO_FONTS_ENV).stdout.splitlines()
    if len(lines) < 2:
        return ['pdffonts failed']
    # Columns by the dashes under the header: name, type, encoding, emb, ...
    spans = [(m.start(), m.end()) for m in re.finditer(r'-+', lines[1])]
    problems = []
    for line in lines[2:]:
        cells = [line[a:b + 1].strip() for a, b in spans]
        name, kind, emb = cells[0], cells[1], cells[3]
        if emb != 'yes' or not kind.startswith('CID') or not name.endswith('+KPEF'):
            problems.append(f'{name} ({kind}, emb {emb})')
    return problems


def extracted_text(pdf):
    """The characters pdftotext finds, without the blanks it infers from
    the glyphs' widths (which differ between a font and its stand-in)."""
    return ''.join(run(['pdftotext', pdf, '-'], NO_FONTS_ENV).stdout.split())


def text_comparison(path, pdf, plain):
    """'same-text' when both PDFs give the same characters; 'more-text'
    when the embedded one gives the EMF's characters at least as fully (an
    embedded font keeps characters that no charset of a stand-in holds);
    'TEXT-DIFFERS' otherwise."""
    if extracted_text(pdf) == extracted_text(plain):
        return 'same-text'
    if text_figures(path, pdf)['text'] >= text_figures(path, plain)['text']:
        return 'more-text'
    return 'TEXT-DIFFERS'


IMAGE_FILTERS = (b'/FlateDecode', b'/DCTDecode', b'[/FlateDecode /DCTDecode]')


def image_dictionaries(pdf_bytes):
    """The dictionaries of the image objects: each object's text up to its
    stream keyword (the driver writes no nested dictionaries there)."""
    heads = (chunk.split(b'stream', 1)[0] for chunk in re.split(rb'\d+ 0 obj', pdf_bytes)[1:])
    return [h for h in heads if b'/Subtype /Image' in h]


# Records that carry a source bitmap: type -> offset of (offBmiSrc, cbBmiSrc)
# from the record's start.
SOURCE_RECORDS = {76: 84, 77: 84, 78: 84, 79: 96, 80: 48, 81: 48, 114: 84, 116: 84}
BI_PNG = 5


def has_source_bitmaps(path):
    """Whether the EMF draws a bitmap that the engine-less mode keeps (any
    source but a PNG, which the driver drops)."""
    with open(path, 'rb') as f:
        data = f.read()
    at = 0
    while at + 8 <= len(data):
        kind, size = struct.unpack_from('<II', data, at)
        if size < 8 or at + size > len(data):
            break
        where = SOURCE_RECORDS.get(kind)
        if where and where + 8 <= size:
            offset, length = struct.unpack_from('<II', data, at + where)
            if length >= 20 and offset + 20 <= size:
                compression = struct.unpack_from('<I', data, at + offset + 16)[0]
                if compression != BI_PNG:
                    return True
        at += size
    return False


# Text records: EXTTEXTOUTA/W, POLYTEXTOUTA/W, SMALLTEXTOUT.
TEXT_RECORDS = {83, 84, 96, 97, 108}


def text_record_count(path):
    with open(path, 'rb') as f:
        data = f.read()
    at = count = 0
    while at + 8 <= len(data):
        kind, size = struct.unpack_from('<II', data, at)
        if size < 8 or at + size > len(data):
            break
        count += kind in TEXT_RECORDS
        at += size
    return count


def text_objects(pdf):
    """The number of "BT" operators in the PDF's page contents."""
    expanded = pdf + '.qdf'
    run(['qpdf', '--qdf', '--object-streams=disable', pdf, expanded])
    try:
        with open(expanded, 'rb') as f:
            return len(re.findall(rb'(?:^|[\s\]])BT\s', f.read()))
    except OSError:
        return -1


def print_pdf(path, pdf, dpi, *extra):
    return run([os.path.join(BUILD, 'snkprint'), path, '-o', pdf, '--dpi', str(dpi), '--no-open', *extra])


def check_mode(path, base, dpi, name, settings, want_images):
    """Prints once more with `settings`; "ok" or what failed."""
    pdf = os.path.join(base, name + '.pdf')
    printed = print_pdf(path, pdf, dpi, *[a for s in settings for a in ('--set', s)])
    if printed.returncode != 0 or not os.path.exists(pdf):
        return 'print-failed'
    if run(['qpdf', '--check', pdf]).returncode != 0:
        return 'qpdf-failed'
    with open(pdf, 'rb') as f:
        images = image_dictionaries(f.read())
    if want_images and not images:
        return 'no-images'
    if name == 'default' and any(b'/Filter' in d and not any(x in d for x in IMAGE_FILTERS) for d in images):
        return 'bad-filter'
    return 'ok'


def text_figures(path, pdf):
    share = re.search(r'text ([\d.]+)', run([sys.executable, TEXTMATCH, path, pdf]).stdout)
    return {'text': float(share.group(1)) if share else 0.0, 'objects': text_objects(pdf),
            'runs': text_record_count(path)}


def measure(path, dpi, work, modes, text=False, pixels=True):
    name = os.path.basename(path)
    base = os.path.join(work, os.path.splitext(name)[0])
    os.makedirs(base, exist_ok=True)
    pdf = os.path.join(base, 'out.pdf')
    surface = os.path.join(base, 'surface')
    settings = ['--set', 'ImageCompress=0'] + (['--set', 'FontEmbed=0'] if text and not EMBED else [])
    if pixels:
        settings += ['--dump-surface', surface]
    printed = print_pdf(path, pdf, dpi, *settings)
    if printed.returncode != 0 or not os.path.exists(pdf):
        return {'file': name, 'error': (printed.stderr or printed.stdout).strip()}
    qpdf = run(['qpdf', '--check', pdf])
    fonts = {}
    if EMBED:
        # The same characters as the job printed with fonts left out.
        plain = os.path.join(base, 'not-embedded.pdf')
        print_pdf(path, plain, dpi, '--set', 'ImageCompress=0', '--set', 'FontEmbed=0')
        fonts = {'fonts': font_problems(pdf), 'same_text': text_comparison(path, pdf, plain)}
    if not pixels:
        return {'file': name, 'qpdf': 'ok' if qpdf.returncode == 0 else 'FAIL', **text_figures(path, pdf), **fonts}
    if RENDERER == 'cairo':
        run(['pdftocairo', '-r', str(dpi), '-antialias', 'none', '-png', pdf, os.path.join(base, 'render')],
            NO_FONTS_ENV)
    else:
        run(['pdftoppm', '-r', str(dpi), '-aa', 'no', '-aaVector', 'no', '-png', pdf, os.path.join(base, 'render')],
            NO_FONTS_ENV)
    renders = sorted(f for f in os.listdir(base) if f.startswith('render'))
    surfaces = sorted(os.listdir(surface)) if os.path.isdir(surface) else []
    worst = {'agree': 1.0, 'agree_ink': 1.0, 'ink_t1': 1.0}
    for s, r in zip(surfaces, renders):
        out = run([sys.executable, PIXAGREE, os.path.join(surface, s), os.path.join(base, r)]).stdout
        figures = dict(re.findall(r'(\w+)=([\d.]+)', out))
        for key in worst:
            worst[key] = min(worst[key], float(figures.get(key, 0)))
    with open(pdf, 'rb') as f:
        images = len(image_dictionaries(f.read()))
    result = {'file': name, 'pages': len(surfaces), 'images': images,
              'qpdf': 'ok' if qpdf.returncode == 0 else 'FAIL', **worst}
    if text:
        result.update(text_figures(path, pdf))
    result.update(fonts)
    if modes:
        result['default'] = check_mode(path, base, dpi, 'default', [], False)
        want = images > 0 and has_source_bitmaps(path)
        result['punt_off'] = check_mode(path, base, dpi, 'punt-off', ['GDIPunt=0'], want)
    return result


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--set', dest='which', choices=('vector', 'pictures', 'text'), default='vector')
    parser.add_argument('--modes', action='store_true')
    parser.add_argument('--no-pixels', action='store_true')
    parser.add_argument('--embed', action='store_true',
                        help='text set: print with the default (embedded) fonts, check them with pdffonts and '
                             'against the text of the not-embedded print, render without installed fonts')
    parser.add_argument('--renderer', choices=('poppler', 'cairo'), default='poppler')
    parser.add_argument('--dpi', type=int, default=300)
    parser.add_argument('--jobs', type=int, default=os.cpu_count() or 1)
    parser.add_argument('--check', action='store_true')
    parser.add_argument('--known', action='append', default=[])
    parser.add_argument('--work')
    parser.add_argument('files', nargs='*')
    args = parser.parse_args()
    global RENDERER, EMBED
    RENDERER = args.renderer
    EMBED = args.embed
    if not args.files and not os.path.isdir(CORPUS):
        print('skipped: the shared corpus is not present at', CORPUS)
        return 77
    files = args.files or corpus_files(args.which)
    known = {}
    for path in args.known:
        with open(path, encoding='utf-8') as f:
            for line in f:
                if line.strip() and not line.startswith('#'):
                    name, _, reason = line.rstrip('\n').partition('\t')
                    known[name] = reason
    work = args.work or tempfile.mkdtemp(prefix='snk-agreement-')
    os.makedirs(work, exist_ok=True)
    if EMBED:
        NO_FONTS_ENV.update(no_fonts_environment(work))
    failed = []
    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        for result in pool.map(lambda p: measure(p, args.dpi, work, args.modes, args.which == 'text',
                                                          not args.no_pixels), files):
            if 'error' in result:
                print(f"{result['file']}\tERROR\t{result['error']}")
                failed.append(result['file'])
                continue
            font_note = ''
            if EMBED:
                font_note = '\t' + result['same_text']
                if result['fonts']:
                    font_note += '\tfonts: ' + '; '.join(result['fonts'])
            if 'agree' not in result:
                print('{file}\t{qpdf}\t{text:.4f}\t{objects}\t{runs}'.format(**result) + font_note)
                if (result['qpdf'] != 'ok' or result['text'] < TEXT_MIN or result['objects'] > result['runs']
                        or result.get('fonts') or result.get('same_text') == 'TEXT-DIFFERS') \
                        and result['file'] not in known:
                    failed.append(result['file'])
                continue
            line = '{file}\t{pages}\t{agree:.4f}\t{agree_ink:.4f}\t{ink_t1:.4f}\t{images}\t{qpdf}'.format(**result)
            if 'text' in result:
                line += '\t{text:.4f}\t{objects}\t{runs}'.format(**result)
            modes = [result[m] for m in ('default', 'punt_off') if m in result]
            print('\t'.join([line, *modes]) + font_note)
            below = result['agree'] < AGREE_MIN or result['ink_t1'] < INK_T1_MIN
            if 'text' in result and (result['text'] < TEXT_MIN or result['objects'] > result['runs']):
                below = True
            if result.get('fonts') or result.get('same_text') == 'TEXT-DIFFERS':
                below = True
            if (result['qpdf'] != 'ok' or any(m != 'ok' for m in modes)
                    or (below and result['file'] not in known)):
                failed.append(result['file'])
    if not args.work:
        shutil.rmtree(work, ignore_errors=True)
    if failed:
        print('below the bar:', ' '.join(failed))
    return 1 if args.check and failed else 0


if __name__ == '__main__':
    sys.exit(main())
