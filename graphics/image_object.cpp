// Image objects: the filters of an image's data and its dictionary.
#include "graphics/image_object.h"

#include <zlib.h>

#include <climits>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <string>

// After <cstdio>: jpeglib.h needs size_t and FILE declared before it.
#include <jpeglib.h>

#include "base/number_format.h"

ImageEncoding ChooseJpegEncoding(size_t jpegSize, size_t flateSize) {
  // Signed, so that a JPEG of fewer than 20 bytes never takes the Flate layer.
  int64_t limit = static_cast<int64_t>(jpegSize) - 20;
  return static_cast<int64_t>(flateSize) >= limit ? ImageEncoding::kJpeg : ImageEncoding::kFlateOverJpeg;
}

bool KeepFlate(size_t rawSize, size_t flateSize) { return flateSize < rawSize; }

bool DeflateImageData(const uint8_t* data, size_t length, CKM_ByteString& out) {
  std::string buffer(length + 256, '\0');
  uLongf size = static_cast<uLongf>(buffer.size());
  if (compress(reinterpret_cast<Bytef*>(buffer.data()), &size, data, static_cast<uLong>(length)) != Z_OK)
    return false;
  buffer.resize(size);
  out = CKM_ByteString(std::move(buffer));
  return true;
}

namespace {

// libjpeg's errors (of the compressor and of the header reader) end the
// call through a jump back to the caller instead of ending the process;
// its warnings are not shown.
struct JpegErrors {
  jpeg_error_mgr mgr;
  std::jmp_buf back;
};

[[noreturn]] void JpegErrorExit(j_common_ptr info) {
  std::longjmp(reinterpret_cast<JpegErrors*>(info->err)->back, 1);
}

void JpegSilent(j_common_ptr /*info*/) {}

// The destination is one buffer given in advance; running out of it is a
// failure, reported by refusing to empty the buffer.
void JpegInitDestination(j_compress_ptr /*info*/) {}
boolean JpegBufferFull(j_compress_ptr /*info*/) { return FALSE; }
void JpegTermDestination(j_compress_ptr /*info*/) {}

// Runs the whole compression; only plain data lives in this frame, so the
// error jump skips no destructor. Returns the bytes written, or -1.
long RunJpeg(jpeg_compress_struct* info, JpegErrors* errors, jpeg_destination_mgr* dest,
             const uint8_t* pixels, uint32_t width, uint32_t height, uint8_t* buffer, size_t capacity) {
  info->err = jpeg_std_error(&errors->mgr);
  errors->mgr.error_exit = JpegErrorExit;
  errors->mgr.output_message = JpegSilent;
  if (setjmp(errors->back)) {
    jpeg_destroy_compress(info);
    return -1;
  }
  jpeg_create_compress(info);
  dest->next_output_byte = buffer;
  dest->free_in_buffer = capacity;
  dest->init_destination = JpegInitDestination;
  dest->empty_output_buffer = JpegBufferFull;
  dest->term_destination = JpegTermDestination;
  info->dest = dest;
  info->image_width = width;
  info->image_height = height;
  info->input_components = 3;
  info->in_color_space = JCS_RGB;
  jpeg_set_defaults(info);
  jpeg_start_compress(info, TRUE);
  size_t stride = static_cast<size_t>(width) * 3;
  while (info->next_scanline < info->image_height) {
    JSAMPROW row = const_cast<uint8_t*>(pixels) + info->next_scanline * stride;
    if (jpeg_write_scanlines(info, &row, 1) != 1) {
      // The buffer is full: the encoder waits for room that never comes.
      jpeg_destroy_compress(info);
      return -1;
    }
  }
  jpeg_finish_compress(info);
  long written = static_cast<long>(capacity - dest->free_in_buffer);
  jpeg_destroy_compress(info);
  return written;
}

}  // namespace

bool EncodeJpeg(const ImageData& image, CKM_ByteString& out) {
  if (image.bits != 24 || !image.pixels) return false;
  if (static_cast<uint64_t>(image.width) * image.height * 3 > image.size) return false;
  std::string buffer(static_cast<size_t>(image.size) + 1024, '\0');
  jpeg_compress_struct info{};
  JpegErrors errors{};
  jpeg_destination_mgr dest{};
  long written = RunJpeg(&info, &errors, &dest, image.pixels.get(), image.width, image.height,
                         reinterpret_cast<uint8_t*>(buffer.data()), buffer.size());
  if (written < 0) return false;
  buffer.resize(static_cast<size_t>(written));
  out = CKM_ByteString(std::move(buffer));
  return true;
}

namespace {

// "[/Indexed n 0 R high <RRGGBB...> ]" over the ICC-based space.
CKM_ByteString IndexedColorSpace(const ImageData& image, uint32_t colorSpace) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text = "[/Indexed " + snk::FormatInteger(colorSpace) + " 0 R " +
                     snk::FormatInteger(static_cast<int64_t>(image.paletteCount) - 1) + " <";
  text.reserve(text.size() + image.paletteCount * 6 + 3);
  for (uint32_t i = 0; i < image.paletteCount; ++i) {
    uint32_t color = image.palette[i];
    for (int shift = 0; shift <= 16; shift += 8) {
      uint8_t byte = static_cast<uint8_t>(color >> shift);
      text += kHex[byte >> 4];
      text += kHex[byte & 15];
    }
  }
  text += "> ]";
  return CKM_ByteString(std::move(text));
}

CKM_ByteString RawPixels(const ImageData& image) {
  if (!image.pixels) return {};
  return CKM_ByteString(image.pixels.get(), image.size);
}

}  // namespace

void BuildImageStream(const ImageData& image, bool imageCompress, uint32_t colorSpace, CKMC_Stream& stream) {
  CKMC_Dictionary& dict = stream.dict;
  dict.SetLiteral("/Type", "/XObject");
  dict.SetLiteral("/Subtype", "/Image");
  dict.SetNumber("/Width", image.width);
  dict.SetNumber("/Height", image.height);
  if (image.paletteCount == 0) {
    dict.SetReference("/ColorSpace", colorSpace);
    dict.SetNumber("/BitsPerComponent", 8);
  } else {
    dict.SetLiteral("/ColorSpace", IndexedColorSpace(image, colorSpace));
    dict.SetNumber("/BitsPerComponent", image.bits);
  }

  const uint8_t* pixels = image.pixels.get();
  if (imageCompress && image.paletteCount == 0) {
    CKM_ByteString jpeg;
    if (EncodeJpeg(image, jpeg)) {
      CKM_ByteString flate;
      bool deflated = DeflateImageData(jpeg.raw_str(), jpeg.GetLength(), flate);
      if (deflated &&
          ChooseJpegEncoding(jpeg.GetLength(), flate.GetLength()) == ImageEncoding::kFlateOverJpeg) {
        dict.SetLiteral("/Filter", "[/FlateDecode /DCTDecode]");
        stream.data = std::move(flate);
      } else {
        dict.SetLiteral("/Filter", "/DCTDecode");
        stream.data = std::move(jpeg);
      }
      return;
    }
    // A JPEG that does not fit its buffer: the pixels take the Flate route.
  }

  CKM_ByteString flate;
  if (pixels && DeflateImageData(pixels, image.size, flate) && KeepFlate(image.size, flate.GetLength())) {
    dict.SetLiteral("/Filter", "/FlateDecode");
    stream.data = std::move(flate);
  } else {
    stream.data = RawPixels(image);
  }
}

void WriteImageObject(CKMC_DocumentWriter& writer, const ImageData& image, bool imageCompress) {
  CKMC_Stream stream;
  BuildImageStream(image, imageCompress, CKMC_DocumentWriter::kColorSpaceObject, stream);
  writer.WriteIndirectObject(image.objectNumber, &stream);
}

namespace {

// The most bytes a captured image may hold.
constexpr uint64_t kMaxCaptureBytes = uint64_t{1} << 30;

// The bytes of a source bitmap as the capture addresses them: offsets from
// the first scan line, which may point into the middle of the memory for a
// bottom-up bitmap. Bytes outside the bitmap's rows read as 0.
class SourceBytes {
 public:
  explicit SourceBytes(const SURFOBJ& so) : scan0_(static_cast<const uint8_t*>(so.pvScan0)) {
    int64_t rows = so.sizlBitmap.cy;
    int64_t delta = so.lDelta;
    if (!scan0_ || rows <= 0 || delta == 0) return;
    low_ = delta > 0 ? 0 : (rows - 1) * delta;
    high_ = low_ + rows * (delta > 0 ? delta : -delta);
  }

  // `length` bytes from `offset` into `out`.
  void Copy(int64_t offset, size_t length, uint8_t* out) const {
    if (offset >= low_ && offset <= high_ && static_cast<int64_t>(length) <= high_ - offset) {
      if (length) std::memcpy(out, scan0_ + offset, length);
      return;
    }
    for (size_t i = 0; i < length; ++i) out[i] = Byte(offset + static_cast<int64_t>(i));
  }

  // The little-endian word of four bytes at `offset`.
  uint32_t Word(int64_t offset) const {
    if (offset >= low_ && offset + 4 <= high_) {
      const uint8_t* p = scan0_ + offset;
      return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
    }
    return Byte(offset) | Byte(offset + 1) << 8 | Byte(offset + 2) << 16 |
           static_cast<uint32_t>(Byte(offset + 3)) << 24;
  }

 private:
  uint8_t Byte(int64_t offset) const { return offset >= low_ && offset < high_ ? scan0_[offset] : 0; }

  const uint8_t* scan0_;
  int64_t low_ = 0;
  int64_t high_ = 0;
};

}  // namespace

std::unique_ptr<ImageData> CaptureBitmap(CKMC_DocumentWriter& writer, SURFOBJ* source, XLATEOBJ* xlate,
                                         const RECTL& rect) {
  if (!source || !source->pvScan0) return nullptr;
  int64_t width = int64_t{rect.right} - rect.left;
  int64_t height = int64_t{rect.bottom} - rect.top;
  if (width < 0 || height < 0) return nullptr;

  const ULONG format = source->iBitmapFormat;
  const bool indexed = format == BMF_1BPP || format == BMF_4BPP || format == BMF_8BPP;
  const uint32_t bits = format == BMF_1BPP ? 1 : format == BMF_4BPP ? 4 : format == BMF_8BPP ? 8 : 24;
  const uint64_t rowBytes =
      indexed ? (static_cast<uint64_t>(bits) * width + 7) / 8 : 3 * static_cast<uint64_t>(width);
  const uint64_t size = rowBytes * static_cast<uint64_t>(height);
  if (size > kMaxCaptureBytes) return nullptr;

  auto image = std::make_unique<ImageData>();
  image->objectNumber = writer.NewObjectNumber();
  image->width = static_cast<uint32_t>(width);
  image->height = static_cast<uint32_t>(height);
  image->bits = bits;
  image->AllocatePixels(static_cast<uint32_t>(size));

  const SourceBytes bytes(*source);
  const int64_t delta = source->lDelta;
  if (indexed) {
    if (xlate && xlate->pulXlate && xlate->cEntries) {
      image->paletteCount = xlate->cEntries;
      image->palette.reset(new uint32_t[xlate->cEntries]);
      std::memcpy(image->palette.get(), xlate->pulXlate, sizeof(uint32_t) * xlate->cEntries);
    }
    // The left edge counts in bytes whatever the depth: a 1 or 4-bit
    // rectangle that does not start at 0 is read from further right.
    for (int64_t row = 0; row < height; ++row)
      bytes.Copy((rect.top + row) * delta + rect.left, rowBytes, image->pixels.get() + row * rowBytes);
    return image;
  }

  // Every depth starts its row three bytes a pixel in, and every pixel is
  // read as a whole word, which the translation cuts to the depth's bits.
  const int64_t step = format == BMF_16BPP ? 2 : format == BMF_24BPP ? 3 : 4;
  uint8_t* out = image->pixels.get();
  for (int64_t row = 0; row < height; ++row) {
    int64_t at = (rect.top + row) * delta + 3 * int64_t{rect.left};
    for (int64_t x = 0; x < width; ++x, at += step) {
      uint32_t word = bytes.Word(at);
      uint32_t color = xlate ? XLATEOBJ_iXlate(xlate, word) : word;
      *out++ = static_cast<uint8_t>(color);
      *out++ = static_cast<uint8_t>(color >> 8);
      *out++ = static_cast<uint8_t>(color >> 16);
    }
  }
  return image;
}

namespace {

// Only plain data lives in this frame, so the error jump skips no
// destructor.
bool RunJpegHeader(jpeg_decompress_struct* info, JpegErrors* errors, const uint8_t* data, size_t size,
                   JpegHeader* header) {
  info->err = jpeg_std_error(&errors->mgr);
  errors->mgr.error_exit = JpegErrorExit;
  errors->mgr.output_message = JpegSilent;
  if (setjmp(errors->back)) {
    jpeg_destroy_decompress(info);
    return false;
  }
  jpeg_create_decompress(info);
  jpeg_mem_src(info, const_cast<unsigned char*>(data), static_cast<unsigned long>(size));
  bool read = jpeg_read_header(info, TRUE) == JPEG_HEADER_OK;
  if (read) {
    header->width = info->image_width;
    header->height = info->image_height;
    header->components = info->num_components;
  }
  jpeg_destroy_decompress(info);
  return read;
}

}  // namespace

bool ReadJpegHeader(const uint8_t* data, size_t size, JpegHeader& header) {
  if (!data || size == 0 || size > ULONG_MAX) return false;
  jpeg_decompress_struct info{};
  JpegErrors errors{};
  return RunJpegHeader(&info, &errors, data, size, &header);
}

void BuildJpegStream(const JpegHeader& header, const uint8_t* data, size_t size, uint32_t colorSpace,
                     CKMC_Stream& stream) {
  CKMC_Dictionary& dict = stream.dict;
  dict.SetLiteral("/Type", "/XObject");
  dict.SetLiteral("/Subtype", "/Image");
  dict.SetNumber("/Width", header.width);
  dict.SetNumber("/Height", header.height);
  if (header.components == 1) {
    // A grey file shown through the RGB space: index i is grey level i.
    ImageData ramp;
    ramp.paletteCount = 256;
    ramp.palette.reset(new uint32_t[256]);
    for (uint32_t i = 0; i < 256; ++i) ramp.palette[i] = i | i << 8 | i << 16;
    dict.SetLiteral("/ColorSpace", IndexedColorSpace(ramp, colorSpace));
  } else {
    dict.SetReference("/ColorSpace", colorSpace);
  }
  dict.SetNumber("/BitsPerComponent", 8);
  dict.SetLiteral("/Filter", "/DCTDecode");
  stream.data = CKM_ByteString(data, size);
}
