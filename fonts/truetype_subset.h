// CKMC_TrueTypeSubset: a TrueType font (or one face of a collection) cut
// down to the glyphs a document used.
//
// The source is read through a callback, only as far as it is needed. Kept
// glyphs get new indices from 1 upward in the order they are asked for
// (.notdef stays 0). A build first plans the glyph set: it takes in the
// components of composite glyphs until the set is closed, and fixes where
// each kept glyph lies in the source and where it goes in the new glyf
// table. The tables are then written from the plan. The result holds glyf,
// head, hhea/hmtx, vhea/vmtx, loca, maxp, name and the hinting tables:
// enough for a PDF font whose codes are the glyph indices, not an
// installable font.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "fonts/font_reader.h"

class CKMC_TrueTypeSubset {
 public:
  // Parses face `faceIndex` of the file; `status` tells whether it can be
  // subset.
  CKMC_TrueTypeSubset(uint32_t faceIndex, CKMC_FontReadProc read, void* context);

  // fsType of the OS/2 table; 0 without the table or when it cannot be read.
  uint16_t GetEmbeddingBits();
  // Bit 0 keeps hhea and hmtx, bit 1 vhea and vmtx.
  void SetMetricFlags(uint32_t flags) { metricFlags = flags; }
  // The new index of a source glyph, given at its first request; 0 for
  // glyph 0 and for an index the font does not have.
  uint16_t MapOldGlyph(uint32_t oldGlyph);
  // Builds the subset of the glyphs mapped so far; 0 on success, -1 (and
  // no output) when the source cannot be read or is inconsistent.
  int BuildSubset();

  std::span<const uint8_t> Output() const { return {output.data(), output.size()}; }
  uint16_t GlyphCount() const { return static_cast<uint16_t>(oldIndex.size()); }

  int status = -1;

 private:
  struct Table {
    uint32_t tag = 0, checksum = 0, offset = 0, length = 0;
  };
  // A component of a composite glyph: where its glyph index stands in the
  // glyph's bytes, and the index it gets in the subset.
  struct Component {
    uint32_t at = 0;
    uint16_t newIndex = 0;
  };
  // One kept glyph: its bytes in the source glyf table, its offset in the
  // new one, and the components to renumber when it is a composite.
  struct PlannedGlyph {
    uint32_t sourceOffset = 0;
    uint32_t length = 0;
    uint32_t newOffset = 0;
    std::vector<Component> components;
  };
  // The glyph set of a build, in new index order; `glyfLength` is the size
  // of the new glyf table and the last loca entry.
  struct GlyphPlan {
    std::vector<PlannedGlyph> glyphs;
    uint32_t glyfLength = 0;
  };

  const Table* FindTable(uint32_t tag) const;
  // Appends `length` bytes of the source at `offset` to `bytes`; false when
  // any of them lies outside the file.
  bool AppendSource(uint64_t offset, size_t length, std::vector<uint8_t>& bytes) const;
  // The same into `bytes` alone.
  bool ReadSource(uint64_t offset, size_t length, std::vector<uint8_t>& bytes) const;
  // The first `length` bytes of a table; false for a missing or shorter
  // table, or one that leaves the file.
  bool ReadTableStart(const Table* table, size_t length, std::vector<uint8_t>& bytes) const;
  bool ReadDirectory(uint32_t faceIndex);
  bool ReadHeaders();

  bool PlanGlyphs(GlyphPlan& plan);
  // Finds the components of a glyph read from the source, taking them into
  // the subset.
  bool PlanComponents(uint64_t at, PlannedGlyph& glyph);

  // Each of these returns 0, -2 when the source has no such table, or -1.
  int WriteTable(uint32_t tag, const GlyphPlan& plan, size_t& checkSumOffset);
  int CopyTable(uint32_t tag);
  int PatchCount(uint32_t tag, size_t at, uint16_t count, int copied);
  int WriteGlyf(const GlyphPlan& plan);
  int WriteMetrics(uint32_t headTag, uint32_t metricsTag);
  int WriteLoca(const GlyphPlan& plan);

  CKMC_FontReadProc read;
  void* context;
  std::vector<Table> tables;
  std::vector<uint32_t> oldIndex;  // per new index, the source glyph
  std::vector<uint16_t> newIndex;  // per source glyph, its new index (0: not kept)
  uint16_t indexToLocFormat = 0;
  uint16_t numGlyphs = 0;
  uint32_t metricFlags = 1;
  std::vector<uint8_t> output;
};
