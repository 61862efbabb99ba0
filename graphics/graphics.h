// CKMC_Graphics: the vector side of a job's drawing calls.
//
// It turns the drawing entries' paths, lines, clips and solid rectangles into
// operators of the current page's content stream, and keeps the graphic
// state that the stream holds (colours, line width, dash, clip) so that no
// operator is written twice. Coordinates are scaled to points and flipped
// as they are written; the page content has no page-wide " cm ".
//
// What cannot be expressed as PDF operators is left to the engine, which
// draws it on the page surface; its area goes to the dirty list, from which
// it will be cut as an image before the next vector object.
//
// One object per job (owned by CKMC_Document); all calls come on the one
// thread that draws the job.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/binary_buf.h"
#include "base/byte_string.h"
#include "graphics/image_object.h"
#include "graphics/text_sink.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

// A growable list of pixel rectangles (left, top, right, bottom; right and
// bottom exclusive). A full list grows by 256 entries; when that memory
// cannot be had, the rectangle is dropped. Clearing keeps the storage.
class CKMC_RectList {
 public:
  static constexpr uint32_t kGrowth = 256;

  void Add(const RECTL& rect);
  void Clear() { count_ = 0; }
  int32_t Count() const { return count_; }
  uint32_t Capacity() const { return capacity_; }
  const RECTL& operator[](int32_t i) const { return rects_[i]; }
  const RECTL* begin() const { return rects_.get(); }
  const RECTL* end() const { return rects_.get() + count_; }

 private:
  int32_t count_ = 0;
  std::unique_ptr<RECTL[]> rects_;
  uint32_t capacity_ = 0;
};

// Rewrites a list as bands of rectangles that do not overlap, covering the
// same pixels: each run of set pixels in a band of equal rows becomes one
// rectangle. 501 or more entries become their bounding box; a result with
// more rectangles than the list had leaves the list as it was.
void NormalizeRectList(CKMC_RectList& list);

// Whether a raster operation's result depends on the destination: the low
// byte m of a ROP or MIX, read as a ternary table, differs between D = 0
// and D = 1 somewhere.
inline bool ReadsDestination(ULONG rop) {
  ULONG m = rop & 0xFF;
  return (m & 0x55) != ((m >> 1) & 0x55);
}

// A path's bounds in whole pixels: left and top truncated, right and bottom
// rounded up, from 28.4 fixed point.
RECTL PixelBounds(const RECTFX& bounds);

class CKMC_Graphics : public IKMC_TextCanvas {
 public:
  // The switches are the job's own: `gdiPunt` says that the engine draws
  // every call on the page surface too, `jobCancelled` that nothing is to be
  // written any more, `imageCompress` that true-colour images are stored as
  // JPEG (on when not given). All are read at each call.
  CKMC_Graphics(CKMC_DocumentWriter& writer, const uint32_t& gdiPunt, const uint32_t& jobCancelled);
  CKMC_Graphics(CKMC_DocumentWriter& writer, const uint32_t& gdiPunt, const uint32_t& jobCancelled,
                const uint32_t& imageCompress)
      : CKMC_Graphics(writer, gdiPunt, jobCancelled) {
    imageCompress_ = &imageCompress;
  }
  // `mergeImages` says that a full queue of captured bitmaps is composed
  // into one image (on when not given).
  CKMC_Graphics(CKMC_DocumentWriter& writer, const uint32_t& gdiPunt, const uint32_t& jobCancelled,
                const uint32_t& imageCompress, const uint8_t& mergeImages)
      : CKMC_Graphics(writer, gdiPunt, jobCancelled, imageCompress) {
    mergeImages_ = &mergeImages;
  }
  ~CKMC_Graphics();
  CKMC_Graphics(const CKMC_Graphics&) = delete;
  CKMC_Graphics& operator=(const CKMC_Graphics&) = delete;

  // ---- graphic state (graphic_state.cpp)

  // A new page: no clip open, nothing known about the stream's state.
  void StartPage();
  // The page's content, opened if a drawing call comes before any page.
  CKM_BinaryBuf& Stream();
  // Brings what the engine drew into the page's content and ends an open
  // text object and clip, before the writer finishes the page.
  void EndPage(SURFOBJ* surface);

  // Device pixels to points, y flipped about the page height.
  void DeviceToUser(double& x, double& y) const;
  double ScaleLength(double length) const { return length * writer_.Geometry().pixelToPoint; }

  void SetStrokeColor(CKM_BinaryBuf& out, uint32_t color);
  void SetFillColor(CKM_BinaryBuf& out, uint32_t color);
  void SetLineWidth(CKM_BinaryBuf& out, double width) override;
  void SetDash(CKM_BinaryBuf& out, const CKM_ByteString& dash);
  // Forgets colours, width and dash; to be called after every "Q ".
  void ResetGraphicCache();

  // Ends a text object that the text output left open, so that other
  // operators never land inside "BT " ... "ET".
  void CloseTextRun(CKM_BinaryBuf& out);

  // ---- what a text run asks (graphic_state.cpp)

  CKM_BinaryBuf& BeginText(SURFOBJ* surface) override;
  void BeginBackground(CKM_BinaryBuf& out, uint32_t color) override;
  CKMC_ColorState Colors() const override;
  void SetColors(const CKMC_ColorState& colors) override;
  void OpenTextRun() override { textRunOpen = true; }

  // ---- paths and lines (path_painting.cpp)

  // One path as stroke, fill or both; a null brush means that part is not
  // painted. `mix` gives the stroke's raster operation in its low byte and
  // the fill's in its second byte.
  void PaintPath(SURFOBJ* surface, PATHOBJ* path, XFORMOBJ* xform, BRUSHOBJ* strokeBrush, BRUSHOBJ* fillBrush,
                 LINEATTRS* line, MIX mix, FLONG fillOptions);
  // The operators of a whole path, points in 28.4 fixed point; mapped to
  // points when `map` is set, else in device units.
  CKM_ByteString WritePathOperators(PATHOBJ* path, bool map) const;
  // A one-pixel line between the centres of two pixels.
  void PaintLine(SURFOBJ* surface, LONG x1, LONG y1, LONG x2, LONG y2, BRUSHOBJ* brush, MIX mix);
  void AddDirtyLine(LONG x1, LONG y1, LONG x2, LONG y2);

  // ---- clipping (clipping.cpp)

  // Makes the content stream's clip that of `clip`, for a drawing within
  // `bounds` (null: unknown).
  void SelectClip(SURFOBJ* surface, CLIPOBJ* clip, const RECTL* bounds);

  // ---- brushes and rectangles (brushes.cpp)

  // The colour a path's brush paints with under the four-bit raster
  // operation `op`, or nothing when PDF cannot express it.
  std::optional<uint32_t> StrokeColorFor(BRUSHOBJ* brush, uint32_t op) const;
  std::optional<uint32_t> FillColorFor(BRUSHOBJ* brush, uint32_t op) const;
  // A blit without source and mask as a filled rectangle: 1 if done (or
  // nothing is to be done), 0 if its ROP or brush cannot be expressed.
  int PaintRectangle(SURFOBJ* surface, const RECTL& rect, BRUSHOBJ* brush, ROP4 rop);

  // ---- areas drawn by the engine (deferred_bitmaps.cpp)

  // Records an area of the surface that the PDF must show as an image.
  // Clamps `rect` to the page, in place.
  void AddDirtyRect(RECTL& rect);
  // Brings what the engine drew so far into the content stream, below what
  // comes next.
  void FlushDeferredBitmaps(SURFOBJ* surface);
  // Cuts `rect` from the 24-bit surface as a new image and places it there
  // in the content stream. The part of `rect` outside the surface is left
  // out; nothing is written when nothing is left.
  void CaptureSurfaceRect(SURFOBJ* surface, const RECTL& rect);

  // ---- bitmaps while the engine does not draw (bitmap_transfer.cpp)

  // The largest number of true-colour images that wait in the queue.
  static constexpr int32_t kPendingLimit = 500;

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

  size_t PendingCount() const { return pendingImages_.size(); }
  // Deletes the queued images and empties both rectangle lists (also what
  // a cancelled job left behind; a page that ended normally left none).
  void DiscardPendingImages();

  // ---- gradients (gradients.cpp)

  // A gradient fill as a shading of Gouraud triangles over `extents`.
  // Throws std::invalid_argument for a mesh that cannot be written: a
  // vertex index past the vertices, or an empty extent.
  void WriteGradient(const TRIVERTEX* vertices, ULONG vertexCount, const void* mesh, ULONG meshCount,
                     const RECTL& extents, ULONG mode);

  // ---- state

  // The state of the content stream as last written.
  bool strokeColorKnown = false;
  bool fillColorKnown = false;
  bool lineWidthKnown = false;
  uint32_t strokeColor = 0;
  uint32_t fillColor = 0;
  double lineWidth = 0;
  CKM_ByteString dash;
  // Remembered across "Q ": the last colours set, and the colour of the
  // last blit's brush, which the mask-pen fill paints with.
  uint32_t lastFillColor = 0;
  uint32_t lastStrokeColor = 0;
  // The clip operators in force; ClipIdentity() says whether a clip's "q "
  // is open.
  CKM_ByteString clipText;
  // Surface areas the engine drew that are not yet in the content stream.
  CKMC_RectList dirtyRegion;
  // Where each queued image came from in its source and where it goes on
  // the page; entry i belongs to queued image i.
  CKMC_RectList pendingSources;
  CKMC_RectList pendingTargets;
  // Set by the text output while a "BT " is open.
  bool textRunOpen = false;
  // Where an open text block goes (null: nothing ever opens one).
  IKMC_TextSink* textSink = nullptr;

  // GDI's identity number of the clip in force, 0 when no clip's "q " is
  // open.
  uint32_t ClipIdentity() const { return m_clipIdentity; }

 private:
  static constexpr uint32_t kImageCompressOn = 1;
  static constexpr uint8_t kMergeImagesOn = 1;

  bool Cancelled() const { return jobCancelled_ != 0; }
  // Cuts the listed areas from the surface as images, in bands without
  // overlap, and empties the list.
  void CaptureDirtyAreas(SURFOBJ* surface);

  CKMC_DocumentWriter& writer_;
  const uint32_t& gdiPunt_;
  const uint32_t& jobCancelled_;
  const uint32_t* imageCompress_ = &kImageCompressOn;
  const uint8_t* mergeImages_ = &kMergeImagesOn;
  uint32_t m_clipIdentity = 0;
  // True-colour images captured while the engine does not draw, in the
  // order of their calls.
  std::vector<std::unique_ptr<ImageData>> pendingImages_;
};
