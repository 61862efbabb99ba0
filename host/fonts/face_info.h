// Private to host/fonts: what the engine's font objects say about a face,
// read from the face's own tables through FreeType.
//
// Contract. FreeType checks the table directory and each table it loads
// when the face is opened (a table too short for its version is dropped,
// a character map whose offsets leave the file is not offered). What is
// read here therefore comes from FreeType's parsed tables; a missing OS/2,
// hhea or post table is replaced by values derived from the tables that
// are there, and names missing from the name table by FreeType's own
// family and style names. Nothing here fails: the caller decides before
// that a face is usable (scalable, a sane units-per-em).
#pragma once

#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/winddi.h"

namespace snk::fonts::detail {

// The name table's names of a face (Windows English records preferred).
struct FaceNames {
  std::u16string family;      // name ID 1
  std::u16string style;       // name ID 2
  std::u16string unique;      // name ID 3
  std::u16string full;        // name ID 4
  std::u16string postscript;  // name ID 6
};

FaceNames ReadFaceNames(FT_Face face);

// A face with a (3,0) symbol character map and no Unicode one.
bool IsSymbolFace(FT_Face face);

// A face that stands in for the Symbol face without a symbol character map
// (URW's Standard Symbols PS has only a Unicode one): its glyph names cover
// the Adobe Symbol encoding. Text written for Symbol reaches its glyphs by
// the encoding's names.
bool IsSymbolStandIn(FT_Face face);

// The glyphs of the Adobe Symbol encoding's codes in a face, by the glyph
// names the encoding gives them; 0 for a code the encoding leaves empty or
// a name the face lacks.
std::vector<FT_UInt> SymbolEncodingGlyphs(FT_Face face);

// The Windows charsets the face covers, in the order of the code-page bits
// (at most 15).
std::vector<uint8_t> CoveredCharsets(FT_Face face, bool symbol);

// The charset a realization reports: the one asked for when the face
// covers it, the face's first one for DEFAULT_CHARSET, else ANSI; SYMBOL
// for a symbol face.
uint8_t ChooseCharset(const std::vector<uint8_t>& covered, uint8_t requested, bool symbol);

// The face's metrics in font units (y up). The offsets, sizes and
// jWinCharSet are left for the block's builder.
IFIMETRICS FaceMetrics(FT_Face face, bool symbol);

// Bold and italic as the face itself is (OS/2 weight and selection, or
// the head table's style bits).
bool FaceIsBold(FT_Face face);
bool FaceIsItalic(FT_Face face);

// A block of memory aligned for the engine structures it holds.
struct Block {
  std::vector<uint64_t> words;
  void* data() { return words.data(); }
  const void* data() const { return words.data(); }
  size_t bytes = 0;
};

// The IFIMETRICS block: the structure, then the four names (zero-ended
// UTF-16) and the charset list ended by DEFAULT_CHARSET.
Block BuildIfiBlock(const IFIMETRICS& metrics, const FaceNames& names, const std::vector<uint8_t>& charsets);

// The FD_GLYPHSET of the face's Unicode (or symbol) character map in the
// BMP, its phg arrays inside the block. A symbol face's codes F000-F0FF
// are offered at 0000-00FF too.
Block BuildGlyphSet(FT_Face face, bool symbol);

// The FD_GLYPHSET of a symbol stand-in: the glyphs of `byCode` (indexed by
// code 00-FF, 0 for none) at F000 + code and mirrored at the code itself.
Block BuildGlyphSet(const std::vector<FT_UInt>& byCode);

}  // namespace snk::fonts::detail
