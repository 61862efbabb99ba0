#!/usr/bin/env bash
# The corpus's pages with text, printed with the default settings, which
# embed every face: pdffonts lists each font as an embedded Type 0 font
# with the subset tag behind its name, pdftotext gives the characters of
# the print without embedded fonts, and the rendering, made without any
# installed font, agrees with the engine's surface but where the vector,
# picture and text sets know why it cannot. The sanitizer build prints the
# corpus with these settings in snkprint_corpus already.
if [ "${SNK_SANITIZE:-OFF}" = ON ]; then
  echo "skipped: embedded fonts are measured in the normal build"
  exit 77
fi
known=()
for set in vector picture text embed; do known+=(--known "$SNK_SOURCE/tests/e2e/${set}_known_gaps.tsv"); done
exec python3 "$SNK_SOURCE/scripts/surface_agreement.py" --set text --embed --dpi 72 --jobs 2 --check "${known[@]}"
