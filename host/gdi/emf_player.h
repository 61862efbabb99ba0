// Plays the records of one EMF page onto a target.
//
// One record's way from the file to the target:
//   EmfFile (emf_reader.h) checks the chain and hands out EmfRecords;
//   the record table (record_table.h) finds the type's entry, refuses a
//   record shorter than the entry's minimum size ("too short");
//   the type's decoder (record_types.h) reads the bytes into a typed record;
//   the type's handler on the DeviceContext (device_context.h), made anew
//   for each page, changes the state or calls the target: the driver's Drv*
//   functions on a surface with engine objects (DriverTarget).
// A record whose type has no entry is counted as not played. EMR_HEADER and
// EMR_EOF frame the page and are never counted. A record that cannot be
// played goes to PlayStats::errors, named by DescribeRecord.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/gdi/emf_reader.h"
#include "host/gdi/emf_records.h"
#include "platform/winddi.h"

namespace snk::gdi {

// What a page is played onto: the page's surface and the drawing entries
// the engine calls for it, with the signatures of the driver's functions
// (the surface argument is the target's own). DriverTarget calls the
// driver; tests record the calls.
class PlayTarget {
 public:
  virtual ~PlayTarget();
  virtual SURFOBJ* Surface() = 0;
  virtual BOOL StrokePath(PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* xform, BRUSHOBJ* brush, POINTL* brushOrigin,
                          LINEATTRS* line, MIX mix) = 0;
  virtual BOOL FillPath(PATHOBJ* path, CLIPOBJ* clip, BRUSHOBJ* brush, POINTL* brushOrigin, MIX mix,
                        FLONG options) = 0;
  virtual BOOL StrokeAndFillPath(PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* xform, BRUSHOBJ* stroke,
                                 LINEATTRS* line, BRUSHOBJ* fill, POINTL* brushOrigin, MIX mix,
                                 FLONG options) = 0;
  virtual BOOL LineTo(CLIPOBJ* clip, BRUSHOBJ* brush, LONG x1, LONG y1, LONG x2, LONG y2, RECTL* bounds,
                      MIX mix) = 0;
  virtual BOOL BitBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                      POINTL* sourceOrigin, POINTL* maskOrigin, BRUSHOBJ* brush, POINTL* brushOrigin,
                      ROP4 rop) = 0;
  virtual BOOL CopyBits(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                        POINTL* sourceOrigin) = 0;
  virtual BOOL StretchBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate,
                          COLORADJUSTMENT* adjustment, POINTL* halftoneOrigin, RECTL* target,
                          RECTL* sourceRect, POINTL* maskOrigin, ULONG mode) = 0;
  virtual BOOL StretchBltROP(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate,
                             COLORADJUSTMENT* adjustment, POINTL* halftoneOrigin, RECTL* target,
                             RECTL* sourceRect, POINTL* maskOrigin, ULONG mode, BRUSHOBJ* brush,
                             DWORD rop) = 0;
  virtual BOOL PlgBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate,
                      COLORADJUSTMENT* adjustment, POINTL* brushOrigin, POINTFIX* corners, RECTL* sourceRect,
                      POINTL* maskOrigin, ULONG mode) = 0;
  virtual BOOL AlphaBlend(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target, RECTL* sourceRect,
                          BLENDOBJ* blend) = 0;
  virtual BOOL TransparentBlt(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                              RECTL* sourceRect, ULONG transparentColor, ULONG reserved) = 0;
  virtual BOOL GradientFill(CLIPOBJ* clip, XLATEOBJ* xlate, TRIVERTEX* vertices, ULONG vertexCount,
                            PVOID mesh, ULONG meshCount, RECTL* extents, POINTL* ditherOrigin,
                            ULONG mode) = 0;
  // How the driver wants text in `font`: FO_HGLYPHS (glyph runs through
  // TextOut) or FO_PATHOBJ (outlines through the path calls).
  virtual ULONG GetGlyphMode(FONTOBJ* font) = 0;
  virtual BOOL TextOut(STROBJ* text, FONTOBJ* font, CLIPOBJ* clip, RECTL* extra, RECTL* opaque,
                       BRUSHOBJ* fore, BRUSHOBJ* opaqueBrush, POINTL* brushOrigin, MIX mix) = 0;
};

struct PlayStats {
  uint64_t played = 0;
  // Records with no handler, by record type.
  std::map<uint32_t, uint64_t> notPlayed;
  // One line per record a handler could not play (e.g. too short), or
  // played only in part (a bitmap's colour table cut short).
  std::vector<std::string> errors;

  uint64_t NotPlayedTotal() const;
};

class DeviceContext;

class EmfPlayer {
 public:
  EmfPlayer();
  ~EmfPlayer();

  // Plays every record of `file` from after EMR_HEADER up to EMR_EOF.
  PlayStats PlayPage(const EmfFile& file, PlayTarget& target);

 private:
  void PlayRecord(const EmfRecord& record);
  void RecordError(const EmfRecord& record, std::string_view fault);

  std::unique_ptr<DeviceContext> dc_;
  PlayTarget* target_ = nullptr;
  PlayStats* stats_ = nullptr;
};

// Writes one line per record type that was not played, sorted by name:
// "  EMR_SELECTOBJECT: 37".
void PrintNotPlayed(const PlayStats& stats, std::FILE* out);

}  // namespace snk::gdi
