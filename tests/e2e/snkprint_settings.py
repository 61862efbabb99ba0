#!/usr/bin/env python3
"""End-to-end checks of snkprint's settings: the config command, the per-job
options and the per-job settings file.

- `snkprint config` stores, reads, lists and removes every known key, and
  refuses unknown keys and values of the wrong type with exit 2;
- `--info-*` reach the driver through the settings file (and the PDF's
  information dictionary, once the writer has one);
- `--folder`/`--default-name` name the file from the title;
- the settings file is removed after the job unless `--keep-settings`;
- per-job options win over `--set`, which wins over stored values;
- `--help` runs and every option it names is accepted.
Runs with fresh XDG folders; exits 77 (skipped) without snkprint.
"""
import glob
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile

BUILD = os.environ.get('SNK_BUILD', '')
SNKPRINT = os.path.join(BUILD, 'snkprint')
TMP = tempfile.mkdtemp(prefix='snk-settings-')
ENV = dict(os.environ, SOURCE_DATE_EPOCH='1700000000', TZ='UTC',
           XDG_CONFIG_HOME=os.path.join(TMP, 'config'), XDG_DATA_HOME=os.path.join(TMP, 'data'))
ENV.pop('DISPLAY', None)
ENV.pop('WAYLAND_DISPLAY', None)

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print('FAIL:', message)
    return condition


def run(*args, cwd=None):
    return subprocess.run([SNKPRINT, *args], capture_output=True, text=True, env=ENV, cwd=cwd)


def write_page(path):
    """A one-page EMF of 210 x 297 mm that draws nothing."""
    header = struct.pack('<II4i4iIIIIHHIII2i2i', 1, 88, 0, 0, 100, 100, 0, 0, 21000, 29700,
                         0x464D4520, 0x10000, 88 + 20, 2, 1, 0, 0, 0, 0, 2480, 3508, 210, 297)
    eof = struct.pack('<IIIII', 14, 20, 0, 16, 20)
    with open(path, 'wb') as f:
        f.write(header + eof)


def settings_files():
    return glob.glob(os.path.join(TMP, '**', 'KMCPrivate_*.ini'), recursive=True)


def read_ini(path):
    """The sections of a UTF-16LE settings file: {section: {key: value}}."""
    data = open(path, 'rb').read()
    check(data[:2] == b'\xff\xfe', f'{path}: no UTF-16LE marker')
    sections, current = {}, None
    for line in data[2:].decode('utf-16-le').replace('\x00', '\n').splitlines():
        line = line.strip()
        if line.startswith('[') and line.endswith(']') and '=' not in line:
            current = sections.setdefault(line[1:-1], {})
        elif '=' in line and current is not None:
            key, value = line.split('=', 1)
            current[key.strip()] = value.strip()
    return sections


def kept_settings(result):
    m = re.search(r'settings file kept: (.*)', result.stderr)
    return m.group(1).strip() if m else None


# ------------------------------------------------------------------ config

def config_keys():
    r = run('config', 'list')
    check(r.returncode == 0, f'config list: exit {r.returncode}: {r.stderr}')
    keys = {}
    for line in r.stdout.splitlines():
        m = re.match(r'(\S+)\s+(int|string|list)\s+(.*)$', line)
        if check(m, f'config list: unreadable line {line!r}'):
            keys[m.group(1)] = (m.group(2), m.group(3))
    return keys


def check_config():
    keys = config_keys()
    check(len(keys) >= 70, f'config list shows only {len(keys)} keys')
    for name in ('Folder', 'UseDefFileName', 'PDFVersion', 'FontEmbed', 'DPI', 'FileName', 'FormName',
                 'AddDocInfo', 'DocTile', 'DocProducer', 'WMTextRotation', 'WatermarkUnits', 'AddHeadfoot',
                 'FootRight', 'printer.Batch', 'printer.DestName', 'printer.Folder', 'printer.FontEmbed',
                 'printer.FFaces'):
        check(name in keys, f'config list lacks {name}')
    for name, (kind, shown) in keys.items():
        check(shown.startswith('(default: '), f'{name}: fresh store shows {shown!r}')
    defaults = {}
    for name, (kind, shown) in keys.items():
        r = run('config', 'get', name)
        check(r.returncode == 0, f'get {name}: exit {r.returncode}')
        defaults[name] = r.stdout.rstrip('\n')

    values = {'int': '-7', 'string': '  two words ', 'list': 'Arial,Times New Roman'}
    for name, (kind, _) in keys.items():
        r = run('config', 'set', name, values[kind])
        check(r.returncode == 0, f'set {name}: exit {r.returncode}: {r.stderr}')
        r = run('config', 'get', name.lower())
        check(r.stdout == values[kind] + '\n', f'get {name} after set: {r.stdout!r}')
    listed = config_keys()
    for name, (kind, _) in keys.items():
        want = f'"{values[kind]}"' if kind == 'string' else values[kind]
        check(listed.get(name, (None, None))[1] == want, f'list {name} after set: {listed.get(name)}')
    for name in keys:
        r = run('config', 'unset', name)
        check(r.returncode == 0, f'unset {name}: exit {r.returncode}: {r.stderr}')
        r = run('config', 'get', name)
        check(r.stdout.rstrip('\n') == defaults[name], f'get {name} after unset: {r.stdout!r}')
    for name, (kind, shown) in config_keys().items():
        if not name.startswith('printer.'):
            check(shown.startswith('(default: '), f'{name} after unset shows {shown!r}')

    for name, value, kind in (('Overwrite', 'yes', 'int'), ('printer.Batch', '1.5', 'int')):
        r = run('config', 'set', name, value)
        check(r.returncode == 2 and name in r.stderr and kind in r.stderr,
              f'set {name} {value!r}: exit {r.returncode}: {r.stderr}')
    r = run('config', 'set', 'Folder', 'x' * 300)
    check(r.returncode == 2 and 'Folder' in r.stderr, f'set Folder to 300 characters: {r.returncode}')
    for args in (('get', 'NoSuchKey'), ('set', 'Batch', '1'), ('unset', 'printer.Overwrite')):
        r = run('config', *args)
        check(r.returncode == 2 and args[1] in r.stderr and 'unknown key' in r.stderr,
              f'config {args}: exit {r.returncode}: {r.stderr}')
    r = run('config', 'frobnicate')
    check(r.returncode == 2 and 'usage' in r.stderr, f'config frobnicate: {r.returncode}')
    check(run('config', 'get', 'Overwrite').stdout == '0\n', 'a refused set changed the store')


# ------------------------------------------------------------------ jobs

def check_naming(page):
    # The title-to-name rules are checked in the driver's tests; here the
    # title reaches them through snkprint's options.
    # --folder alone puts the file there; a relative folder is taken from
    # the current folder.
    os.makedirs(os.path.join(TMP, 'rel', 'sub'))
    r = run(page, '--folder', 'sub', '--no-open', '--title', 'Microsoft Word - Report.doc',
            cwd=os.path.join(TMP, 'rel'))
    check(os.listdir(os.path.join(TMP, 'rel', 'sub')) == ['Report.pdf'], f'--folder alone: {r.stderr}')
    # --default-name without any folder: the current folder.
    r = run(page, '--default-name', '--no-open', '--title', 'plain.txt', cwd=os.path.join(TMP, 'rel'))
    check(os.path.exists(os.path.join(TMP, 'rel', 'plain.pdf')), f'--default-name alone: {r.stderr}')
    # -o wins over --default-name.
    out = os.path.join(TMP, 'given.pdf')
    folder = os.path.join(TMP, 'unused')
    os.makedirs(folder)
    r = run(page, '-o', out, '--folder', folder, '--default-name', '--no-open', '--title', 'x.doc')
    check(os.path.exists(out) and not os.listdir(folder) and 'ignored' in r.stderr,
          f'-o with --default-name: {os.listdir(folder)} {r.stderr}')
    # A stored default-name setting does not take over from -o either.
    run('config', 'set', 'UseDefFileName', '1')
    run('config', 'set', 'Folder', folder)
    out2 = os.path.join(TMP, 'given2.pdf')
    r = run(page, '-o', out2, '--no-open', '--title', 'y.doc')
    check(os.path.exists(out2) and not os.listdir(folder), f'-o with stored UseDefFileName: {r.stderr}')
    # ... but without -o it is used.
    r = run(page, '--no-open', '--title', 'stored.doc')
    check(os.listdir(folder) == ['stored.pdf'], f'stored Folder and UseDefFileName: {os.listdir(folder)}')
    run('config', 'unset', 'UseDefFileName')
    run('config', 'unset', 'Folder')
    # --no-overwrite keeps an existing file; --overwrite replaces it.
    folder = os.path.join(TMP, 'over')
    os.makedirs(folder)
    target = os.path.join(folder, 'same.pdf')
    with open(target, 'w') as f:
        f.write('old')
    r = run(page, '--folder', folder, '--no-overwrite', '--no-open', '--title', 'same.doc')
    check(open(target, 'rb').read() == b'old', f'--no-overwrite replaced the file: {r.stderr}')
    r = run(page, '--folder', folder, '--overwrite', '--no-open', '--title', 'same.doc')
    check(r.returncode == 0 and open(target, 'rb').read().startswith(b'%PDF-'), f'--overwrite: {r.stderr}')


def check_settings_file(page):
    before = settings_files()
    out = os.path.join(TMP, 'plain.pdf')
    r = run(page, '-o', out, '--no-open')
    check(r.returncode == 0, f'plain job: exit {r.returncode}: {r.stderr}')
    check(settings_files() == before, f'settings file left behind: {settings_files()}')
    check('settings file' not in r.stderr, f'plain job speaks of the settings file: {r.stderr}')

    # Stored < --set < per-job option.
    run('config', 'set', 'PDFVersion', '13')
    run('config', 'set', 'DocAuthor', 'Stored Author')
    run('config', 'set', 'AddWatermark', '0')
    out = os.path.join(TMP, 'info.pdf')
    r = run(page, '-o', out, '--no-open', '--keep-settings', '--set', 'PDFVersion=15', '--pdf-version', '1.6',
            '--set', 'FontEmbed=0', '--info-title', ' Title with blanks ', '--info-subject', 'Subj',
            '--info-keywords', 'k1, k2', '--info-creator', 'Creator app', '--set', 'PDFA1B=1', '--no-pdfa')
    check(r.returncode == 0, f'info job: exit {r.returncode}: {r.stderr}')
    path = kept_settings(r)
    if not check(path and os.path.exists(path), f'--keep-settings named no file: {r.stderr}'):
        return
    ini = read_ini(path)
    general, info, font = ini.get('General', {}), ini.get('DocumentInfo', {}), ini.get('Font', {})
    check(general.get('PDFVersion') == '16', f'PDFVersion in the file: {general.get("PDFVersion")}')
    check(general.get('PDFA1B') == '0', f'PDFA1B in the file: {general.get("PDFA1B")}')
    check(font.get('Embed') == '0', f'Embed in the file (from --set): {font.get("Embed")}')
    check(general.get('UseDefaultFile') == '0', f'UseDefaultFile with -o: {general.get("UseDefaultFile")}')
    check(info.get('IsAddDocInfo') == '1', f'IsAddDocInfo: {info}')
    check(info.get('Author') == '[Stored Author]', f'Author mirrored from the store: {info}')
    check(info.get('Subject') == '[Subj]' and info.get('KeyWords') == '[k1, k2]' and
          info.get('Creator') == '[Creator app]', f'info strings in the file: {info}')
    raw = open(path, 'rb').read().decode('utf-16-le', 'replace')
    check('Title=[ Title with blanks ]' in raw, 'the title keeps its blanks in the file')
    check(ini.get('HeadAndFoot', {}).get('AddHeadfoot') == '0', 'AddHeadfoot is written as 0')
    check('IgonareBK' in general and 'MergeImage' in general, f'General keys: {sorted(general)}')
    pdf = open(out, 'rb').read()
    check(pdf.startswith(b'%PDF-1.6'), f'the driver did not get the per-job version: {pdf[:8]!r}')
    if b'/Title' in pdf:
        info_out = subprocess.run(['pdfinfo', out], capture_output=True, text=True).stdout
        check(re.search(r'^Title:\s+Title with blanks', info_out, re.M), f'pdfinfo title: {info_out}')
        check(re.search(r'^Author:\s+Stored Author', info_out, re.M), f'pdfinfo author: {info_out}')
        check(re.search(r'^Subject:\s+Subj', info_out, re.M), f'pdfinfo subject: {info_out}')
        check(re.search(r'^Keywords:\s+k1, k2', info_out, re.M), f'pdfinfo keywords: {info_out}')
        check(re.search(r'^Creator:\s+Creator app', info_out, re.M), f'pdfinfo creator: {info_out}')
    else:
        print('note: the PDF has no information dictionary yet; checked the settings file only')
    os.remove(path)
    for name in ('PDFVersion', 'DocAuthor', 'AddWatermark'):
        run('config', 'unset', name)

    # Without --info-* the information stays off, as stored.
    r = run(page, '-o', os.path.join(TMP, 'noinfo.pdf'), '--no-open', '--keep-settings', '--pdfa')
    path = kept_settings(r)
    if check(path and os.path.exists(path), f'second kept file: {r.stderr}'):
        ini = read_ini(path)
        check(ini.get('DocumentInfo', {}).get('IsAddDocInfo') == '0', 'IsAddDocInfo without --info-*')
        check(ini.get('General', {}).get('PDFA1B') == '1', '--pdfa in the file')
        os.remove(path)


def check_no_settings_file(page):
    """A settings folder that cannot be made: a message, and the job goes on."""
    blocker = os.path.join(TMP, 'not-a-folder')
    with open(blocker, 'w') as f:
        f.write('x')
    out = os.path.join(TMP, 'nofile.pdf')
    env = dict(ENV, XDG_CONFIG_HOME=os.path.join(blocker, 'config'))
    r = subprocess.run([SNKPRINT, page, '-o', out, '--no-open', '--keep-settings'], capture_output=True,
                       text=True, env=env)
    check(r.returncode == 0 and os.path.exists(out), f'job without a settings file: {r.returncode} {r.stderr}')
    check('could not make the settings file' in r.stderr and 'kept' not in r.stderr,
          f'no message about the missing settings file: {r.stderr}')


def check_help():
    r = run('--help')
    check(r.returncode == 0 and '--output' in r.stdout, f'--help: exit {r.returncode}')
    # Every option the help text names is accepted (a parse error is exit 2
    # with "unknown option").
    for option in sorted(set(re.findall(r'(--[a-z][a-z-]*[a-z])(?![-*a-z])', r.stdout))):
        r2 = run(option, 'x', 'y.emf')
        check('unknown option' not in r2.stderr, f'{option} is documented but not accepted')
    r2 = run('a.emf', '--pdf-version', '1.8')  # the values themselves are checked by the unit tests
    check(r2.returncode == 2 and '1.8' in r2.stderr, f'--pdf-version 1.8: exit {r2.returncode}: {r2.stderr}')


def main():
    if not os.path.exists(SNKPRINT):
        print('skipped: no snkprint at', SNKPRINT)
        return 77
    page = os.path.join(TMP, 'page.emf')
    write_page(page)
    try:
        check_help()
        check_config()
        check_naming(page)
        check_settings_file(page)
        check_no_settings_file(page)
    finally:
        if not failures:
            shutil.rmtree(TMP, ignore_errors=True)
    if failures:
        print(f'{len(failures)} failure(s); files kept in {TMP}')
        return 1
    print('ok')
    return 0


if __name__ == '__main__':
    sys.exit(main())
