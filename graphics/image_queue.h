// CKMC_ImageQueue: the page's images that wait, and the areas the engine
// drew.
//
// While the engine draws every call on the page surface, the areas it drew
// go to the dirty list, from which they are cut as images before the next
// vector object. While it does not, true-colour bitmaps wait in a queue and
// are placed (or composed into one image) before the next vector object;
// other bitmaps are placed at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/binary_buf.h"
#include "graphics/image_object.h"
#include "graphics/page_stream.h"
#include "graphics/rect_list.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

class CKMC_ImageQueue {
 public:
  // The largest number of true-colour images that wait in the queue.
  static constexpr int32_t kPendingLimit = 500;

  CKMC_ImageQueue(CKMC_DocumentWriter& writer, IKMC_PageStream& page, const CKMC_GraphicsSwitches& switches)
      : m_writer(writer), m_page(page), m_switches(switches) {}
  ~CKMC_ImageQueue();
  CKMC_ImageQueue(const CKMC_ImageQueue&) = delete;
  CKMC_ImageQueue& operator=(const CKMC_ImageQueue&) = delete;

  // ---- areas drawn by the engine

  // Records an area of the surface that the PDF must show as an image.
  // Clamps `rect` to the page, in place.
  void AddDirtyRect(RECTL& rect);
  const CKMC_RectList& DirtyRegion() const { return m_dirtyRegion; }
  // Brings what the engine drew so far into the content stream, below what
  // comes next.
  void FlushDeferredBitmaps(SURFOBJ* surface);
  // Cuts `rect` from the 24-bit surface as a new image and places it there
  // in the content stream. The part of `rect` outside the surface is left
  // out; nothing is written when nothing is left.
  void CaptureSurfaceRect(SURFOBJ* surface, const RECTL& rect);

  // ---- bitmaps while the engine does not draw

  // A source bitmap copied into `target`: its `sourceRect` is captured
  // now; a true-colour image waits in the queue, an indexed one is placed
  // at once. JPEG sources are copied as they are, PNG sources dropped.
  void TransferBitmap(SURFOBJ* source, XLATEOBJ* xlate, const RECTL& target, const RECTL& sourceRect);
  // Places every queued image, or composes a full queue into one image
  // when MergeImages is on; the queue is empty afterwards.
  void FlushPendingImages();
  // The queue composed into one image of the size of `box`, clipped to the
  // union of the target rectangles. The queue itself is left as it is.
  void MergePendingImages(const RECTL& box);
  // Writes the operators that show `image` in `target` and its object
  // under a new number.
  void PlaceImage(ImageData& image, const RECTL& target, CKM_BinaryBuf& out);
  // `sourceRect` of `source` drawn into the parallelogram whose upper left,
  // upper right and lower left corners are `corners` (28.4 fixed point).
  void PlaceSkewedImage(SURFOBJ* source, SURFOBJ* mask, XLATEOBJ* xlate, const POINTFIX* corners,
                        const RECTL& sourceRect);
  // A JPEG file shown in `target` as it is. Nothing is written when its
  // header cannot be read.
  void WriteJpegPassthrough(const uint8_t* data, uint32_t size, const RECTL& target);

  size_t PendingCount() const { return m_pendingImages.size(); }
  // Deletes the queued images and empties both rectangle lists (also what
  // a cancelled job left behind; a page that ended normally left none).
  void DiscardPendingImages();

 private:
  bool Cancelled() const { return m_switches.jobCancelled != 0; }
  // Cuts the listed areas from the surface as images, in bands without
  // overlap, and empties the list.
  void CaptureDirtyAreas(SURFOBJ* surface);
  // `rect` in points: lower left (x1, y1), upper right (x2, y2).
  void MapRect(const RECTL& rect, double& x1, double& y1, double& x2, double& y2) const;
  void WriteImage(const ImageData& image) const;

  CKMC_DocumentWriter& m_writer;
  IKMC_PageStream& m_page;
  const CKMC_GraphicsSwitches& m_switches;
  // Surface areas the engine drew that are not yet in the content stream.
  CKMC_RectList m_dirtyRegion;
  // True-colour images captured while the engine does not draw, in the
  // order of their calls; where each came from in its source and where it
  // goes on the page (entry i belongs to queued image i).
  std::vector<std::unique_ptr<ImageData>> m_pendingImages;
  CKMC_RectList m_pendingSources;
  CKMC_RectList m_pendingTargets;
};
