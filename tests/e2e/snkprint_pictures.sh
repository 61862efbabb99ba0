#!/usr/bin/env bash
# The corpus's picture pages (bitmaps, gradients, transparency): each PDF
# passes qpdf with ImageCompress=0, with the default settings (JPEG images)
# and with GDIPunt=0 (where it keeps its images), and its rendering agrees
# with the engine's surface of the same page. At 72 dpi to keep the run
# short; bench/ and scripts/surface_agreement.py measure at 300 dpi. The
# sanitizer build prints the whole corpus in snkprint_corpus already.
if [ "${SNK_SANITIZE:-OFF}" = ON ]; then
  echo "skipped: pixel agreement is measured in the normal build"
  exit 77
fi
exec python3 "$SNK_SOURCE/scripts/surface_agreement.py" --set pictures --modes --dpi 72 --jobs 2 --check \
  --known "$SNK_SOURCE/tests/e2e/picture_known_gaps.tsv"
