#include "host/gdi/emf_objects.h"

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <cstdio>
#include <string_view>
#include <utility>

// After <cstdio>: the library's header uses FILE and size_t.
#include <jpeglib.h>

#include "base/byte_reader.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {
namespace {

constexpr uint32_t kRdhRectangles = 1;
constexpr uint32_t kBiRgb = 0;
constexpr uint32_t kBiRle8 = 1;
constexpr uint32_t kBiRle4 = 2;
constexpr uint32_t kBiBitfields = 3;
constexpr uint64_t kMaxPixels = uint64_t{64} << 20;

std::string Num(uint64_t v) { return std::to_string(v); }

// The default logical palette: the twenty static colours, as COLORREFs.
constexpr uint32_t kDefaultPalette[20] = {
    0x000000, 0x000080, 0x008000, 0x008080, 0x800000, 0x800080, 0x808000, 0xC0C0C0, 0xC0DCC0, 0xF0CAA6,
    0xF0FBFF, 0xA4A0A0, 0x808080, 0x0000FF, 0x00FF00, 0x00FFFF, 0xFF0000, 0xFF00FF, 0xFFFF00, 0xFFFFFF};

// A palette index of a DIB_PAL_COLORS table. The default palette has twenty
// entries; seen as the 256-entry system palette, its first ten sit at the
// start and its last ten at the end, so indices 246..255 reach those too.
// Every other index is black.
uint32_t DefaultPaletteColor(uint16_t index) {
  if (index < 20) return kDefaultPalette[index];
  if (index >= 246 && index <= 255) return kDefaultPalette[index - 236];
  return 0;
}

uint32_t Rgb(uint8_t r, uint8_t g, uint8_t b) { return r | uint32_t{g} << 8 | uint32_t{b} << 16; }

// One colour channel of a bitfields pixel, scaled to eight bits.
struct Channel {
  uint32_t mask = 0;
  int shift = 0;
  int bits = 0;

  explicit Channel(uint32_t m) : mask(m) {
    if (m == 0) return;
    shift = std::countr_zero(m);
    bits = std::bit_width(m >> shift);
  }
  uint8_t Value(uint32_t pixel) const {
    if (bits == 0) return 0;
    const uint64_t v = (pixel & mask) >> shift;
    if (bits >= 8) return static_cast<uint8_t>(v >> (bits - 8));
    const uint64_t max = (uint64_t{1} << bits) - 1;
    return static_cast<uint8_t>((v * 255 + max / 2) / max);
  }
};

struct Header {
  uint32_t size = 0;
  int64_t width = 0;
  int64_t height = 0;  // negative: top-down
  uint32_t bitCount = 0;
  uint32_t compression = kBiRgb;
  uint32_t clrUsed = 0;
  uint32_t sizeImage = 0;
  uint32_t masks[3] = {0, 0, 0};
  bool core = false;
};

bool ReadHeader(std::span<const std::byte> info, Header& h, size_t& tableOffset, std::string* fault) {
  ByteReader r(info);
  if (!r.ReadU32(h.size)) return Fail(fault, "bitmap header: " + Num(info.size()) + " bytes, need 4");
  if (h.size == 12) {
    uint16_t w = 0, hh = 0, planes = 0, bits = 0;
    if (!r.ReadU16(w) || !r.ReadU16(hh) || !r.ReadU16(planes) || !r.ReadU16(bits))
      return Fail(fault, "bitmap header: " + Num(info.size()) + " bytes, bcSize says 12");
    h.core = true;
    h.width = w;
    h.height = hh;
    h.bitCount = bits;
    tableOffset = 12;
    return true;
  }
  if (h.size < 40) return Fail(fault, "biSize " + Num(h.size) + " is no known bitmap header size");
  if (h.size > info.size())
    return Fail(fault, "bitmap header: " + Num(info.size()) + " bytes, biSize says " + Num(h.size));
  int32_t w = 0, hh = 0;
  uint16_t planes = 0, bits = 0;
  uint32_t sizeImage = 0;
  r.ReadI32(w);
  r.ReadI32(hh);
  r.ReadU16(planes);
  r.ReadU16(bits);
  r.ReadU32(h.compression);
  r.ReadU32(sizeImage);
  r.Skip(8);  // resolution
  r.ReadU32(h.clrUsed);
  h.width = w;
  h.height = hh;
  h.bitCount = bits;
  h.sizeImage = sizeImage;
  tableOffset = h.size;
  if (h.compression == kBiBitfields) {
    // The masks follow a plain header and are part of the larger ones.
    ByteReader m(info);
    m.Seek(40);
    if (!m.ReadU32(h.masks[0]) || !m.ReadU32(h.masks[1]) || !m.ReadU32(h.masks[2]))
      return Fail(fault, "bitmap header: " + Num(info.size()) + " bytes, bitfield masks need 52");
    if (h.size == 40) tableOffset = 52;
  }
  return true;
}

// Bytes of a stored row: whole 32-bit words.
uint64_t Stride(uint64_t width, uint32_t bitCount) { return (width * bitCount + 31) / 32 * 4; }

std::string ShortBits(uint64_t have, uint64_t need) {
  return "bitmap bits: " + Num(have) + " bytes, rows need " + Num(need);
}

}  // namespace

std::optional<engine::Region> ParseRegionData(std::span<const std::byte> data, std::string* fault) {
  ByteReader r(data);
  uint32_t size = 0, type = 0, count = 0;
  if (!r.Has(32)) {
    Fail(fault, "region data: " + Num(data.size()) + " bytes, the header needs 32");
    return std::nullopt;
  }
  r.ReadU32(size);
  r.ReadU32(type);
  r.ReadU32(count);
  if (size != 32) {
    Fail(fault, "region header dwSize " + Num(size) + ", expected 32");
    return std::nullopt;
  }
  if (type != kRdhRectangles) {
    Fail(fault, "region header iType " + Num(type) + ", expected 1");
    return std::nullopt;
  }
  r.Skip(20);  // nRgnSize and rcBound are not trusted
  if (uint64_t{count} * 16 > r.remaining()) {
    Fail(fault, "region nCount " + Num(count) + " needs " + Num(uint64_t{count} * 16) + " bytes, " +
                    Num(r.remaining()) + " follow the header");
    return std::nullopt;
  }
  std::vector<RECTL> rects;
  rects.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    RECTL rc{};
    r.ReadI32(rc.left);
    r.ReadI32(rc.top);
    r.ReadI32(rc.right);
    r.ReadI32(rc.bottom);
    if (rc.left < rc.right && rc.top < rc.bottom) rects.push_back(rc);
  }
  return engine::Region::FromRects(rects);
}

std::optional<DibPixels> DecodeDib(std::span<const std::byte> info, std::span<const std::byte> bits,
                                   uint32_t usage, const uint32_t* mono, std::string* fault) {
  std::optional<DibSource> source = DecodeDibSource(info, bits, usage, fault);
  if (!source) return std::nullopt;
  if (source->format == BMF_PNG) {
    Fail(fault, "a PNG bitmap is not decoded here");
    return std::nullopt;
  }
  if (mono && source->bitCount == 1) {
    // The colours replace the table, so a missing table is no loss.
    source->palette = {mono[0] & 0xFFFFFF, mono[1] & 0xFFFFFF};
    source->note.clear();
  }
  // A brush is refused rather than shown with a part of its bitmap missing.
  if (!source->note.empty()) {
    Fail(fault, source->note);
    return std::nullopt;
  }
  DibPixels out;
  out.width = source->width;
  out.height = source->height;
  out.pixels.resize(size_t(out.width) * size_t(out.height));
  for (int32_t y = 0; y < out.height; ++y)
    for (int32_t x = 0; x < out.width; ++x)
      out.pixels[size_t(y) * size_t(out.width) + size_t(x)] = source->ColorOf(source->Word(x, y));
  return out;
}

// ---------------------------------------------------------------- source bitmaps

namespace {

constexpr uint32_t kBiJpeg = 4;
constexpr uint32_t kBiPng = 5;

ULONG FormatOfDepth(uint32_t bitCount) {
  switch (bitCount) {
    case 1:
      return BMF_1BPP;
    case 4:
      return BMF_4BPP;
    case 8:
      return BMF_8BPP;
    case 16:
      return BMF_16BPP;
    case 24:
      return BMF_24BPP;
    default:
      return BMF_32BPP;
  }
}

// Room for the rows plus the slack the engine's readers may touch.
bool AllocateRows(DibSource& out, std::string* fault) {
  const uint64_t bytes = uint64_t{out.stride} * (uint64_t(out.height) + 1) + 4;
  if (bytes > engine::kMaxBitmapBytes)
    return Fail(fault, "bitmap of " + Num(bytes) + " bytes exceeds " + Num(engine::kMaxBitmapBytes));
  out.bits.assign(bytes, 0);
  return true;
}

// Run-length encoded indices, bottom row first, into top-down rows of 8 or
// 4 bits. Pixels the runs skip keep index 0; runs and deltas past the
// bitmap's edges are cut there. Data that ends inside an escape ends the
// decoding with what was decoded so far, and says so in `note`.
void DecodeRunLength(std::span<const std::byte> data, bool four, DibSource& out) {
  const int64_t w = out.width, rows = out.height;
  ByteReader r(data);
  int64_t x = 0, y = 0;  // y counts stored rows from the bottom
  auto put = [&](uint8_t index) {
    if (x < w && y < rows) {
      uint8_t* row = out.bits.data() + uint64_t(rows - 1 - y) * out.stride;
      if (four)
        row[x / 2] |= x % 2 ? index & 15 : uint8_t(index << 4);
      else
        row[x] = index;
    }
    ++x;
  };
  const std::string kind = four ? "RLE4" : "RLE8";
  auto truncated = [&](const char* what) {
    out.note = kind + " data: " + Num(data.size()) + " bytes end inside " + what + " at byte " +
               Num(r.position()) + "; the rest of the bitmap stays index 0";
  };
  while (y < rows) {
    uint8_t count = 0, value = 0;
    if (!r.ReadU8(count)) return;  // no end-of-bitmap mark: the rest stays index 0
    if (!r.ReadU8(value)) return truncated("a run");
    if (count > 0) {
      // Pixels past the row's end are dropped without stepping through them.
      const int n = int(std::min<int64_t>(count, std::max<int64_t>(w - x, 0)));
      for (int i = 0; i < n; ++i) put(four ? (i % 2 ? value & 15 : value >> 4) : value);
      x += count - n;
      continue;
    }
    if (value == 0) {  // end of line
      x = 0;
      ++y;
    } else if (value == 1) {  // end of bitmap
      return;
    } else if (value == 2) {  // delta
      uint8_t dx = 0, dy = 0;
      if (!r.ReadU8(dx) || !r.ReadU8(dy)) return truncated("a delta");
      x += dx;
      y += dy;
    } else {  // absolute run of `value` pixels, padded to a 16-bit boundary
      const size_t bytes = four ? (value + 1u) / 2 : value;
      std::span<const std::byte> run;
      if (!r.ReadSpan(bytes, run)) return truncated("an absolute run");
      for (int i = 0; i < value; ++i) {
        const uint8_t b = static_cast<uint8_t>(run[four ? i / 2 : i]);
        put(four ? (i % 2 ? b & 15 : b >> 4) : b);
      }
      if (bytes % 2 && !r.Skip(1)) return truncated("an absolute run's padding");
    }
  }
}

// The library's error handler returns to the decoder instead of exiting.
struct JpegErrors {
  jpeg_error_mgr mgr;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void JpegFailed(j_common_ptr info) {
  auto* errors = reinterpret_cast<JpegErrors*>(info->err);
  (*info->err->format_message)(info, errors->message);
  std::longjmp(errors->jump, 1);
}

void JpegQuiet(j_common_ptr) {}

// Decodes a JPEG file into 24-bit top-down rows of R, G, B bytes. CMYK
// files (inverted, as Adobe writes them, when the Adobe marker says so)
// are converted by the plain formula.
bool DecodeJpeg(std::span<const std::byte> file, DibSource& out, std::string* fault) {
  if (file.empty()) return Fail(fault, "JPEG data: no bytes");
  // Everything the jump may skip lives outside the protected part.
  jpeg_decompress_struct info{};
  JpegErrors errors{};
  std::vector<uint8_t> cmyk;
  std::string why;
  info.err = jpeg_std_error(&errors.mgr);
  errors.mgr.error_exit = JpegFailed;
  errors.mgr.output_message = JpegQuiet;
  if (setjmp(errors.jump)) {
    jpeg_destroy_decompress(&info);
    out.bits.clear();
    return Fail(fault, "JPEG data: " + std::string(errors.message));
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(file.data()),
               static_cast<unsigned long>(file.size()));
  jpeg_read_header(&info, TRUE);
  const uint64_t w = info.image_width, h = info.image_height;
  if (w == 0 || h == 0 || w * h > kMaxPixels || w > INT32_MAX || h > INT32_MAX) {
    jpeg_destroy_decompress(&info);
    return Fail(fault,
                "JPEG image of " + Num(w) + " x " + Num(h) + " pixels is empty or exceeds 64 Mi pixels");
  }
  const bool isCmyk = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
  info.out_color_space = isCmyk ? JCS_CMYK : JCS_RGB;
  jpeg_start_decompress(&info);
  out.width = static_cast<int32_t>(w);
  out.height = static_cast<int32_t>(h);
  out.bitCount = 24;
  out.format = BMF_24BPP;
  out.topDown = true;
  out.colors = DibSource::Colors::Rgb;
  out.stride = static_cast<uint32_t>(Stride(w, 24));
  if (!AllocateRows(out, &why)) {
    jpeg_destroy_decompress(&info);
    return Fail(fault, why);
  }
  if (isCmyk) cmyk.resize(w * 4);
  const bool inverted = info.saw_Adobe_marker;
  while (info.output_scanline < info.output_height) {
    uint8_t* row = out.bits.data() + uint64_t{info.output_scanline} * out.stride;
    JSAMPROW target = isCmyk ? cmyk.data() : row;
    if (jpeg_read_scanlines(&info, &target, 1) != 1) break;
    if (isCmyk) {
      for (uint64_t x = 0; x < w; ++x) {
        const uint8_t* p = &cmyk[4 * x];
        const unsigned k = inverted ? p[3] : 255 - p[3];
        for (int c = 0; c < 3; ++c) {
          const unsigned v = inverted ? p[c] : 255 - p[c];
          row[3 * x + c] = static_cast<uint8_t>((v * k + 127) / 255);
        }
      }
    }
  }
  if (info.err->num_warnings > 0) out.note = "JPEG data: damaged; decoded as far as it goes";
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return true;
}

// A PNG file is handed on as it is; its size comes from the IHDR chunk.
bool ReadPng(std::span<const std::byte> file, DibSource& out, std::string* fault) {
  static constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  const auto* p = reinterpret_cast<const uint8_t*>(file.data());
  if (file.size() < 33 || !std::equal(kSignature, kSignature + 8, p))
    return Fail(fault, "PNG data: " + Num(file.size()) + " bytes do not start with a PNG signature and IHDR");
  ByteReader r(file);
  uint32_t chunkSize = 0, width = 0, height = 0;
  r.Seek(8);
  r.ReadU32BE(chunkSize);
  if (chunkSize != 13 || std::string_view(reinterpret_cast<const char*>(p + 12), 4) != "IHDR")
    return Fail(fault, "PNG data: the first chunk is not a 13-byte IHDR");
  r.Skip(4);
  r.ReadU32BE(width);
  r.ReadU32BE(height);
  const uint64_t w = width, h = height;
  if (w == 0 || h == 0 || w > INT32_MAX || h > INT32_MAX || w * h > kMaxPixels)
    return Fail(fault, "PNG IHDR size " + Num(w) + " x " + Num(h) + " is empty or exceeds 64 Mi pixels");
  out.format = BMF_PNG;
  out.width = static_cast<int32_t>(w);
  out.height = static_cast<int32_t>(h);
  out.topDown = true;
  out.colors = DibSource::Colors::Rgb;
  out.bits.assign(p, p + file.size());
  return true;
}

}  // namespace

size_t DibSource::DataBytes() const {
  if (format == BMF_PNG) return bits.size();
  return size_t{stride} * size_t(height);
}

uint32_t DibSource::Word(int32_t x, int32_t y) const {
  if (format == BMF_PNG || x < 0 || y < 0 || x >= width || y >= height) return 0;
  const int32_t stored = topDown ? y : height - 1 - y;
  const uint8_t* row = bits.data() + size_t{stride} * size_t(stored);
  switch (bitCount) {
    case 1:
      return (row[x / 8] >> (7 - x % 8)) & 1;
    case 4:
      return (row[x / 2] >> (x % 2 ? 0 : 4)) & 15;
    case 8:
      return row[x];
    case 16:
      return row[2 * x] | uint32_t{row[2 * x + 1]} << 8;
    case 24:
      return row[3 * x] | uint32_t{row[3 * x + 1]} << 8 | uint32_t{row[3 * x + 2]} << 16;
    default:
      return row[4 * x] | uint32_t{row[4 * x + 1]} << 8 | uint32_t{row[4 * x + 2]} << 16 |
             uint32_t{row[4 * x + 3]} << 24;
  }
}

uint32_t DibSource::ColorOf(uint32_t word) const {
  switch (colors) {
    case Colors::Indexed:
      return word < palette.size() ? palette[word] : 0;
    case Colors::Bitfields: {
      const Channel red(masks[0]), green(masks[1]), blue(masks[2]);
      return Rgb(red.Value(word), green.Value(word), blue.Value(word));
    }
    case Colors::Bgr:
      return Rgb(uint8_t(word >> 16), uint8_t(word >> 8), uint8_t(word));
    case Colors::Rgb:
      return word & 0xFFFFFF;
  }
  return 0;
}

uint32_t DibSource::WordOf(uint32_t color) const {
  const int r = color & 0xFF, g = color >> 8 & 0xFF, b = color >> 16 & 0xFF;
  switch (colors) {
    case Colors::Indexed: {
      uint32_t best = 0;
      int bestDistance = INT32_MAX;
      for (uint32_t i = 0; i < palette.size(); ++i) {
        const int dr = int(palette[i] & 0xFF) - r, dg = int(palette[i] >> 8 & 0xFF) - g,
                  db = int(palette[i] >> 16 & 0xFF) - b;
        const int distance = dr * dr + dg * dg + db * db;
        if (distance < bestDistance) {
          best = i;
          bestDistance = distance;
        }
      }
      return best;
    }
    case Colors::Bitfields: {
      uint32_t word = 0;
      const int values[3] = {r, g, b};
      for (int c = 0; c < 3; ++c) {
        const Channel ch(masks[c]);
        if (ch.bits == 0) continue;
        const uint64_t max = (uint64_t{1} << ch.bits) - 1;
        word |= static_cast<uint32_t>((values[c] * max + 127) / 255 << ch.shift) & masks[c];
      }
      return word;
    }
    case Colors::Bgr:
      return uint32_t(b) | uint32_t(g) << 8 | uint32_t(r) << 16;
    case Colors::Rgb:
      return color & 0xFFFFFF;
  }
  return 0;
}

namespace {

// A JPEG or PNG file inside a bitmap record: biSizeImage bytes when given,
// else all the bits.
bool DecodeEmbeddedFile(const Header& h, std::span<const std::byte> bits, DibSource& out,
                        std::string* fault) {
  std::span<const std::byte> file = bits;
  if (h.sizeImage != 0) {
    if (h.sizeImage > bits.size())
      return Fail(fault,
                  "biSizeImage " + Num(h.sizeImage) + " exceeds the " + Num(bits.size()) + " bytes of bits");
    file = bits.first(h.sizeImage);
  }
  return h.compression == kBiJpeg ? DecodeJpeg(file, out, fault) : ReadPng(file, out, fault);
}

// The header's size, depth and compression, checked against each other;
// fills the source's geometry.
bool CheckGeometry(const Header& h, uint32_t maxRows, DibSource& out, std::string* fault) {
  if (h.width <= 0) return Fail(fault, "biWidth " + std::to_string(h.width) + " is not positive");
  if (h.height == 0 || h.height == INT32_MIN)
    return Fail(fault, "biHeight " + std::to_string(h.height) + " is unusable");
  const uint32_t c = h.compression;
  if (h.bitCount != 1 && h.bitCount != 4 && h.bitCount != 8 && h.bitCount != 16 && h.bitCount != 24 &&
      h.bitCount != 32)
    return Fail(fault, "biBitCount " + Num(h.bitCount) + " is not 1, 4, 8, 16, 24 or 32");
  const bool ok = c == kBiRgb || (c == kBiRle8 && h.bitCount == 8) || (c == kBiRle4 && h.bitCount == 4) ||
                  (c == kBiBitfields && (h.bitCount == 16 || h.bitCount == 32));
  if (!ok) return Fail(fault, "biCompression " + Num(c) + " does not go with biBitCount " + Num(h.bitCount));
  const bool rle = c == kBiRle8 || c == kBiRle4;
  if (rle && h.height < 0)
    return Fail(fault, "biHeight " + std::to_string(h.height) + ": compressed bitmaps are stored bottom-up");
  const uint64_t width = h.width;
  const uint64_t height = std::min<uint64_t>(h.height < 0 ? -h.height : h.height, maxRows);
  if (height == 0) return Fail(fault, "no scan lines to decode");
  if (width * height > kMaxPixels)
    return Fail(fault, "bitmap of " + Num(width) + " x " + Num(height) + " pixels exceeds 64 Mi pixels");
  out.width = static_cast<int32_t>(width);
  out.height = static_cast<int32_t>(height);
  out.bitCount = h.bitCount;
  out.format = FormatOfDepth(h.bitCount);
  out.topDown = h.height < 0 || rle;
  out.stride = static_cast<uint32_t>(Stride(width, h.bitCount));
  return true;
}

// The colour table of an indexed bitmap (RGB quads, core triples or
// palette indices); missing entries stay black, with a note.
void ReadColorTable(const Header& h, std::span<const std::byte> info, size_t tableOffset, uint32_t usage,
                    DibSource& out) {
  out.colors = DibSource::Colors::Indexed;
  const uint32_t full = 1u << h.bitCount;
  const uint32_t entries = h.clrUsed == 0 || h.clrUsed > full ? full : h.clrUsed;
  const size_t entrySize = usage == DIB_PAL_COLORS ? 2 : h.core ? 3 : 4;
  const size_t present = info.size() > tableOffset ? (info.size() - tableOffset) / entrySize : 0;
  const uint32_t read = static_cast<uint32_t>(std::min<size_t>(entries, present));
  if (read < entries)
    out.note = "colour table: " + Num(entries) + " entries expected, " + Num(read) +
               " present; the missing ones are black";
  out.palette.assign(entries, 0);
  ByteReader table(info);
  table.Seek(tableOffset);
  for (uint32_t i = 0; i < read; ++i) {
    if (usage == DIB_PAL_COLORS) {
      uint16_t index = 0;
      table.ReadU16(index);
      out.palette[i] = DefaultPaletteColor(index);
      continue;
    }
    uint8_t bgr[4] = {};
    for (size_t k = 0; k < entrySize; ++k) table.ReadU8(bgr[k]);
    out.palette[i] = Rgb(bgr[2], bgr[1], bgr[0]);
  }
}

}  // namespace

std::optional<DibSource> DecodeDibSource(std::span<const std::byte> info, std::span<const std::byte> bits,
                                         uint32_t usage, std::string* fault, uint32_t maxRows) {
  Header h;
  size_t tableOffset = 0;
  if (!ReadHeader(info, h, tableOffset, fault)) return std::nullopt;
  if (usage != DIB_RGB_COLORS && usage != DIB_PAL_COLORS) {
    Fail(fault, "colour usage " + Num(usage) + " is neither RGB colours nor palette indices");
    return std::nullopt;
  }
  const uint32_t c = h.compression;
  DibSource out;
  if (c == kBiJpeg || c == kBiPng) {
    if (!DecodeEmbeddedFile(h, bits, out, fault)) return std::nullopt;
    return out;
  }
  if (!CheckGeometry(h, maxRows, out, fault)) return std::nullopt;
  if (h.bitCount <= 8) {
    ReadColorTable(h, info, tableOffset, usage, out);
  } else if (c == kBiBitfields) {
    out.colors = DibSource::Colors::Bitfields;
    std::copy(h.masks, h.masks + 3, out.masks);
  } else if (h.bitCount == 16) {
    out.colors = DibSource::Colors::Bitfields;
    out.masks[0] = 0x7C00;
    out.masks[1] = 0x03E0;
    out.masks[2] = 0x001F;
  } else {
    out.colors = DibSource::Colors::Bgr;
  }

  if (c == kBiRle8 || c == kBiRle4) {
    if (!AllocateRows(out, fault)) return std::nullopt;
    DecodeRunLength(bits, c == kBiRle4, out);
    return out;
  }
  // Uncompressed rows must all be there; checked before anything is allocated.
  const uint64_t need = uint64_t{out.stride} * uint64_t(out.height);
  if (bits.size() < need) {
    Fail(fault, ShortBits(bits.size(), need));
    return std::nullopt;
  }
  if (!AllocateRows(out, fault)) return std::nullopt;
  const auto* data = reinterpret_cast<const uint8_t*>(bits.data());
  std::copy(data, data + need, out.bits.data());
  return out;
}

std::unique_ptr<SourceBitmap> SourceBitmap::Create(DibSource dib, std::string* fault) {
  std::unique_ptr<SourceBitmap> out(new SourceBitmap(std::move(dib)));
  DibSource& d = out->dib_;
  const SIZEL size{d.width, d.height};
  const bool compressed = d.format == BMF_PNG || d.format == BMF_JPEG;
  const LONG width = compressed ? static_cast<LONG>(d.bits.size()) : static_cast<LONG>(d.stride);
  HBITMAP bitmap = EngCreateBitmap(size, width, d.format, d.topDown ? BMF_TOPDOWN : 0, d.bits.data());
  if (!bitmap) {
    Fail(fault, "the engine made no surface for a bitmap of " + Num(d.width) + " x " + Num(d.height) +
                    " in format " + Num(d.format));
    return nullptr;
  }
  out->hsurf_ = reinterpret_cast<HSURF>(bitmap);
  out->so_ = EngLockSurface(out->hsurf_);
  if (!out->so_) {
    Fail(fault, "the engine's new source surface cannot be locked");
    return nullptr;
  }
  switch (d.colors) {
    case DibSource::Colors::Indexed:
      out->xlate_.emplace(engine::HostXlate::Indexed(d.palette));
      break;
    case DibSource::Colors::Bitfields:
      out->xlate_.emplace(engine::HostXlate::Bitfields(d.bitCount, d.masks[0], d.masks[1], d.masks[2]));
      break;
    case DibSource::Colors::Bgr:
      out->xlate_.emplace(engine::HostXlate::Bgr(d.bitCount));
      break;
    case DibSource::Colors::Rgb:
      out->xlate_.emplace(engine::HostXlate::Trivial());
      break;
  }
  return out;
}

SourceBitmap::~SourceBitmap() {
  if (so_) EngUnlockSurface(so_);
  if (hsurf_) EngDeleteSurface(hsurf_);
}

}  // namespace snk::gdi
