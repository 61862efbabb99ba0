#!/usr/bin/env bash
# The bundled sample job mixes A4, Letter and A4 landscape: each page comes
# out on its own paper and renders like the engine's surface of it; with
# --paper A4 the Letter page keeps its proportions on A4. At 100 dpi, to
# keep the pixel comparison short.
set -euo pipefail
export SOURCE_DATE_EPOCH=1700000000 TZ=UTC
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
export XDG_CONFIG_HOME="$tmp/config"
"$SNK_BUILD/make_sample_job" "$tmp" > /dev/null
pages=("$tmp"/sample-*.emf)
fail() { echo "FAIL: $*"; exit 1; }

"$SNK_BUILD/snkprint" --dpi 100 "${pages[@]}" -o "$tmp/mixed.pdf" --dump-surface "$tmp/surface"
qpdf --check "$tmp/mixed.pdf" > /dev/null || fail "qpdf --check"
sizes=$(pdfinfo -f 1 -l 3 "$tmp/mixed.pdf" | sed -n 's/^Page *\([0-9]\) size: *\([0-9.]* x [0-9.]*\) pts.*/\1 \2/p')
expected=$'1 594.72 x 841.68\n2 612 x 792\n3 841.68 x 594.72'
[ "$sizes" = "$expected" ] || fail "page sizes: $sizes"

"$SNK_BUILD/snkprint" --dpi 100 --paper A4 "${pages[1]}" -o "$tmp/fitted.pdf" --dump-surface "$tmp/fitted"
pdfinfo "$tmp/fitted.pdf" | grep -q 'size: *594.72 x 841.68' || fail "--paper A4 gave other paper"

if [ "${SNK_SANITIZE:-OFF}" = ON ]; then
  echo "paper sizes checked; pixel agreement is measured in the normal build"
  exit 0
fi
pdftoppm -r 100 -png "$tmp/mixed.pdf" "$tmp/page"
pdftoppm -r 100 -png "$tmp/fitted.pdf" "$tmp/fit"
/usr/bin/python3 - "$tmp" "$SNK_SOURCE/../shared/tools/pixagree.py" <<'PY'
import os, subprocess, sys
from PIL import Image
import numpy as np
tmp, pixagree = sys.argv[1], sys.argv[2]
failed = False
if os.path.exists(pixagree):
    for n in (1, 2, 3):
        out = subprocess.run([sys.executable, pixagree, f'{tmp}/surface/page-000{n}.png', f'{tmp}/page-{n}.png'],
                             capture_output=True, text=True).stdout
        ink = float(out.split('ink_t1=')[1].split()[0])
        print(f'page {n}: {out.strip()}')
        if ink < 0.9:
            failed = True
            print(f'FAIL: page {n} does not render like its surface')
def ink_box(path):
    a = np.asarray(Image.open(path).convert('L')) < 224
    rows, cols = np.where(a.any(axis=1))[0], np.where(a.any(axis=0))[0]
    return cols[-1] - cols[0] + 1, rows[-1] - rows[0] + 1
own = ink_box(f'{tmp}/surface/page-0002.png')
fitted = ink_box(f'{tmp}/fitted/page-0001.png')
ratio = (own[0] / own[1]) / (fitted[0] / fitted[1])
print(f'Letter page ink {own}, on A4 {fitted}: aspect ratio kept within {abs(ratio - 1):.4f}')
if abs(ratio - 1) > 0.01:
    failed = True
    print('FAIL: --paper A4 distorts the Letter page')
sys.exit(1 if failed else 0)
PY
