// The font catalogue: the document's fonts, one CKMC_Font (document_font.h)
// per face the job prints with, made from the engine's FONTOBJ at its first
// use and written at document end.
//
// The catalogue picks each face's form: a font that is not embedded fans
// out into subfonts, one PDF font object each (subfonts.h); an embedded one
// carries its font program (embedded_font.h). It holds the list in order of
// creation.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "base/byte_string.h"
#include "fonts/document_font.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

// The catalogue of one document's fonts. The switches are the document's
// own and are read at each call.
class CKMC_FontCatalogue {
 public:
  struct Settings {
    const uint32_t& fontEmbed;  // 0 none, 1 the faces of `faceBlock`, 2 all, 3 all but the standard 14
    const uint32_t& fontWarn;   // warn when a face cannot be embedded
    const std::vector<uint8_t>& faceBlock;  // the printer's "FFaces" block
    // Tells the user that a face stays outside the file (its name in the
    // system code page) and waits for the answer; none: nobody is told.
    void (*warnNotEmbedded)(const CKM_ByteString& name) = nullptr;
  };
  CKMC_FontCatalogue(CKMC_DocumentWriter& writer, Settings settings);
  ~CKMC_FontCatalogue();

  // The document font of a FONTOBJ, made at its first use; never null.
  CKMC_Font& FindOrCreateFont(FONTOBJ* fontObject);
  // Whether `familyName` stands in the "FFaces" block (exact match).
  bool IsEmbedFace(std::u16string_view familyName) const;
  // The same for any block: a 32-bit size that counts itself, then
  // zero-ended UTF-16 names.
  static bool FaceBlockHolds(std::span<const uint8_t> block, std::u16string_view familyName);

  // Every font's objects, in order of creation; at document end.
  void WriteFonts();
  // Forgets all fonts, for the next document.
  void Clear();

  const std::vector<std::unique_ptr<CKMC_Font>>& Fonts() const { return m_fonts; }

 private:
  // The embedded form of a face; null when the face cannot be embedded.
  std::unique_ptr<CKMC_Font> MakeEmbeddedFont(FONTOBJ* fontObject, const IFIMETRICS& metrics, uint32_t mode);
  CKMC_DocumentWriter& m_writer;
  Settings m_settings;
  std::vector<std::unique_ptr<CKMC_Font>> m_fonts;
};
