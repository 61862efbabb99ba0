// The font catalogue: the document's fonts, found by face, and the form of
// each made from the engine's FONTOBJ at its first use.
#include <algorithm>
#include <cstddef>

#include "base/byte_reader.h"
#include "fonts/charset_tables.h"
#include "fonts/document_font.h"
#include "fonts/embedded_font.h"
#include "fonts/font.h"
#include "fonts/subfonts.h"

CKMC_FontCatalogue::CKMC_FontCatalogue(CKMC_DocumentWriter& writer, Settings settings)
    : m_writer(writer), m_settings(settings) {}

CKMC_FontCatalogue::~CKMC_FontCatalogue() = default;

CKMC_Font& CKMC_FontCatalogue::FindOrCreateFont(FONTOBJ* fontObject) {
  static const IFIMETRICS kNoMetrics{};
  const IFIMETRICS* found = fontObject ? FONTOBJ_pifi(fontObject) : nullptr;
  const IFIMETRICS& metrics = found ? *found : kNoMetrics;
  const uint32_t mode = m_settings.fontEmbed;

  std::u16string uniqueName = IfiText(metrics, metrics.dpwszUniqueName);
  CKM_ByteString faceName = FontNameToAnsi(KeptFaceNameOf(metrics, mode, false));
  for (const auto& font : m_fonts)
    if (font->uniqueName == uniqueName && font->name == faceName) return *font;

  bool embed =
      mode == 2 || mode == 3 || (mode == 1 && IsEmbedFace(IfiText(metrics, metrics.dpwszFamilyName)));
  if (embed) {
    if (std::unique_ptr<CKMC_Font> font = MakeEmbeddedFont(fontObject, metrics, mode)) {
      m_fonts.push_back(std::move(font));
      return *m_fonts.back();
    }
    if (m_settings.fontWarn && m_settings.warnNotEmbedded)
      m_settings.warnNotEmbedded(FontNameToAnsi(KeptFaceNameOf(metrics, mode, true)));
  }

  std::unique_ptr<CKMC_Font> font;
  if (metrics.jWinCharSet == SYMBOL_CHARSET)
    font = std::make_unique<CKMC_SymbolFont>(m_writer);
  else
    font = std::make_unique<CKMC_UnicodeFont>(m_writer);
  font->PrepareFont(fontObject, mode);
  font->uniqueName = uniqueName;
  font->InitCharsets(metrics);
  m_fonts.push_back(std::move(font));
  return *m_fonts.back();
}

std::unique_ptr<CKMC_Font> CKMC_FontCatalogue::MakeEmbeddedFont(FONTOBJ* fontObject,
                                                                const IFIMETRICS& metrics, uint32_t mode) {
  auto font = std::make_unique<CKMC_CIDEmbedFont>(m_writer, mode);
  font->PrepareFont(fontObject, mode);
  font->InitCharsets(metrics);
  if (!font->ChooseEmbedSubFont()) return nullptr;
  return font;
}

bool CKMC_FontCatalogue::IsEmbedFace(std::u16string_view familyName) const {
  return FaceBlockHolds(m_settings.faceBlock, familyName);
}

// The block's size word may lie: the walk stays inside both the bytes held
// and the size claimed, steps in whole UTF-16 units, and drops a last name
// that runs to the end without its zero.
bool CKMC_FontCatalogue::FaceBlockHolds(std::span<const uint8_t> block, std::u16string_view familyName) {
  snk::ByteReader reader(std::as_bytes(block));
  uint32_t size = 0;
  if (familyName.empty() || !reader.ReadU32(size) || size < 4) return false;
  size_t end = std::min<size_t>(size, block.size());
  std::u16string name;
  uint16_t unit = 0;
  while (reader.position() + 2 <= end && reader.ReadU16(unit)) {
    if (unit != 0) {
      name += static_cast<char16_t>(unit);
      continue;
    }
    if (name == familyName) return true;
    name.clear();
  }
  return false;
}

void CKMC_FontCatalogue::WriteFonts() {
  for (const auto& font : m_fonts) font->WriteFont();
}

void CKMC_FontCatalogue::Clear() { m_fonts.clear(); }
