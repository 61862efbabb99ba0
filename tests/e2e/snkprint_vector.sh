#!/usr/bin/env bash
# The corpus's vector pages: each PDF passes qpdf, and its rendering agrees
# with the engine's surface of the same page. At 72 dpi to keep the run
# short; bench/ and scripts/vector_agreement.py measure at 300 dpi.
exec python3 "$SNK_SOURCE/scripts/vector_agreement.py" --dpi 72 --jobs 2 --check
