// Decoders of the objects that EMF records carry: region data and device-
// independent bitmaps. Their bytes are untrusted: every count, size and
// offset is checked, and a fault is reported in words that name the field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/region.h"
#include "host/engine/xlate.h"
#include "platform/winddi.h"

namespace snk::gdi {

// RGNDATA: a 32-byte header (dwSize 32, iType 1 = RDH_RECTANGLES, nCount,
// nRgnSize, rcBound) and nCount rectangles, in device units. The rectangles
// are united whatever their order; nRgnSize and rcBound are not trusted.
std::optional<engine::Region> ParseRegionData(std::span<const std::byte> data, std::string* fault);

inline constexpr uint32_t DIB_RGB_COLORS = 0;
inline constexpr uint32_t DIB_PAL_COLORS = 1;

// A decoded bitmap: COLORREF words (red in bits 0-7), top row first.
struct DibPixels {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> pixels;
};

// Decodes a BITMAPINFO (`info`: header and colour table) and its bits.
// For a 1-bit bitmap `mono`, when given, replaces the colour table: bit 0
// takes mono[0], bit 1 takes mono[1] (as a monochrome pattern brush takes
// the text and background colours). DIB_PAL_COLORS tables index the
// default palette.
std::optional<DibPixels> DecodeDib(std::span<const std::byte> info, std::span<const std::byte> bits,
                                   uint32_t usage, const uint32_t* mono, std::string* fault);

// Compressions of a BITMAPINFOHEADER.
inline constexpr uint32_t BI_RGB = 0;
inline constexpr uint32_t BI_RLE8 = 1;
inline constexpr uint32_t BI_RLE4 = 2;
inline constexpr uint32_t BI_BITFIELDS = 3;
inline constexpr uint32_t BI_JPEG = 4;
inline constexpr uint32_t BI_PNG = 5;

// A record's bitmap in its own format, ready to become a source surface:
// the rows as the engine reads them (stored as in the DIB, or decoded from
// run lengths or JPEG), or for BI_PNG the file itself.
struct DibSource {
  // How pixel words become colours.
  enum class Colors {
    Indexed,    // palette indices; `palette` holds the colours
    Bitfields,  // 16 or 32-bit words cut by `masks`
    Bgr,        // bytes B, G, R[, unused] (24 and 32-bit BI_RGB)
    Rgb,        // bytes R, G, B: already COLORREF words (decoded JPEG)
  };

  ULONG format = 0;  // BMF_1BPP .. BMF_32BPP, or BMF_PNG
  int32_t width = 0;
  int32_t height = 0;
  bool topDown = false;  // the first stored row is the top row
  uint32_t bitCount = 0;
  uint32_t stride = 0;  // bytes of a stored row; 0 for BMF_PNG
  // The rows followed by one spare row and 4 zero bytes (the engine's
  // readers may read whole words past a row's end), or the PNG file.
  std::vector<uint8_t> bits;
  Colors colors = Colors::Bgr;
  std::vector<uint32_t> palette;  // COLORREF words
  uint32_t masks[3] = {};         // red, green, blue
  // A fault that did not stop the decoding (a colour table cut short, run
  // lengths ending early); empty when there was none.
  std::string note;

  // The bytes of stored rows only (without the slack), or of the file.
  size_t DataBytes() const;
  // The pixel word of (x, y), y counted from the top: a palette index, the
  // 16 or 32 bits of the pixel, or the bytes B|G<<8|R<<16 of a 24-bit pixel
  // (R|G<<8|B<<16 for Rgb). Zero outside or for PNG.
  uint32_t Word(int32_t x, int32_t y) const;
  // The colour of a pixel word, as the source's colour translation gives it.
  uint32_t ColorOf(uint32_t word) const;
  // A COLORREF in the source's own pixel form (for a colour key): the first
  // palette index of that colour, or the nearest colour's index when none is
  // equal; otherwise the word that colour is stored as.
  uint32_t WordOf(uint32_t color) const;
};

// Decodes a BITMAPINFO and its bits into a source bitmap. `maxRows` keeps
// only that many stored rows (a band of scan lines; the header's height is
// cut to it). BI_RLE8/BI_RLE4 become 8/4-bit top-down rows, BI_JPEG a
// 24-bit RGB bitmap, BI_PNG the file with the size of its IHDR chunk.
std::optional<DibSource> DecodeDibSource(std::span<const std::byte> info, std::span<const std::byte> bits,
                                         uint32_t usage, std::string* fault, uint32_t maxRows = UINT32_MAX);

// A decoded bitmap as an engine source surface (EngCreateBitmap over the
// decoded bits) with the colour translation of its pixels. The surface is
// deleted with the object.
class SourceBitmap {
 public:
  static std::unique_ptr<SourceBitmap> Create(DibSource dib, std::string* fault);
  ~SourceBitmap();
  SourceBitmap(const SourceBitmap&) = delete;
  SourceBitmap& operator=(const SourceBitmap&) = delete;

  SURFOBJ* Surface() const { return so_; }
  XLATEOBJ* Xlate() { return &xlate_->xo; }
  const DibSource& dib() const { return dib_; }

 private:
  explicit SourceBitmap(DibSource dib) : dib_(std::move(dib)) {}

  DibSource dib_;
  HSURF hsurf_ = nullptr;
  SURFOBJ* so_ = nullptr;
  std::optional<engine::HostXlate> xlate_;
};

}  // namespace snk::gdi
