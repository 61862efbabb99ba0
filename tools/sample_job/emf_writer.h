// Authors EMF files record by record, for tests and the sample job; not part
// of the shipped host library.
//
// Records are appended in order; Finish() puts EMR_HEADER in front (with the
// description, nBytes, nRecords and nHandles as the highest object index
// used + 1) and EMR_EOF at the end. The writer does no drawing and keeps no
// device context: it writes what it is told, in [MS-EMF] layouts, so tests
// can also author odd files with Add().
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win_types.h"

namespace snk::gdi {

using COLORREF = uint32_t;  // 0x00bbggrr

constexpr COLORREF Rgb(uint8_t r, uint8_t g, uint8_t b) {
  return uint32_t{r} | uint32_t{g} << 8 | uint32_t{b} << 16;
}

// A point of the 16-bit poly records ([MS-EMF] 2.2.23 PointS).
struct PointS {
  int16_t x;
  int16_t y;
};

// The font fields an EMR_EXTCREATEFONTINDIRECTW carries ([MS-EMF] 2.2.13
// LogFont); the writer pads the record to a LogFontPanose.
struct EmfFont {
  int32_t height = 0;  // logical units; negative: character height
  int32_t width = 0;
  int32_t escapement = 0;  // tenths of a degree
  int32_t orientation = 0;
  int32_t weight = 400;
  uint8_t italic = 0;
  uint8_t underline = 0;
  uint8_t strikeOut = 0;
  uint8_t charSet = 1;  // DEFAULT_CHARSET
  uint8_t outPrecision = 0;
  uint8_t clipPrecision = 0;
  uint8_t quality = 0;
  uint8_t pitchAndFamily = 0;
  std::u16string face;  // at most 31 characters are kept
};

// Common values of the state records.
inline constexpr uint32_t kTransparent = 1;  // EMR_SETBKMODE
inline constexpr uint32_t kOpaque = 2;
inline constexpr uint32_t kMmText = 1;  // EMR_SETMAPMODE
inline constexpr uint32_t kMmIsotropic = 7;
inline constexpr uint32_t kMmAnisotropic = 8;
inline constexpr uint32_t kPsSolid = 0;  // pen styles
inline constexpr uint32_t kPsDash = 1;
inline constexpr uint32_t kPsDot = 2;
inline constexpr uint32_t kPsNull = 5;
inline constexpr uint32_t kBsSolid = 0;  // brush styles
inline constexpr uint32_t kBsNull = 1;
inline constexpr uint32_t kBsHatched = 2;
inline constexpr uint32_t kStockObject = 0x80000000;  // | stock object number

// A bitmap a record carries: the BITMAPINFO (header and colour table) and
// the bits. An empty info means "no bitmap".
struct EmfBitmap {
  std::vector<std::byte> info;
  std::vector<std::byte> bits;
  uint32_t usage = 0;  // DIB_RGB_COLORS, or DIB_PAL_COLORS (16-bit indices)
};

// The destination of a blit in logical units.
struct EmfBox {
  int32_t x = 0, y = 0, cx = 0, cy = 0;
};

// A vertex of EMR_GRADIENTFILL ([MS-EMF] TriVertex): logical position and
// 16-bit colour components.
struct EmfVertex {
  int32_t x = 0, y = 0;
  uint16_t red = 0, green = 0, blue = 0, alpha = 0;
};

// The fields of a text record besides its reference point and string
// ([MS-EMF] 2.2.5 EmrText).
struct EmfText {
  uint32_t options = 0;       // ETO_* flags; with 0x0100 (ETO_NO_RECT) no rectangle is written
  RECTL rect{0, 0, -1, -1};   // clipping and opaquing rectangle, logical units
  std::vector<int32_t> dx;    // one advance per value (pairs with ETO_PDY); empty: no spacing
  uint32_t graphicsMode = 1;  // GM_COMPATIBLE; 2 is GM_ADVANCED
};

// One string of EMR_POLYTEXTOUTW.
struct EmfTextPiece {
  int32_t x = 0, y = 0;
  std::u16string text;
  EmfText fields;
};

inline constexpr uint32_t kSrcCopy = 0x00CC0020;  // raster operations of the blit records
inline constexpr uint32_t kPatCopy = 0x00F00021;
inline constexpr uint32_t kSrcAnd = 0x008800C6;
inline constexpr uint32_t kDstInvert = 0x00550009;

class EmfWriter {
 public:
  // `frame` in 0.01 mm; the reference device's size in pixels and mm.
  EmfWriter(RECTL frame, SIZEL devicePixels, SIZEL deviceMillimeters);

  // Replaces the header's description ("snk sample" by default).
  void SetDescription(std::u16string description) { description_ = std::move(description); }
  // Replaces the header's bounds (by default the frame's, in device pixels).
  void SetBounds(const RECTL& bounds) { bounds_ = bounds; }

  // Appends a record of `type` whose fields are `payload` (without type and
  // size), zero-padded to a multiple of 4.
  void Add(uint32_t type, std::span<const std::byte> payload);

  void SetBkMode(uint32_t mode);
  void SetMapMode(uint32_t mode);
  void SetTextColor(COLORREF color);
  void SetTextAlign(uint32_t align);
  void SetWindowExtEx(int32_t cx, int32_t cy);
  void SetWindowOrgEx(int32_t x, int32_t y);
  void SetViewportExtEx(int32_t cx, int32_t cy);
  void SetViewportOrgEx(int32_t x, int32_t y);
  void SaveDC();
  void RestoreDC(int32_t saved);  // negative: relative to the current state

  // Object records take the handle-table index (1 and up) to create at.
  void CreatePen(uint32_t handle, uint32_t style, int32_t width, COLORREF color);
  void CreateBrushIndirect(uint32_t handle, uint32_t style, COLORREF color, uint32_t hatch = 0);
  void ExtCreateFontIndirectW(uint32_t handle, const EmfFont& font);
  void SelectObject(uint32_t handle);  // an index or kStockObject | n
  void DeleteObject(uint32_t handle);

  // A state record of 32-bit fields ("SETROP2", "SETPOLYFILLMODE", ...).
  void State(uint32_t type, std::initializer_list<uint32_t> fields) { AddU32s(type, fields); }
  // EMR_SETWORLDTRANSFORM, and EMR_MODIFYWORLDTRANSFORM with its mode.
  void SetWorldTransform(const float xform[6]);
  void ModifyWorldTransform(const float xform[6], uint32_t mode);
  // EXTCREATEPEN with a solid brush; no bitmap.
  void ExtCreatePen(uint32_t handle, uint32_t style, uint32_t width, COLORREF color,
                    std::span<const uint32_t> userStyle = {});

  // Records without fields: EMR_BEGINPATH, EMR_ENDPATH, EMR_CLOSEFIGURE,
  // EMR_ABORTPATH, EMR_FLATTENPATH, EMR_WIDENPATH, EMR_SAVEDC...
  void Bare(uint32_t type) { AddU32s(type, {}); }
  // EMR_FILLPATH, EMR_STROKEPATH, EMR_STROKEANDFILLPATH (with empty bounds).
  void PathOp(uint32_t type) { AddU32s(type, {0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu}); }
  // EMR_INTERSECTCLIPRECT / EMR_EXCLUDECLIPRECT and any record of one RECTL.
  void RectRecord(uint32_t type, RECTL box);
  // EMR_EXTSELECTCLIPRGN with RGNDATA of the rectangles (none: no data).
  void ExtSelectClipRgn(std::span<const RECTL> rects, uint32_t mode);
  // EMR_FILLRGN (brush given), EMR_PAINTRGN and EMR_INVERTRGN (brush 0 unused).
  void RegionRecord(uint32_t type, std::span<const RECTL> rects, uint32_t brush = 0);
  // The 32-bit poly records (EMR_POLYLINE, EMR_POLYGON, EMR_POLYBEZIER, ...).
  void Poly(uint32_t type, std::span<const POINTL> points);
  // EMR_POLYPOLYGON / EMR_POLYPOLYLINE.
  void PolyPoly(uint32_t type, std::span<const std::vector<POINTL>> polys);
  // RGNDATA bytes for the rectangles.
  static std::vector<std::byte> RegionData(std::span<const RECTL> rects);

  void Rectangle(RECTL box);
  void Ellipse(RECTL box);
  void MoveToEx(int32_t x, int32_t y);
  void LineTo(int32_t x, int32_t y);
  void Polygon16(std::span<const PointS> points);
  void PolyBezier16(std::span<const PointS> points);  // 1 + 3n points
  // Text at the reference point in GM_COMPATIBLE mode. With `dx` (one
  // advance per UTF-16 unit) the spacing is given; without, offDx is 0.
  void ExtTextOutW(int32_t x, int32_t y, std::u16string_view text, std::span<const int32_t> dx = {},
                   uint32_t options = 0);
  // EMR_EXTTEXTOUTW and EMR_EXTTEXTOUTA (bytes in the font's code page)
  // with every field given.
  void ExtTextOutW(int32_t x, int32_t y, std::u16string_view text, const EmfText& fields);
  void ExtTextOutA(int32_t x, int32_t y, std::string_view bytes, const EmfText& fields);
  void PolyTextOutW(std::span<const EmfTextPiece> pieces, uint32_t graphicsMode = 1);
  // EMR_SMALLTEXTOUT: with ETO_SMALL_CHARS (0x0200) in `options` the values
  // are written as bytes (their low eight bits); the rectangle is written
  // unless ETO_NO_RECT (0x0100) is set.
  void SmallTextOut(int32_t x, int32_t y, std::u16string_view text, uint32_t options,
                    RECTL rect = {0, 0, -1, -1}, uint32_t graphicsMode = 1);
  void SetTextJustification(int32_t breakExtra, int32_t breakCount);

  // A BITMAPINFOHEADER of `headerSize` bytes (40, or 108/124 for V4/V5)
  // followed by the three `masks` (BI_BITFIELDS with a 40-byte header)
  // and `table` as RGBQUADs. For V4/V5 headers the masks go inside.
  static std::vector<std::byte> BitmapInfo(int32_t width, int32_t height, uint16_t bitCount,
                                           uint32_t compression = 0, std::span<const COLORREF> table = {},
                                           std::span<const uint32_t> masks = {}, uint32_t headerSize = 40,
                                           uint32_t sizeImage = 0);
  // `pixels` (top row first) as a bottom-up 24-bit BI_RGB bitmap.
  static EmfBitmap Dib24(int32_t width, int32_t height, std::span<const COLORREF> pixels);

  void SetStretchBltMode(uint32_t mode);
  // The raster operations are the records' 32-bit codes (kSrcCopy ...);
  // MaskBlt takes MAKEROP4(foreground, background). `xformSrc` null is
  // the identity.
  void BitBlt(EmfBox dest, uint32_t rop, int32_t xSrc, int32_t ySrc, const EmfBitmap& source,
              const float* xformSrc = nullptr);
  void StretchBlt(EmfBox dest, uint32_t rop, EmfBox src, const EmfBitmap& source,
                  const float* xformSrc = nullptr);
  void MaskBlt(EmfBox dest, uint32_t rop4, int32_t xSrc, int32_t ySrc, const EmfBitmap& source, int32_t xMask,
               int32_t yMask, const EmfBitmap& mask);
  // Source's top-left, top-right and bottom-left corners land on `dest`.
  void PlgBlt(const POINTL dest[3], EmfBox src, const EmfBitmap& source, int32_t xMask = 0, int32_t yMask = 0,
              const EmfBitmap& mask = {});
  void StretchDIBits(EmfBox dest, EmfBox src, uint32_t rop, const EmfBitmap& source);
  void SetDIBitsToDevice(int32_t xDest, int32_t yDest, EmfBox src, uint32_t startScan, uint32_t scans,
                         const EmfBitmap& source);
  // `blend`: BlendOperation | BlendFlags << 8 | SourceConstantAlpha << 16 |
  // AlphaFormat << 24.
  void AlphaBlend(EmfBox dest, uint32_t blend, EmfBox src, const EmfBitmap& source);
  void TransparentBlt(EmfBox dest, COLORREF key, EmfBox src, const EmfBitmap& source);
  // `indices`: two per rectangle or three per triangle, as `mode` says.
  void GradientFill(std::span<const EmfVertex> vertices, std::span<const uint32_t> indices, uint32_t mode);

  // The whole file: header, the records added so far, EMR_EOF. The writer
  // can go on adding records afterwards.
  std::vector<std::byte> Finish() const;
  bool WriteFile(const std::string& path) const;

 private:
  void AddU32s(uint32_t type, std::initializer_list<uint32_t> fields);
  void AddPoly16(uint32_t type, std::span<const PointS> points);
  void TextRecord(uint32_t type, int32_t x, int32_t y, std::span<const std::byte> string, uint32_t count,
                  const EmfText& fields);
  void StretchLike(uint32_t type, EmfBox dest, uint32_t op, EmfBox src, const EmfBitmap& source,
                   const float* xformSrc);
  void SourceBlt(uint32_t type, EmfBox dest, uint32_t op, int32_t xSrc, int32_t ySrc, const SIZEL* extent,
                 const EmfBitmap& source, const float* xformSrc);
  void UseHandle(uint32_t handle);
  std::vector<std::byte> Header(uint32_t totalBytes, uint32_t totalRecords) const;

  RECTL frame_;
  SIZEL devicePixels_;
  SIZEL deviceMillimeters_;
  std::u16string description_ = u"snk sample";
  std::optional<RECTL> bounds_;
  std::vector<std::byte> records_;
  uint32_t recordCount_ = 0;
  uint32_t maxHandle_ = 0;
};

}  // namespace snk::gdi
