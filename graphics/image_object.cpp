// Image objects: the filters of an image's data and its dictionary.
#include "graphics/image_object.h"

#include <zlib.h>

#include <csetjmp>
#include <cstdio>
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

// The compressor's errors end the encoding through a jump back to the
// caller instead of ending the process.
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
  BuildImageStream(image, imageCompress, writer.colorSpaceObject, stream);
  writer.WriteIndirectObject(image.objectNumber, &stream);
}
