// CKMC_TrueTypeSubset: a TrueType font (or one face of a collection) cut
// down to the glyphs a document used.
//
// The source is read through a callback, only as far as it is copied. Kept
// glyphs get new indices from 1 upward in the order they are asked for
// (.notdef stays 0), and components of composite glyphs are pulled in as
// the glyph table is rebuilt. The result holds glyf, head, hhea/hmtx,
// vhea/vmtx, loca, maxp, name and the hinting tables: enough for a PDF
// font whose codes are the glyph indices, not an installable font.
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
  // Builds the subset of the glyphs mapped so far; 0 on success, -1 when
  // the source cannot be read or is inconsistent.
  int BuildSubset();

  std::span<const uint8_t> Output() const { return {output.data(), output.size()}; }
  uint16_t GlyphCount() const { return nextGlyph; }

  int status = -1;

 private:
  struct Table {
    uint32_t tag = 0, checksum = 0, offset = 0, length = 0;
  };
  struct Glyph {
    uint32_t oldIndex = 0;
    uint32_t newOffset = 0;
  };

  const Table* FindTable(uint32_t tag) const;
  bool Read(uint64_t offset, void* buffer, size_t length) const;
  bool ReadU16(uint64_t offset, uint16_t& value) const;
  bool ReadU32(uint64_t offset, uint32_t& value) const;
  // Appends `length` bytes of the source at `offset` to the output.
  bool CopySource(uint64_t offset, uint32_t length);
  // Each returns 0, -2 when the source has no such table, or -1.
  int CopyTable(uint32_t tag);
  int WriteGlyf();
  int WriteMetrics(uint32_t headTag, uint32_t metricsTag);
  int WriteLoca();
  int PatchCount(uint32_t tag, size_t at, uint16_t count, int copied);

  CKMC_FontReadProc read;
  void* context;
  std::vector<Table> tables;
  uint16_t tableCount = 0;
  uint16_t nextGlyph = 1;
  std::vector<Glyph> glyphs;
  std::vector<uint16_t> newIndex;
  uint16_t indexToLocFormat = 0;
  uint16_t numGlyphs = 0;
  uint32_t metricFlags = 1;
  size_t checkSumOffset = 0;
  std::vector<uint8_t> output;
};
