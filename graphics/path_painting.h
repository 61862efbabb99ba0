// CKMC_PathPainter: paths, lines and solid rectangles as PDF operators.
//
// Coordinates are scaled to points and flipped as they are written; the
// page content has no page-wide " cm ". What cannot be expressed as PDF
// operators is left to the engine: its area goes to the dirty list.
#pragma once

#include <cstdint>
#include <optional>

#include "base/byte_string.h"
#include "graphics/graphic_state.h"
#include "graphics/image_queue.h"
#include "graphics/page_stream.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

// A path's bounds in whole pixels: left and top truncated, right and bottom
// rounded up, from 28.4 fixed point.
RECTL PixelBounds(const RECTFX& bounds);

// The operators of a whole path, points in 28.4 fixed point; mapped to
// points of `page` when `map` is set, else in device units.
CKM_ByteString PathOperators(PATHOBJ* path, const CKMC_PageGeometry* page);

class CKMC_PathPainter {
 public:
  CKMC_PathPainter(CKMC_DocumentWriter& writer, IKMC_PageStream& page, CKMC_GraphicState& state,
                   CKMC_ImageQueue& images, const CKMC_GraphicsSwitches& switches)
      : m_writer(writer), m_page(page), m_state(state), m_images(images), m_switches(switches) {}
  CKMC_PathPainter(const CKMC_PathPainter&) = delete;
  CKMC_PathPainter& operator=(const CKMC_PathPainter&) = delete;

  // One path as stroke, fill or both; a null brush means that part is not
  // painted. `mix` gives the stroke's raster operation in its low byte and
  // the fill's in its second byte.
  void PaintPath(SURFOBJ* surface, PATHOBJ* path, XFORMOBJ* xform, BRUSHOBJ* strokeBrush, BRUSHOBJ* fillBrush,
                 LINEATTRS* line, MIX mix, FLONG fillOptions);
  // A one-pixel line between the centres of two pixels.
  void PaintLine(SURFOBJ* surface, LONG x1, LONG y1, LONG x2, LONG y2, BRUSHOBJ* brush, MIX mix);
  void AddDirtyLine(LONG x1, LONG y1, LONG x2, LONG y2);

  // The colour a path's brush paints with under the four-bit raster
  // operation `op`, or nothing when PDF cannot express it.
  std::optional<uint32_t> StrokeColorFor(BRUSHOBJ* brush, uint32_t op) const;
  std::optional<uint32_t> FillColorFor(BRUSHOBJ* brush, uint32_t op) const;
  // A blit without source and mask as a filled rectangle: 1 if done (or
  // nothing is to be done), 0 if its ROP or brush cannot be expressed.
  int PaintRectangle(SURFOBJ* surface, const RECTL& rect, BRUSHOBJ* brush, ROP4 rop);

 private:
  bool Cancelled() const { return m_switches.jobCancelled != 0; }
  double ScaleLength(double length) const { return length * m_writer.Geometry().pixelToPoint; }
  void DeviceToUser(double& x, double& y) const { ::DeviceToUser(m_writer.Geometry(), x, y); }
  // The line's width, caps, joins and dash.
  void WriteLineStyle(CKM_BinaryBuf& out, const LINEATTRS* line, bool transformed, float meanScale);

  CKMC_DocumentWriter& m_writer;
  IKMC_PageStream& m_page;
  CKMC_GraphicState& m_state;
  CKMC_ImageQueue& m_images;
  const CKMC_GraphicsSwitches& m_switches;
};
