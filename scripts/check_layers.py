#!/usr/bin/env python3
"""Fails when a source file includes across the layers of the system.

Each folder may include from itself and from the folders below it (the
table in ARCHITECTURE.md); a few folders may use only named headers of a
folder below. The system (everything but host/ and tools/) also may not use
the operating system's threads, clock or random numbers itself: those go
through platform/. Prints one line per crossing, file and line first.
"""
import os
import re
import sys

# folder -> folders whose headers it may include (itself always).
ALLOWED = {
    'driver': {'fonts', 'graphics', 'writer', 'modules', 'services', 'pdf', 'base', 'platform'},
    'fonts': {'graphics', 'writer', 'services', 'base', 'platform'},
    'graphics': {'writer', 'base', 'platform'},
    'writer': {'base', 'platform'},
    'modules': {'pdf', 'services', 'base', 'platform'},
    'services': {'base', 'platform'},
    'pdf': {'base', 'platform'},
    'base': {'platform'},
    'platform': {'base'},
    'host': {'platform', 'base'},
    'tools': {'host', 'platform', 'base', 'services'},
}
# (folder, included folder) -> the only headers of it that may be used.
ONLY = {
    ('fonts', 'graphics'): {'graphics/text_sink.h'},
    ('fonts', 'services'): {'services/core_module.h', 'services/data_exchange.h'},
}
SYSTEM = {'driver', 'fonts', 'graphics', 'writer', 'modules', 'services', 'pdf', 'base', 'platform'}
# What the system gets from platform/ rather than from the C++ library.
SYSTEM_FORBIDDEN = re.compile(r'#\s*include\s*<(thread|random|chrono|ctime|mutex|filesystem|fstream)>'
                              r'|std::(rand|srand|thread|random_device)\b')
INCLUDE = re.compile(r'\s*#\s*include\s*"(([^"/]+)/[^"]+)"')


def crossings(root):
    for top in sorted(ALLOWED):
        for folder, _, files in os.walk(os.path.join(root, top)):
            for name in sorted(files):
                if not name.endswith(('.h', '.cpp', '.inc')):
                    continue
                path = os.path.join(folder, name)
                shown = os.path.relpath(path, root)
                with open(path, encoding='utf-8', errors='replace') as f:
                    for number, line in enumerate(f, 1):
                        fault = check_line(top, line)
                        if fault:
                            yield f'{shown}:{number}: {fault}: {line.strip()}'


def check_line(top, line):
    m = INCLUDE.match(line)
    if m:
        header, folder = m.group(1), m.group(2)
        if folder == top or folder not in ALLOWED:
            return None
        if folder not in ALLOWED[top]:
            return f'{top}/ may not include {folder}/'
        only = ONLY.get((top, folder))
        if only is not None and header not in only:
            return f'{top}/ may use only {", ".join(sorted(only))} of {folder}/'
        return None
    if top in SYSTEM and SYSTEM_FORBIDDEN.search(line):
        return 'the system reaches threads, clocks and random numbers through platform/'
    return None


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), '..')
    found = list(crossings(root))
    for line in found:
        print(line)
    print(f'{len(found)} include(s) across the layers')
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main())
