// CKMC_TextRunWriter: one DrvTextOut run into the page's text block.
//
// A run brings its opaque background, its colour, its matrices and its
// glyphs; each glyph is mapped to a subfont of the document's fonts, and
// every subfont the page uses is named among the page's resources.
//
// One object per document, on the job's thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "fonts/font.h"
#include "fonts/text_output.h"
#include "graphics/text_sink.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

// A name of the IFIMETRICS block at byte offset `offset`: zero-ended UTF-16
// within the block's cjThis bytes, empty when it lies outside.
std::u16string_view MetricsName(const IFIMETRICS& metrics, PTRDIFF offset);

struct CKMC_RunGeometry;

class CKMC_TextRunWriter {
 public:
  CKMC_TextRunWriter(CKMC_FontCatalogue& fonts, CKMC_TextObject& text, CKMC_DocumentWriter& writer,
                     IKMC_TextCanvas& canvas)
      : m_fonts(fonts), m_text(text), m_writer(writer), m_canvas(canvas) {}
  CKMC_TextRunWriter(const CKMC_TextRunWriter&) = delete;
  CKMC_TextRunWriter& operator=(const CKMC_TextRunWriter&) = delete;

  // Writes the run's opaque background (when both `opaqueRect` and `opaque`
  // are given) and its glyphs in the colour of `foreground`.
  void WriteRun(SURFOBJ* surface, STROBJ* run, FONTOBJ* font, const RECTL* opaqueRect, BRUSHOBJ* foreground,
                BRUSHOBJ* opaque);

 private:
  void WriteBackground(CKM_BinaryBuf& out, const RECTL& rect, BRUSHOBJ* brush);
  // Appends the run's glyphs to the page's text block.
  void WriteGlyphs(STROBJ* run, FONTOBJ* fontObject, const IFIMETRICS& metrics, CKMC_GlyphStyle style,
                     const CKMC_RunGeometry& geometry);
  // Whether `faceName` is a gothic face, whose TJ numbers go without sign.
  bool IsGothicFace(std::u16string_view faceName);

  CKMC_FontCatalogue& m_fonts;
  CKMC_TextObject& m_text;
  CKMC_DocumentWriter& m_writer;
  IKMC_TextCanvas& m_canvas;
  // The last face name asked about and whether it is a gothic face: a
  // page's runs mostly share their face, and the answer costs a walk of the
  // installed names.
  std::u16string m_gothicFace;
  bool m_gothicAnswer = false;
};
