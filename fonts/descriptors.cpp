// Font descriptors: a face's metrics taken once from its IFIMETRICS, scaled
// to thousandths of an em, and the /FontDescriptor of the not-embedded
// fonts.
#include <algorithm>
#include <string>

#include "fonts/charset_tables.h"
#include "fonts/font.h"
#include "fonts/subfonts.h"

namespace {

// (upem/2 + v*1000)/upem in whole numbers, truncated toward zero as integer
// division does: -200 at 1000 units gives -199, not -200.
int32_t Scaled(int64_t value, int32_t unitsPerEm) {
  if (unitsPerEm == 0) return 0;
  int64_t scaled = (unitsPerEm / 2 + value * 1000) / unitsPerEm;
  return static_cast<int32_t>(std::clamp<int64_t>(scaled, INT32_MIN, INT32_MAX));
}

// The descriptor flags (PDF 32000-1, 9.8.2): symbolic or not, fixed pitch,
// serif and script from the pitch and family byte, italic.
uint32_t DescriptorFlags(const IFIMETRICS& metrics) {
  uint32_t flags = metrics.jWinCharSet == SYMBOL_CHARSET ? 4 : 0x20;
  if ((metrics.jWinPitchAndFamily & 3) == 1) flags |= 1;
  switch (metrics.jWinPitchAndFamily & 0xF0) {
    case 0x10:  // roman
      flags |= 2;
      break;
    case 0x30:  // modern
      flags |= 1;
      break;
    case 0x40:  // script
      flags |= 8;
      break;
    default:
      break;
  }
  if (metrics.fsSelection & FM_SEL_ITALIC) flags |= 0x40;
  return flags;
}

}  // namespace

void CKMC_Font::SetMetrics(const IFIMETRICS& metrics) {
  unitsPerEm = metrics.fwdUnitsPerEm;
  bboxLeft = Scaled(metrics.rclFontBox.left, unitsPerEm);
  bboxTop = Scaled(metrics.rclFontBox.top, unitsPerEm);
  bboxRight = Scaled(metrics.rclFontBox.right, unitsPerEm);
  bboxBottom = Scaled(metrics.rclFontBox.bottom, unitsPerEm);
  italicAngle = metrics.lItalicAngle;
  ascent = Scaled(metrics.fwdTypoAscender, unitsPerEm);
  descent = Scaled(metrics.fwdTypoDescender, unitsPerEm);
  capHeight = Scaled(metrics.fwdCapHeight, unitsPerEm);
  stemV = metrics.usWinWeight * 100 / 500;
  fsType = metrics.fsType;
  flags = DescriptorFlags(metrics);
}

void CKMC_Font::FillDescriptor(CKMC_Dictionary& descriptor, const CKM_ByteString& fontName) const {
  descriptor.SetLiteral("/Type", "/FontDescriptor");
  descriptor.SetLiteral("/FontName", PdfFontName(fontName));
  // Left, bottom, right, top: the order of a PDF rectangle.
  descriptor.SetLiteral(
      "/FontBBox", CKM_ByteString("[" + std::to_string(bboxLeft) + " " + std::to_string(bboxBottom) + " " +
                                  std::to_string(bboxRight) + " " + std::to_string(bboxTop) + "]"));
  descriptor.SetNumber("/Flags", flags);
  descriptor.SetNumber("/ItalicAngle", italicAngle);
  descriptor.SetNumber("/Ascent", ascent);
  descriptor.SetNumber("/Descent", descent);
  descriptor.SetNumber("/CapHeight", capHeight);
  descriptor.SetNumber("/StemV", stemV);
}

void CKMC_Font::WriteDescriptor(uint32_t objectNumber, int32_t missingWidth) {
  CKMC_Dictionary descriptor;
  FillDescriptor(descriptor, name);
  // The Gothic faces' characters not in a width table are half-width.
  if (gothic)
    descriptor.SetNumber("/MissingWidth", 500);
  else if (missingWidth != 0)
    descriptor.SetNumber("/MissingWidth", missingWidth);
  catalogue.writer.WriteIndirectObject(objectNumber, &descriptor);
}
