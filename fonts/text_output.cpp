// The page's text block: glyphs to " Tm ", " Tf ", colours, " TD " and TJ
// arrays.
#include "fonts/text_output.h"

#include <cmath>
#include <cstdlib>
#include <string>

#include "base/number_format.h"
#include "fonts/document_font.h"

namespace {

// A byte of a string that PDF readers could take for something else (a
// delimiter, the escape, a line end or any control) is written as an octal
// escape; every other byte, also 127 and above, stands as it is.
bool NeedsEscape(uint8_t byte) { return byte < 32 || byte == '(' || byte == ')' || byte == '\\'; }

}  // namespace

void CKMC_TextObject::AppendNumber(double value) { buffer.AppendString(snk::FormatNumber(value)); }

// The code's bytes as they lie in memory, low byte first: a two-byte code
// comes with its bytes swapped, so that its high byte is written first, as
// a CID font's string is read.
void CKMC_TextObject::AppendCode(uint32_t code, uint32_t length) {
  if (length > 4) length = 4;
  for (uint32_t i = 0; i < length; ++i) {
    const auto byte = static_cast<uint8_t>(code >> (8 * i));
    if (!NeedsEscape(byte)) {
      buffer.AppendByte(byte);
      continue;
    }
    const char escaped[4] = {'\\', static_cast<char>('0' + (byte >> 6)),
                             static_cast<char>('0' + ((byte >> 3) & 7)), static_cast<char>('0' + (byte & 7))};
    buffer.AppendBlock(escaped, sizeof escaped);
  }
}

void CKMC_TextObject::CloseTextArray() {
  if (state != kInArray) return;
  buffer.AppendString(")]TJ ");
  // A line end now and then keeps the content readable by tools that
  // dislike long lines.
  const auto hundreds = static_cast<uint32_t>(buffer.GetSize() / 100);
  if (hundreds > lastHundreds) buffer.AppendByte('\n');
  lastHundreds = hundreds;
  state = kInBlock;
}

// A new TJ array at (u, v), placed relative to the last " TD ".
void CKMC_TextObject::StartArray(double u, double v) {
  CloseTextArray();
  AppendNumber(u - lineU);
  buffer.AppendByte(' ');
  AppendNumber(v - lineV);
  buffer.AppendString(" TD [(");
  penU = lineU = u;
  penV = lineV = v;
}

void CKMC_TextObject::PlaceHorizontal(const CKMC_GlyphStyle& style, double u, double v) {
  const double du = u - penU, dv = v - penV;
  if (dv != 0 || state != kInArray) {
    StartArray(u, v);
    return;
  }
  // Half a device unit, in text space along the baseline.
  const double threshold =
      std::fabs((matrix.d - matrix.c) * scale * 0.5 / (matrix.d * matrix.a - matrix.c * matrix.b));
  if (!(std::fabs(du) > threshold)) return;
  // A gothic face keeps the number unsigned, as the fonts it stands for
  // were measured that way.
  const double number = du * -1000.0 / style.size;
  buffer.AppendByte(')');
  AppendNumber(style.gothic ? std::fabs(number) : number);
  buffer.AppendByte('(');
  penU += du;
}

void CKMC_TextObject::PlaceVertical(const CKMC_GlyphStyle& style, double u, double v) {
  const double du = u - penU, dv = v - penV;
  if (du != 0 || state != kInArray) {
    StartArray(u, v);
    return;
  }
  const double threshold =
      std::fabs((matrix.b - matrix.a) * scale * 0.5 / (matrix.c * matrix.b - matrix.d * matrix.a));
  if (!(std::fabs(dv) > threshold)) return;
  buffer.AppendByte(')');
  AppendNumber(dv * -1000.0 / style.size);
  buffer.AppendByte('(');
  penV += dv;
}

uint32_t CKMC_TextObject::EmitGlyph(const CKMC_GlyphStyle& style, uint16_t unicode, HGLYPH glyph, int32_t x,
                                    int32_t y) {
  CKMC_Font& font = *style.font;
  const CKMC_MappedCharacter mapped = font.MapCharacter(unicode, glyph, style.vertical);
  if (mapped.length == 0) return 0;

  if (!(style.matrix == matrix)) {
    matrix = style.matrix;
    penU = penV = lineU = lineV = 0;
    CloseTextArray();
    AppendNumber(matrix.a);
    buffer.AppendByte(' ');
    AppendNumber(matrix.b);
    buffer.AppendByte(' ');
    AppendNumber(matrix.c);
    buffer.AppendByte(' ');
    AppendNumber(matrix.d);
    buffer.AppendString(" 0 0 Tm ");
  }
  if (state == kOutside || mapped.fontNumber != fontNumber) {
    fontNumber = mapped.fontNumber;
    CloseTextArray();
    buffer.AppendString("/F");
    buffer.AppendString(snk::FormatInteger(fontNumber));
    buffer.AppendByte(' ');
    AppendNumber(style.size);
    buffer.AppendString(" Tf ");
  }
  if (state == kOutside || style.color != color) {
    color = style.color;
    CloseTextArray();
    std::string rgb = snk::FormatNumber((color & 0xFF) / 255.0) + ' ' +
                      snk::FormatNumber(((color >> 8) & 0xFF) / 255.0) + ' ' +
                      snk::FormatNumber(((color >> 16) & 0xFF) / 255.0);
    buffer.AppendString(rgb);
    buffer.AppendString(" sc ");
    buffer.AppendString(rgb);
    buffer.AppendString(" SC ");
  }
  if (state == kOutside || style.boldWidth != boldWidth) {
    boldWidth = style.boldWidth;
    CloseTextArray();
    // Simulated bold strokes the outlines as well; its width is set with
    // " w " outside the block.
    buffer.AppendString(boldWidth == 0 ? "0 Tr " : "2 Tr ");
  }

  // The device position in text space: the inverse of the matrix applied
  // to the point in user space.
  const double px = x * scale, py = (height - y) * scale;
  double u = (matrix.d * px - matrix.c * py) / (matrix.d * matrix.a - matrix.c * matrix.b);
  const double v = (matrix.b * px - matrix.a * py) / (matrix.c * matrix.b - matrix.d * matrix.a);
  if (style.vertical) {
    // Vertical glyphs hang from the middle of the em box.
    const int32_t ascent = std::abs(font.ascent), descent = std::abs(font.descent);
    u += ((ascent + descent) / 2 - descent) / 1000.0;
    PlaceVertical(style, u, v);
    AppendCode(mapped.code, mapped.length);
    state = kInArray;
    // The pen steps one text unit whatever the glyph's height; the real
    // advance shows up as a TJ number at the next glyph.
    penV -= 1.0;
  } else {
    PlaceHorizontal(style, u, v);
    AppendCode(mapped.code, mapped.length);
    state = kInArray;
    penU += mapped.width * style.size / 1000.0;
  }
  return mapped.fontNumber;
}

void CKMC_TextObject::FlushText(CKM_BinaryBuf& out) {
  if (IsEmpty()) return;
  out.AppendString("BT ");
  out.AppendBlock(buffer.GetBuffer(), buffer.GetSize());
  out.AppendString(")]TJ ET\n");
  // Font, colour and render mode are remembered but written again, since
  // the next block starts with nothing known.
  state = kOutside;
  lastHundreds = 0;
  matrix = CKMC_TextMatrix{};
  penU = penV = lineU = lineV = 0;
  buffer.Clear();
}

void CKMC_TextObject::Reset() {
  buffer.Clear();
  state = kOutside;
  lastHundreds = 0;
  matrix = CKMC_TextMatrix{};
  penU = penV = lineU = lineV = 0;
  fontNumber = 0;
  color = 0;
  boldWidth = 0;
}
