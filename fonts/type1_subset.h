// CKMC_Type1Subset: a Type 1 font program (PFB or PFA) cut down to the
// glyphs a document used.
//
// The program's private part is decrypted (eexec), its charstrings are
// found, and a new program is written with the kept glyphs under their own
// names and charstring bytes (which stay encrypted as they were), a
// /CharStrings count to match, and an /Encoding that gives each kept glyph
// its new index as code. Glyph indices are those of the source's
// /CharStrings order with .notdef swapped to index 0, which is how FreeType
// numbers the glyphs of a Type 1 face.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "fonts/font_reader.h"

class CKMC_Type1Subset {
 public:
  // Reads the whole program through the callbacks and parses it; `status`
  // tells whether it can be subset.
  CKMC_Type1Subset(CKMC_FontReadProc read, CKMC_FontSizeProc size, void* context);

  // 0: PFB segments with a binary cipher; 1: hexadecimal cipher, sections
  // parted by newlines; 2: the private part unencrypted.
  void SetOutputForm(int form) { outputForm = form; }
  // The new index of a source glyph, given at its first request after the
  // glyphs its accented form is built from; 0 for .notdef and for an index
  // out of range.
  uint32_t MapCharString(uint32_t index);
  // Writes the program of the glyphs mapped so far; 0 on success.
  int WriteFontProgram();

  std::span<const uint8_t> Output() const { return {output.data(), output.size()}; }
  uint32_t GlyphCount() const { return static_cast<uint32_t>(glyphs.size()); }
  std::string_view GlyphName(uint32_t index) const;

  int status = -1;
  uint32_t length1 = 0, length2 = 0, length3 = 0;

 private:
  struct Glyph {
    uint32_t newIndex = 0;
    std::string_view name;
    const uint8_t* start = nullptr;  // the charstring, still encrypted
    const uint8_t* end = nullptr;
    bool inClosure = false;
  };

  bool Parse();
  bool FindSections();
  bool FindCharStrings();
  void PlaceNotdef();
  // Fills standardGlyph.
  void IndexStandardNames();
  void Closure(const Glyph& glyph);
  // Appends plain bytes to the private section, encrypted by the form.
  void Encrypt(const uint8_t* from, size_t length);
  void Encrypt(std::string_view text) { Encrypt(reinterpret_cast<const uint8_t*>(text.data()), text.size()); }

  std::vector<uint8_t> data;
  size_t dataEnd = 0;
  size_t clearStart = 0, clearEnd = 0;
  size_t cipherStart = 0, cipherEnd = 0;
  bool isHex = false;
  std::vector<uint8_t> plain;
  size_t charStringsAt = 0, afterCount = 0, firstGlyph = 0, afterGlyphs = 0, closeFileAt = 0;
  size_t clearToMark = 0;
  const char* rdToken = "RD";
  const char* ndToken = "ND";
  std::vector<Glyph> glyphs;
  // Per StandardEncoding code, the first glyph (above 0) of that name; 0 for
  // none. Found once, so that a charstring full of seac costs no search.
  uint32_t standardGlyph[256] = {};
  std::vector<uint32_t> order;  // new index -> source index
  uint32_t nextGlyph = 1;
  int outputForm = 1;
  uint16_t encryptKey = 55665;
  std::vector<uint8_t> output;
};
