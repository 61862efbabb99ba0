// CKMC_TextObject: the page's open text block.
//
// Glyphs of every DrvTextOut go into one growing text block, which is held
// back until something else is drawn or the page ends; then it is written
// as "BT " ... "]TJ ET\n". Within the block a small pen model tracks where
// the next glyph would land by itself, so that a run with natural spacing
// needs no position operator: only a drift of more than half a device unit
// is written, as a number inside the TJ array. Matrix, font, colour and
// render mode are written only when they change.
//
// One object per document, on the job's thread.
#pragma once

#include <cstdint>

#include "base/binary_buf.h"
#include "graphics/text_sink.h"
#include "platform/winddi.h"

class CKMC_Font;

// A text matrix without its translation: a b c d of " Tm ".
struct CKMC_TextMatrix {
  double a = 1, b = 0, c = 0, d = 1;
  bool operator==(const CKMC_TextMatrix&) const = default;
};

// What the glyphs of one run share, apart from their position.
struct CKMC_GlyphStyle {
  uint32_t color = 0;  // colour word, red in the low byte
  CKMC_TextMatrix matrix;
  CKMC_Font* font = nullptr;
  double size = 1;        // the " Tf " size
  double boldWidth = 0;   // stroke width of simulated bold, 0 for none
  bool vertical = false;  // set in a vertical subfont, the pen moving down
  bool gothic = false;    // a face whose TJ numbers are written unsigned
};

class CKMC_TextObject : public IKMC_TextSink {
 public:
  // Where the block stands.
  static constexpr uint32_t kOutside = 0;  // no text block
  static constexpr uint32_t kInBlock = 1;  // inside the block, no TJ array open
  static constexpr uint32_t kInArray = 2;  // a TJ array with an open string

  // Appends one glyph whose origin is at device pixel (x, y). Returns the
  // number of the subfont it was set in, or 0 if the font cannot show the
  // character, in which case nothing changes.
  uint32_t EmitGlyph(const CKMC_GlyphStyle& style, uint16_t unicode, HGLYPH glyph, int32_t x, int32_t y);
  // Ends an open TJ array: ")]TJ ", and a line feed when the block has
  // grown into a new hundred of bytes since the last one.
  void CloseTextArray();
  // Writes the block to `out` and starts afresh; nothing if it is empty.
  void FlushText(CKM_BinaryBuf& out) override;
  // Drops the block and every remembered value, for a new document.
  void Reset();

  bool IsEmpty() const { return buffer.GetSize() == 0; }

  CKMC_TextMatrix matrix;       // the matrix of the last " Tm " (identity at "BT ")
  double scale = 0.24;          // points per device pixel
  double height = 0;            // page height in device pixels
  double penU = 0, penV = 0;    // where the next glyph lands by itself, text space
  double lineU = 0, lineV = 0;  // the position of the last " TD "
  uint32_t fontNumber = 0;
  uint32_t state = kOutside;
  uint32_t color = 0;
  CKM_BinaryBuf buffer;  // the block without "BT " and without the end of its last TJ
  uint32_t lastHundreds = 0;
  double boldWidth = 0;

 private:
  void AppendCode(uint32_t code, uint32_t length);
  void AppendNumber(double value);
  void PlaceHorizontal(const CKMC_GlyphStyle& style, double u, double v);
  void PlaceVertical(const CKMC_GlyphStyle& style, double u, double v);
  void StartArray(double u, double v);
};
