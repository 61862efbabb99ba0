// What the parts of the graphics share: the job's switches, the mapping
// from device pixels to points, and the page's content stream.
#pragma once

#include <cstdint>

#include "base/binary_buf.h"
#include "writer/document_writer.h"

// The job's switches, read at each call: `gdiPunt` says that the engine
// draws every call on the page surface too, `jobCancelled` that nothing is
// to be written any more, `imageCompress` that true-colour images are
// stored as JPEG, `mergeImages` that a full queue of captured bitmaps is
// composed into one image.
struct CKMC_GraphicsSwitches {
  uint32_t gdiPunt = 1;
  uint32_t jobCancelled = 0;
  uint32_t imageCompress = 1;
  uint8_t mergeImages = 1;
};

// Device pixels to points, y flipped about the page height.
inline void DeviceToUser(const CKMC_PageGeometry& page, double& x, double& y) {
  x = x * page.pixelToPoint;
  y = (static_cast<double>(page.heightPixels) - y) * page.pixelToPoint;
}

// The page's content stream as the parts of the graphics write to it.
class IKMC_PageStream {
 public:
  // The page's content, opened if a drawing call comes before any page.
  virtual CKM_BinaryBuf& Stream() = 0;
  // Ends a text object that the text output left open, so that other
  // operators never land inside "BT " ... "ET".
  virtual void CloseTextRun(CKM_BinaryBuf& out) = 0;

  // The stream, ready for operators other than text.
  CKM_BinaryBuf& Operators() {
    CKM_BinaryBuf& out = Stream();
    CloseTextRun(out);
    return out;
  }

 protected:
  ~IKMC_PageStream() = default;
};
