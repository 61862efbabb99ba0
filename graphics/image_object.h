// Captured bitmaps and their image objects.
//
// A bitmap that the PDF shows as an image is held in an ImageData from the
// moment it is cut out until its object is written. Images are true colour
// (3 bytes a pixel: red, green, blue) or indexed (1, 4 or 8 bits a pixel
// with a palette of colour words); there are no masks and no sharing of
// equal images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/byte_string.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"
#include "writer/output_object.h"

struct ImageData {
  // The indirect object's number, also the n of the resource name /Im<n>.
  uint32_t objectNumber = 0;
  // Rows top to bottom, each padded only to a whole byte.
  std::unique_ptr<uint8_t[]> pixels;
  uint32_t size = 0;  // bytes in pixels
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t bits = 24;  // 24 for true colour; 1, 4 or 8 for indexed
  uint32_t paletteCount = 0;
  // Colour words (red in the low byte); null for true colour.
  std::unique_ptr<uint32_t[]> palette;

  // Allocates `size` bytes of pixels (not cleared).
  void AllocatePixels(uint32_t bytes) {
    pixels.reset(new uint8_t[bytes]);
    size = bytes;
  }
};

// The stream data a true-colour image is stored with under ImageCompress.
enum class ImageEncoding { kJpeg, kFlateOverJpeg };

// Deflating the JPEG data is kept only when it saves more than 20 bytes.
ImageEncoding ChooseJpegEncoding(size_t jpegSize, size_t flateSize);
// Deflated pixels are kept only when they are smaller than the raw ones.
bool KeepFlate(size_t rawSize, size_t flateSize);

// One-shot deflate into a buffer of the input size plus 256 bytes; false
// when the result does not fit there (it would not be kept anyway).
bool DeflateImageData(const uint8_t* data, size_t length, CKM_ByteString& out);
// Baseline JPEG with the compressor's defaults (quality 75) of true-colour
// pixels, into a buffer of the pixels' size plus 1024 bytes; false when
// the encoder fails or the result does not fit.
bool EncodeJpeg(const ImageData& image, CKM_ByteString& out);

// The image's dictionary and data, ready for the writer. `colorSpace` is
// the number of the ICC-based colour space object; `imageCompress` is the
// job's ImageCompress switch.
void BuildImageStream(const ImageData& image, bool imageCompress, uint32_t colorSpace, CKMC_Stream& stream);

// Writes the image's indirect object under its number, which has been
// given out already.
void WriteImageObject(CKMC_DocumentWriter& writer, const ImageData& image, bool imageCompress);

// Copies `rect` of a source bitmap into a new image under a new object
// number. 1, 4 and 8-bit sources stay indexed (their bytes are copied, the
// palette is the translation's table); every other format becomes true
// colour through XLATEOBJ_iXlate. Row starts follow the source's own
// addressing: the rectangle's left is a byte offset for indexed sources and
// three bytes a pixel for all others. Bytes outside the bitmap read as 0.
// Null when there is nothing to copy from or the size cannot be held.
std::unique_ptr<ImageData> CaptureBitmap(CKMC_DocumentWriter& writer, SURFOBJ* source, XLATEOBJ* xlate,
                                         const RECTL& rect);

// What a JPEG file's header says about its image.
struct JpegHeader {
  uint32_t width = 0;
  uint32_t height = 0;
  int components = 0;
};

// Reads the header of the JPEG file in `data` without decoding; false when
// it cannot be read.
bool ReadJpegHeader(const uint8_t* data, size_t size, JpegHeader& header);

// The image dictionary of a JPEG file copied as it is: a grey file is shown
// through a grey ramp palette over the ICC-based space.
void BuildJpegStream(const JpegHeader& header, const uint8_t* data, size_t size, uint32_t colorSpace,
                     CKMC_Stream& stream);
