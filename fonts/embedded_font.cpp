// The embedded fonts: the choice of program kind, the glyph records, and
// the Type 0 font, CIDFont, descriptor and font file of each kind.
#include "fonts/embedded_font.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H

#include <string>

#include "fonts/charset_tables.h"
#include "fonts/truetype_subset.h"
#include "fonts/type1_subset.h"

namespace {

// fsType: bit 1 restricted licence, bit 2 preview and print, bit 3 editable.
bool RestrictedOnly(uint32_t fsType) { return (fsType & 0xE) != 0 && !(fsType & 0x8) && !(fsType & 0x4); }

// A two-byte code as CKMC_MappedCharacter holds it: high byte first in
// memory.
int64_t TwoByteCode(uint32_t cid) { return ((cid & 0xFF) << 8) | ((cid >> 8) & 0xFF); }

bool NoGlyph(uint32_t glyph) { return static_cast<int32_t>(glyph) < 0; }

bool IsDoubleByte(uint8_t charset) {
  return charset == GB2312_CHARSET || charset == CHINESEBIG5_CHARSET || charset == SHIFTJIS_CHARSET ||
         charset == HANGEUL_CHARSET || charset == JOHAB_CHARSET;
}

// /W, one width per code: "[0[w w ...] c[w ...]]", a new group wherever
// the codes do not follow each other.
CKM_ByteString WidthsByCode(const std::vector<CKMC_GlyphRecord>& records) {
  std::string text = "[0[" + std::to_string(records.front().width) + " ";
  for (size_t i = 1; i < records.size(); ++i) {
    if (records[i].cid != records[i - 1].cid + 1) text += "] " + std::to_string(records[i].cid) + "[";
    text += std::to_string(records[i].width) + " ";
  }
  text += "]]";
  return CKM_ByteString(std::move(text));
}

// /W for CJK text, where long stretches share one width:
// "[first last w first last w ...]" by runs of equal width in record order.
CKM_ByteString WidthsByRun(const std::vector<CKMC_GlyphRecord>& records) {
  std::string text = "[";
  size_t start = 0;
  auto writeRun = [&](size_t last) {
    text += std::to_string(records[start].cid) + " " + std::to_string(records[last].cid) + " " +
            std::to_string(records[start].width) + " ";
  };
  for (size_t i = 1; i < records.size(); ++i) {
    if (records[i].width == records[start].width) continue;
    writeRun(i - 1);
    start = i;
  }
  writeRun(records.size() - 1);
  text += "]";
  return CKM_ByteString(std::move(text));
}

}  // namespace

// ------------------------------------------------------------ CKMC_CIDEmbedSubFont

CKMC_CIDEmbedSubFont::CKMC_CIDEmbedSubFont(CKMC_CIDEmbedFont& font, const char* subtype)
    : font(font),
      numberH(font.writer.NewObjectNumber()),
      numberV(font.writer.NewObjectNumber()),
      fontFileNumber(font.writer.NewObjectNumber()),
      subtype(subtype) {
  // Record 0 is .notdef, which every program has at index 0.
  int32_t width = 0;
  font.GlyphWidth(0, width);
  records.push_back({0, 0, 0, width});
  byUnicode[0] = 0;
}

CKMC_CIDEmbedSubFont::~CKMC_CIDEmbedSubFont() = default;

void CKMC_CIDEmbedSubFont::NoteCJK() {
  if (IsDoubleByte(font.currentCharset)) isCJK = true;
}

int64_t CKMC_CIDEmbedSubFont::MapGlyph(uint16_t unicode, uint32_t glyph, uint32_t& length, int32_t& width) {
  length = 2;
  // A character met before keeps its code, and no glyph is loaded again.
  if (unicode != 0) {
    if (auto it = byUnicode.find(unicode); it != byUnicode.end()) {
      width = records[it->second].width;
      return TwoByteCode(records[it->second].cid);
    }
  }
  if (NoGlyph(glyph)) return kNoGlyphCode;
  NoteCJK();
  width = 0;
  font.GlyphWidth(glyph, width);
  const uint32_t cid = AddGlyph(glyph);
  if ((cid & 0xFFFF) == 0) return 0;
  // A glyph met under a second Unicode value gets a second record with the
  // same code, so that either value finds it.
  records.push_back({glyph, cid, unicode, width});
  byUnicode[unicode] = records.size() - 1;
  return TwoByteCode(cid);
}

uint32_t CKMC_CIDEmbedSubFont::GetFontNumber(bool vertical) {
  if (vertical) {
    usedV = true;
    return numberV;
  }
  usedH = true;
  return numberH;
}

void CKMC_CIDEmbedSubFont::WriteSubFont() {
  CKMC_DocumentWriter& writer = font.writer;
  const uint32_t descriptor = writer.NewObjectNumber();
  const uint32_t toUnicode = writer.NewObjectNumber();
  const uint32_t descendant = writer.NewObjectNumber();
  font.WriteDescriptor(descriptor, 0);

  const CKM_ByteString baseFont = PdfFontName(font.TaggedName());
  if (usedH) WriteType0Font(writer, numberH, baseFont, descendant, "/Identity-H", toUnicode);
  if (usedV) WriteType0Font(writer, numberV, baseFont, descendant, "/Identity-V", toUnicode);

  CKMC_Dictionary cidFont;
  cidFont.SetLiteral("/CIDSystemInfo", "<</Registry (Adobe) /Ordering (Identity) /Supplement 0>>");
  cidFont.SetLiteral("/Type", "/Font");
  cidFont.SetLiteral("/Subtype", subtype);
  cidFont.SetLiteral("/BaseFont", baseFont);
  cidFont.SetReference("/FontDescriptor", descriptor);
  cidFont.SetLiteral("/CIDToGIDMap", "/Identity");
  cidFont.SetLiteral("/W", isCJK ? WidthsByRun(records) : WidthsByCode(records));
  writer.WriteIndirectObject(descendant, &cidFont);

  WriteToUnicode(toUnicode);
  WriteFontFile();
}

void CKMC_CIDEmbedSubFont::WriteToUnicode(uint32_t objectNumber) {
  CKM_ByteString text = BuildToUnicodeText(records);
  CKMC_Stream stream;
  stream.dict.SetLiteral("/Filter", "/FlateDecode");
  stream.data = CompressToString(text.c_str(), text.GetLength());
  font.writer.WriteIndirectObject(objectNumber, &stream);
}

void CKMC_CIDEmbedSubFont::WriteFontStream(const void* bytes, size_t size, CKMC_Dictionary& dict) {
  CKMC_Stream stream;
  stream.dict.entries = std::move(dict.entries);
  stream.dict.SetLiteral("/Filter", "/FlateDecode");
  stream.data = CompressToString(bytes, size);
  font.writer.WriteIndirectObject(fontFileNumber, &stream);
}

// ------------------------------------------------------------ TrueType

CKMC_CIDEmbedTTFont::CKMC_CIDEmbedTTFont(CKMC_CIDEmbedFont& font)
    : CKMC_CIDEmbedSubFont(font, "/CIDFontType2") {}

uint32_t CKMC_CIDEmbedTTFont::AddGlyph(uint32_t glyph) { return font.trueType->MapOldGlyph(glyph); }

void CKMC_CIDEmbedTTFont::WriteFontFile() {
  // A subset that cannot be built leaves the descriptor's reference
  // without its stream, which readers take as a font without a program.
  if (font.trueType->BuildSubset() != 0) return;
  std::span<const uint8_t> program = font.trueType->Output();
  CKMC_Dictionary dict;
  WriteFontStream(program.data(), program.size(), dict);
}

// ------------------------------------------------------------ Type 1

CKMC_CIDEmbedT1Font::CKMC_CIDEmbedT1Font(CKMC_CIDEmbedFont& font)
    : CKMC_CIDEmbedSubFont(font, "/CIDFontType0") {}

uint32_t CKMC_CIDEmbedT1Font::AddGlyph(uint32_t glyph) { return font.type1->MapCharString(glyph); }

void CKMC_CIDEmbedT1Font::WriteFontFile() {
  CKMC_Type1Subset& program = *font.type1;
  if (program.WriteFontProgram() != 0) return;
  std::span<const uint8_t> bytes = program.Output();
  CKMC_Dictionary dict;
  dict.SetNumber("/Length1", program.length1);
  dict.SetNumber("/Length2", program.length2);
  dict.SetNumber("/Length3", program.length3);
  WriteFontStream(bytes.data(), bytes.size(), dict);
}

// ------------------------------------------------------------ OpenType CFF

CKMC_CIDEmbedOTFont::CKMC_CIDEmbedOTFont(CKMC_CIDEmbedFont& font, std::vector<uint8_t> cff)
    : CKMC_CIDEmbedSubFont(font, "/CIDFontType0"), cff(std::move(cff)) {}

int64_t CKMC_CIDEmbedOTFont::MapGlyph(uint16_t /*unicode*/, uint32_t glyph, uint32_t& length,
                                      int32_t& width) {
  length = 2;
  if (NoGlyph(glyph)) return kNoGlyphCode;
  NoteCJK();
  width = 0;
  font.GlyphWidth(glyph, width);
  return TwoByteCode(glyph);
}

void CKMC_CIDEmbedOTFont::WriteSubFont() {
  // The whole program goes into the file, so every glyph gets its record,
  // and the face's own character map gives the Unicode values: where two
  // characters share a glyph, the later one stands.
  for (uint32_t glyph = 1; font.face && glyph < 0x10000; ++glyph) {
    int32_t width = 0;
    if (!font.GlyphWidth(glyph, width)) break;
    records.push_back({glyph, glyph, 0, width});
  }
  if (font.face) {
    FT_UInt glyph = 0;
    for (FT_ULong character = FT_Get_First_Char(font.face, &glyph); glyph != 0;
         character = FT_Get_Next_Char(font.face, character, &glyph)) {
      if (character > 0xFFFF || glyph >= records.size()) continue;
      byUnicode[static_cast<uint16_t>(character)] = glyph;
      records[glyph].unicode = static_cast<uint32_t>(character);
    }
  }
  CKMC_CIDEmbedSubFont::WriteSubFont();
}

void CKMC_CIDEmbedOTFont::WriteFontFile() {
  CKMC_Dictionary dict;
  WriteFontStream(cff.data(), cff.size(), dict);
}

// ------------------------------------------------------------ standard faces

CKMC_CIDEmbedStandardFont::CKMC_CIDEmbedStandardFont(CKMC_CIDEmbedFont& font, const char* baseFont)
    : CKMC_CIDEmbedSubFont(font, "/CIDFontType2"),
      baseFont(baseFont),
      type1Number(font.writer.NewObjectNumber()) {}

CKMC_CIDEmbedStandardFont::~CKMC_CIDEmbedStandardFont() = default;

int64_t CKMC_CIDEmbedStandardFont::MapGlyph(uint16_t unicode, uint32_t glyph, uint32_t& length,
                                            int32_t& width) {
  length = 1;
  if (auto it = winAnsi.find(unicode); it != winAnsi.end()) {
    currentNumber = it->second.fontNumber;
    width = it->second.width;
    return it->second.code;
  }
  if (NoGlyph(glyph)) return kNoGlyphCode;
  width = 0;
  font.GlyphWidth(glyph, width);
  const uint32_t code = unicode < 0x80 ? unicode : WinAnsiCode(unicode);
  if (unicode == 0 || code == 0) {
    // Beyond WinAnsi: the face's own glyphs, in a TrueType subset.
    if (!second) second = std::make_unique<CKMC_CIDEmbedTTFont>(font);
    currentNumber = second->GetFontNumber(false);
    return second->MapGlyph(unicode, glyph, length, width);
  }
  currentNumber = type1Number;
  type1Used = true;
  winAnsi[unicode] = {code, width, type1Number};
  return code;
}

uint32_t CKMC_CIDEmbedStandardFont::GetFontFileNumber() const {
  return second ? second->GetFontFileNumber() : 0;
}

void CKMC_CIDEmbedStandardFont::WriteSubFont() {
  if (type1Used) {
    CKMC_Dictionary type1;
    type1.SetLiteral("/Type", "/Font");
    type1.SetLiteral("/Subtype", "/Type1");
    type1.SetLiteral("/BaseFont", CKM_ByteString(std::string("/") + baseFont));
    type1.SetLiteral("/Encoding", "/WinAnsiEncoding");
    font.writer.WriteIndirectObject(type1Number, &type1);
  }
  // The second subfont's descriptor asks this object for the file, finds
  // none, and names no program; its stream is written all the same.
  if (second) second->WriteSubFont();
}

// ------------------------------------------------------------ CKMC_CIDEmbedFont

CKMC_CIDEmbedFont::CKMC_CIDEmbedFont(CKMC_DocumentWriter& writer, uint32_t mode)
    : CKMC_Font(writer), mode(mode) {}

CKMC_CIDEmbedFont::~CKMC_CIDEmbedFont() {
  // The subfonts refer to the subsets; they go first.
  subFont.reset();
  trueType.reset();
  type1.reset();
}

CKM_ByteString CKMC_CIDEmbedFont::TaggedName() const {
  CKM_ByteString tagged = name;
  tagged += "+KPEF";
  return tagged;
}

bool CKMC_CIDEmbedFont::ChooseEmbedSubFont() {
  reader = CKMC_FontReader{fontFile.data(), fontFile.size()};

  auto trueTypeSubset = std::make_unique<CKMC_TrueTypeSubset>(static_cast<uint32_t>(faceIndex),
                                                              &CKMC_FontReader::Read, &reader);
  if (trueTypeSubset->status == 0 && !RestrictedOnly(trueTypeSubset->GetEmbeddingBits())) {
    trueTypeSubset->SetMetricFlags(3);
    trueType = std::move(trueTypeSubset);
    const int standard = mode == 3 ? StandardFaceIndex(FontNameFromAnsi(name).c_str()) : -1;
    if (standard >= 0)
      subFont = std::make_unique<CKMC_CIDEmbedStandardFont>(*this, StandardBaseFont(standard));
    else
      subFont = std::make_unique<CKMC_CIDEmbedTTFont>(*this);
    return true;
  }
  trueTypeSubset.reset();

  auto type1Subset =
      std::make_unique<CKMC_Type1Subset>(&CKMC_FontReader::Read, &CKMC_FontReader::Size, &reader);
  if (type1Subset->status == 0) {
    type1Subset->SetOutputForm(1);
    type1 = std::move(type1Subset);
    subFont = std::make_unique<CKMC_CIDEmbedT1Font>(*this);
    return true;
  }
  type1Subset.reset();

  if (fsType == 2 || !face) return false;
  const FT_ULong tag = FT_MAKE_TAG('C', 'F', 'F', ' ');
  FT_ULong length = 0;
  if (FT_Load_Sfnt_Table(face, tag, 0, nullptr, &length) != 0 || length == 0) return false;
  std::vector<uint8_t> cff(length);
  if (FT_Load_Sfnt_Table(face, tag, 0, cff.data(), &length) != 0) return false;
  subFont = std::make_unique<CKMC_CIDEmbedOTFont>(*this, std::move(cff));
  return true;
}

CKMC_MappedCharacter CKMC_CIDEmbedFont::MapCharacter(uint16_t unicode, HGLYPH glyph, bool vertical) {
  // The charset is only followed here, to tell CJK text: every character
  // keeps its glyph, whether a charset encodes it or not.
  if (currentCharset != SYMBOL_CHARSET) {
    uint8_t charset = 0;
    uint32_t code = 0, length = 0;
    currentCharset = FindAnyCharset(unicode, charset, code, length) ? charset : 0xFF;
  }
  if (!subFont) return {};
  CKMC_MappedCharacter mapped;
  int64_t code = subFont->MapGlyph(unicode, glyph, mapped.length, mapped.width);
  if (code == kNoGlyphCode) {
    mapped.length = 0;
    return mapped;
  }
  mapped.code = static_cast<uint32_t>(code);
  mapped.fontNumber = subFont->GetFontNumber(vertical);
  return mapped;
}

void CKMC_CIDEmbedFont::WriteFont() {
  if (subFont) subFont->WriteSubFont();
}

void CKMC_CIDEmbedFont::WriteDescriptor(uint32_t objectNumber, int32_t missingWidth) {
  CKMC_Dictionary descriptor;
  FillDescriptor(descriptor, TaggedName());
  if (missingWidth != 0) descriptor.SetNumber("/MissingWidth", missingWidth);
  if (subFont && subFont->GetFontFileNumber() != 0) {
    switch (subFont->GetFontFileKind()) {
      case 2:
        descriptor.SetReference("/FontFile2", subFont->GetFontFileNumber());
        break;
      case 1:
        descriptor.SetReference("/FontFile", subFont->GetFontFileNumber());
        break;
      default:
        break;
    }
  }
  writer.WriteIndirectObject(objectNumber, &descriptor);
}

// ------------------------------------------------------------ ToUnicode

CKM_ByteString BuildToUnicodeText(const std::vector<CKMC_GlyphRecord>& records) {
  std::string text =
      "/CIDInit /ProcSet findresource begin \n12 dict begin \nbegincmap \n"
      "/CIDSystemInfo <</Registry (Adobe) /Ordering (Identity) /Supplement 0>> def \n"
      "/CMapName /Adobe-Identity-UCS def \n/CMapType 2 def \n1 begincodespacerange \n"
      "<0000> <FFFF> \nendcodespacerange \n";

  // Records whose codes and values both run on by one become one range.
  struct Single {
    uint32_t cid, unicode;
  };
  struct Range {
    uint32_t first, last, unicode;
  };
  std::vector<Single> singles;
  std::vector<Range> ranges;
  uint32_t run = 0;
  for (size_t i = 1; i < records.size(); ++i) {
    const CKMC_GlyphRecord& record = records[i];
    if (i + 1 < records.size() && records[i + 1].unicode == record.unicode + 1 &&
        records[i + 1].cid == record.cid + 1) {
      ++run;
      continue;
    }
    if (run == 0)
      singles.push_back({record.cid, record.unicode});
    else
      ranges.push_back({record.cid - run, record.cid, records[i - run].unicode});
    run = 0;
  }

  char line[64];
  // Writes `count` entries in groups of at most 100 under `keyword`.
  auto writeGroups = [&](size_t count, const char* keyword, auto&& entry) {
    for (size_t at = 0; at < count; ++at) {
      if (at % 100 == 0) {
        if (at != 0) text += std::string("end") + keyword + " \n";
        text += std::to_string(std::min<size_t>(count - at, 100)) + " begin" + keyword + " \n";
      }
      entry(at);
      text += line;
    }
    if (count != 0) text += std::string("end") + keyword + " \n";
  };
  writeGroups(singles.size(), "bfchar", [&](size_t at) {
    std::snprintf(line, sizeof line, "<%04X><%04X> \n", singles[at].cid, singles[at].unicode);
  });
  writeGroups(ranges.size(), "bfrange", [&](size_t at) {
    std::snprintf(line, sizeof line, "<%04X><%04X><%04X> \n", ranges[at].first, ranges[at].last,
                  ranges[at].unicode);
  });

  // "difineresource" is the word readers of these files have always met.
  text += "endcmap \nCMapName currentdict /CMap difineresource pop \nend \nend \n";
  return CKM_ByteString(std::move(text));
}
