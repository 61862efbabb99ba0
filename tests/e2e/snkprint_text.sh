#!/usr/bin/env bash
# The corpus's pages with text, printed without embedded fonts: each PDF
# passes qpdf, pdftotext finds the characters of the EMF's text records,
# and the text stays in one text object per run at most. The pixel
# agreement of these pages is checked with the vector and picture sets.
exec python3 "$SNK_SOURCE/scripts/surface_agreement.py" --set text --no-pixels --dpi 72 --jobs 2 --check \
  --known "$SNK_SOURCE/tests/e2e/text_known_gaps.tsv"
