// The engine's description of a face: IFIMETRICS and FD_GLYPHSET built
// from the tables FreeType parsed.
#include "host/fonts/face_info.h"

#include FT_ADVANCES_H
#include FT_OUTLINE_H
#include FT_SFNT_NAMES_H
#include FT_TRUETYPE_IDS_H
#include FT_TRUETYPE_TABLES_H
#include FT_TYPE1_TABLES_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace snk::fonts::detail {
namespace {

constexpr uint8_t kAnsiCharset = 0;
constexpr uint8_t kDefaultCharset = 1;
constexpr uint8_t kSymbolCharset = 2;
constexpr size_t kMaxNameLength = 256;
constexpr size_t kMaxCharsets = 15;  // the list holds 16 bytes with its end mark

FWORD Fword(long value) { return FWORD(std::clamp<long>(value, -32768, 32767)); }

// How well a name record fits: Windows English first, then any Windows or
// Unicode record, then Mac Roman.
int NameScore(const FT_SfntName& name) {
  if (name.platform_id == TT_PLATFORM_MICROSOFT) {
    if (name.encoding_id != TT_MS_ID_UNICODE_CS && name.encoding_id != TT_MS_ID_SYMBOL_CS &&
        name.encoding_id != TT_MS_ID_UCS_4)
      return 0;
    if (name.language_id == TT_MS_LANGID_ENGLISH_UNITED_STATES) return 5;
    return (name.language_id & 0x3FF) == 0x09 ? 4 : 3;
  }
  if (name.platform_id == TT_PLATFORM_APPLE_UNICODE) return 2;
  if (name.platform_id == TT_PLATFORM_MACINTOSH && name.encoding_id == TT_MAC_ID_ROMAN &&
      name.language_id == TT_MAC_LANGID_ENGLISH)
    return 1;
  return 0;
}

std::u16string DecodeName(const FT_SfntName& name) {
  std::u16string out;
  if (name.platform_id == TT_PLATFORM_MACINTOSH) {
    // Mac Roman: ASCII as is; the upper half is rare in names and is kept
    // as its Latin-1 value.
    for (FT_UInt i = 0; i < name.string_len && out.size() < kMaxNameLength; ++i)
      out += char16_t(name.string[i]);
  } else {
    for (FT_UInt i = 0; i + 1 < name.string_len && out.size() < kMaxNameLength; i += 2)
      out += char16_t(name.string[i] << 8 | name.string[i + 1]);
  }
  // A name ends at its first zero: the block stores names zero-ended.
  if (size_t zero = out.find(u'\0'); zero != std::u16string::npos) out.resize(zero);
  return out;
}

std::u16string FromAscii(const char* text) {
  std::u16string out;
  for (; text && *text && out.size() < kMaxNameLength; ++text)
    out += char16_t(static_cast<unsigned char>(*text));
  return out;
}

// Charsets by OS/2 code-page bit (ulCodePageRange1).
struct CodePageBit {
  int bit;
  uint8_t charset;
};
constexpr CodePageBit kCodePageBits[] = {
    {0, 0},     // 1252 Latin 1
    {1, 238},   // 1250 Latin 2
    {2, 204},   // 1251 Cyrillic
    {3, 161},   // 1253 Greek
    {4, 162},   // 1254 Turkish
    {5, 177},   // 1255 Hebrew
    {6, 178},   // 1256 Arabic
    {7, 186},   // 1257 Baltic
    {8, 163},   // 1258 Vietnamese
    {16, 222},  // 874 Thai
    {17, 128},  // 932 Japanese
    {18, 134},  // 936 Simplified Chinese
    {19, 129},  // 949 Korean Wansung
    {20, 136},  // 950 Traditional Chinese
    {21, 130},  // 1361 Korean Johab
    {29, 77},   // Macintosh
    {30, 255},  // OEM
    {31, 2},    // Symbol
};

// The Adobe Symbol encoding: code and glyph name of every code it defines,
// in ascending order of code.
struct SymbolCode {
  uint8_t code;
  const char* name;
};
constexpr SymbolCode kSymbolEncoding[] = {
    {0x20, "space"},
    {0x21, "exclam"},
    {0x22, "universal"},
    {0x23, "numbersign"},
    {0x24, "existential"},
    {0x25, "percent"},
    {0x26, "ampersand"},
    {0x27, "suchthat"},
    {0x28, "parenleft"},
    {0x29, "parenright"},
    {0x2A, "asteriskmath"},
    {0x2B, "plus"},
    {0x2C, "comma"},
    {0x2D, "minus"},
    {0x2E, "period"},
    {0x2F, "slash"},
    {0x30, "zero"},
    {0x31, "one"},
    {0x32, "two"},
    {0x33, "three"},
    {0x34, "four"},
    {0x35, "five"},
    {0x36, "six"},
    {0x37, "seven"},
    {0x38, "eight"},
    {0x39, "nine"},
    {0x3A, "colon"},
    {0x3B, "semicolon"},
    {0x3C, "less"},
    {0x3D, "equal"},
    {0x3E, "greater"},
    {0x3F, "question"},
    {0x40, "congruent"},
    {0x41, "Alpha"},
    {0x42, "Beta"},
    {0x43, "Chi"},
    {0x44, "Delta"},
    {0x45, "Epsilon"},
    {0x46, "Phi"},
    {0x47, "Gamma"},
    {0x48, "Eta"},
    {0x49, "Iota"},
    {0x4A, "theta1"},
    {0x4B, "Kappa"},
    {0x4C, "Lambda"},
    {0x4D, "Mu"},
    {0x4E, "Nu"},
    {0x4F, "Omicron"},
    {0x50, "Pi"},
    {0x51, "Theta"},
    {0x52, "Rho"},
    {0x53, "Sigma"},
    {0x54, "Tau"},
    {0x55, "Upsilon"},
    {0x56, "sigma1"},
    {0x57, "Omega"},
    {0x58, "Xi"},
    {0x59, "Psi"},
    {0x5A, "Zeta"},
    {0x5B, "bracketleft"},
    {0x5C, "therefore"},
    {0x5D, "bracketright"},
    {0x5E, "perpendicular"},
    {0x5F, "underscore"},
    {0x60, "radicalex"},
    {0x61, "alpha"},
    {0x62, "beta"},
    {0x63, "chi"},
    {0x64, "delta"},
    {0x65, "epsilon"},
    {0x66, "phi"},
    {0x67, "gamma"},
    {0x68, "eta"},
    {0x69, "iota"},
    {0x6A, "phi1"},
    {0x6B, "kappa"},
    {0x6C, "lambda"},
    {0x6D, "mu"},
    {0x6E, "nu"},
    {0x6F, "omicron"},
    {0x70, "pi"},
    {0x71, "theta"},
    {0x72, "rho"},
    {0x73, "sigma"},
    {0x74, "tau"},
    {0x75, "upsilon"},
    {0x76, "omega1"},
    {0x77, "omega"},
    {0x78, "xi"},
    {0x79, "psi"},
    {0x7A, "zeta"},
    {0x7B, "braceleft"},
    {0x7C, "bar"},
    {0x7D, "braceright"},
    {0x7E, "similar"},
    {0xA0, "Euro"},
    {0xA1, "Upsilon1"},
    {0xA2, "minute"},
    {0xA3, "lessequal"},
    {0xA4, "fraction"},
    {0xA5, "infinity"},
    {0xA6, "florin"},
    {0xA7, "club"},
    {0xA8, "diamond"},
    {0xA9, "heart"},
    {0xAA, "spade"},
    {0xAB, "arrowboth"},
    {0xAC, "arrowleft"},
    {0xAD, "arrowup"},
    {0xAE, "arrowright"},
    {0xAF, "arrowdown"},
    {0xB0, "degree"},
    {0xB1, "plusminus"},
    {0xB2, "second"},
    {0xB3, "greaterequal"},
    {0xB4, "multiply"},
    {0xB5, "proportional"},
    {0xB6, "partialdiff"},
    {0xB7, "bullet"},
    {0xB8, "divide"},
    {0xB9, "notequal"},
    {0xBA, "equivalence"},
    {0xBB, "approxequal"},
    {0xBC, "ellipsis"},
    {0xBD, "arrowvertex"},
    {0xBE, "arrowhorizex"},
    {0xBF, "carriagereturn"},
    {0xC0, "aleph"},
    {0xC1, "Ifraktur"},
    {0xC2, "Rfraktur"},
    {0xC3, "weierstrass"},
    {0xC4, "circlemultiply"},
    {0xC5, "circleplus"},
    {0xC6, "emptyset"},
    {0xC7, "intersection"},
    {0xC8, "union"},
    {0xC9, "propersuperset"},
    {0xCA, "reflexsuperset"},
    {0xCB, "notsubset"},
    {0xCC, "propersubset"},
    {0xCD, "reflexsubset"},
    {0xCE, "element"},
    {0xCF, "notelement"},
    {0xD0, "angle"},
    {0xD1, "gradient"},
    {0xD2, "registerserif"},
    {0xD3, "copyrightserif"},
    {0xD4, "trademarkserif"},
    {0xD5, "product"},
    {0xD6, "radical"},
    {0xD7, "dotmath"},
    {0xD8, "logicalnot"},
    {0xD9, "logicaland"},
    {0xDA, "logicalor"},
    {0xDB, "arrowdblboth"},
    {0xDC, "arrowdblleft"},
    {0xDD, "arrowdblup"},
    {0xDE, "arrowdblright"},
    {0xDF, "arrowdbldown"},
    {0xE0, "lozenge"},
    {0xE1, "angleleft"},
    {0xE2, "registersans"},
    {0xE3, "copyrightsans"},
    {0xE4, "trademarksans"},
    {0xE5, "summation"},
    {0xE6, "parenlefttp"},
    {0xE7, "parenleftex"},
    {0xE8, "parenleftbt"},
    {0xE9, "bracketlefttp"},
    {0xEA, "bracketleftex"},
    {0xEB, "bracketleftbt"},
    {0xEC, "bracelefttp"},
    {0xED, "braceleftmid"},
    {0xEE, "braceleftbt"},
    {0xEF, "braceex"},
    {0xF1, "angleright"},
    {0xF2, "integral"},
    {0xF3, "integraltp"},
    {0xF4, "integralex"},
    {0xF5, "integralbt"},
    {0xF6, "parenrighttp"},
    {0xF7, "parenrightex"},
    {0xF8, "parenrightbt"},
    {0xF9, "bracketrighttp"},
    {0xFA, "bracketrightex"},
    {0xFB, "bracketrightbt"},
    {0xFC, "bracerighttp"},
    {0xFD, "bracerightmid"},
    {0xFE, "bracerightbt"},
};

// The face's glyph of a name, or 0 (also for a face without glyph names).
FT_UInt NamedGlyph(FT_Face face, const char* name) {
  if (!FT_HAS_GLYPH_NAMES(face)) return 0;
  return FT_Get_Name_Index(face, name);
}

bool HasCharmap(FT_Face face, FT_UShort platform, FT_UShort encoding) {
  for (FT_Int i = 0; i < face->num_charmaps; ++i) {
    if (face->charmaps[i]->platform_id == platform && face->charmaps[i]->encoding_id == encoding) return true;
  }
  return false;
}

FT_UInt UnicodeGlyph(FT_Face face, FT_ULong code) {
  if (FT_Select_Charmap(face, FT_ENCODING_UNICODE) != 0) return 0;
  return FT_Get_Char_Index(face, code);
}

// Top of a glyph's box in font units, or 0 (used for cap and x heights
// when OS/2 does not give them).
FWORD GlyphTop(FT_Face face, FT_ULong code) {
  const FT_UInt glyph = UnicodeGlyph(face, code);
  if (glyph == 0 || FT_Load_Glyph(face, glyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_BITMAP) != 0) return 0;
  if (face->glyph->format != FT_GLYPH_FORMAT_OUTLINE) return 0;
  FT_BBox box;
  FT_Outline_Get_CBox(&face->glyph->outline, &box);
  return Fword(box.yMax);
}

// Average advance of the glyphs that have one, for a face without OS/2.
FWORD AverageAdvance(FT_Face face) {
  long total = 0, count = 0;
  const FT_Long glyphs = std::min<FT_Long>(face->num_glyphs, 65535);
  for (FT_Long g = 0; g < glyphs; ++g) {
    FT_Fixed advance = 0;
    if (FT_Get_Advance(face, FT_UInt(g), FT_LOAD_NO_SCALE, &advance) != 0 || advance <= 0) continue;
    total += advance;
    ++count;
  }
  return count ? Fword(total / count) : Fword(face->units_per_EM / 2);
}

// Family nibble of jWinPitchAndFamily from the IBM class or, failing
// that, PANOSE.
BYTE FamilyNibble(const TT_OS2* os2, bool fixedPitch) {
  constexpr BYTE kRoman = 0x10, kSwiss = 0x20, kModern = 0x30, kScript = 0x40, kDecorative = 0x50;
  if (fixedPitch) return kModern;
  if (!os2) return 0;
  switch (os2->sFamilyClass >> 8) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 7:
      return kRoman;
    case 8:
      return kSwiss;
    case 9:
    case 12:
      return kDecorative;
    case 10:
      return kScript;
    default:
      break;
  }
  const BYTE* panose = os2->panose;
  switch (panose[0]) {
    case 2:  // Latin text
      if (panose[3] == 9) return kModern;
      if (panose[1] >= 11 && panose[1] <= 15) return kSwiss;
      if (panose[1] >= 2 && panose[1] <= 10) return kRoman;
      return 0;
    case 3:
      return kScript;
    case 4:
    case 5:
      return kDecorative;
    default:
      return 0;
  }
}

void FillVertical(IFIMETRICS& m, FT_Face face, const TT_OS2* os2, const TT_HoriHeader* hhea) {
  const long ascender = hhea ? hhea->Ascender : face->ascender;
  const long descender = hhea ? hhea->Descender : face->descender;
  m.fwdMacAscender = Fword(ascender);
  m.fwdMacDescender = Fword(descender);
  m.fwdMacLineGap = Fword(hhea ? hhea->Line_Gap : face->height - ascender + descender);
  if (os2) {
    m.fwdWinAscender = Fword(os2->usWinAscent);
    m.fwdWinDescender = Fword(os2->usWinDescent);
    m.fwdTypoAscender = Fword(os2->sTypoAscender);
    m.fwdTypoDescender = Fword(os2->sTypoDescender);
    m.fwdTypoLineGap = Fword(os2->sTypoLineGap);
  } else {
    m.fwdWinAscender = Fword(ascender);
    m.fwdWinDescender = Fword(-descender);
    m.fwdTypoAscender = Fword(ascender);
    m.fwdTypoDescender = Fword(descender);
    m.fwdTypoLineGap = m.fwdMacLineGap;
  }
  // A face whose Windows metrics are empty would give a zero cell height.
  if (m.fwdWinAscender + m.fwdWinDescender <= 0) {
    m.fwdWinAscender = Fword(face->bbox.yMax > 0 ? face->bbox.yMax : face->units_per_EM * 4 / 5);
    m.fwdWinDescender = Fword(face->bbox.yMin < 0 ? -face->bbox.yMin : face->units_per_EM / 5);
  }
}

void FillScriptsAndLines(IFIMETRICS& m, const TT_OS2* os2, const TT_Postscript* post, int upem) {
  if (os2) {
    m.fwdSubscriptXSize = Fword(os2->ySubscriptXSize);
    m.fwdSubscriptYSize = Fword(os2->ySubscriptYSize);
    m.fwdSubscriptXOffset = Fword(os2->ySubscriptXOffset);
    m.fwdSubscriptYOffset = Fword(os2->ySubscriptYOffset);
    m.fwdSuperscriptXSize = Fword(os2->ySuperscriptXSize);
    m.fwdSuperscriptYSize = Fword(os2->ySuperscriptYSize);
    m.fwdSuperscriptXOffset = Fword(os2->ySuperscriptXOffset);
    m.fwdSuperscriptYOffset = Fword(os2->ySuperscriptYOffset);
    m.fwdStrikeoutSize = Fword(os2->yStrikeoutSize);
    m.fwdStrikeoutPosition = Fword(os2->yStrikeoutPosition);
  } else {
    m.fwdSubscriptXSize = m.fwdSubscriptYSize = m.fwdSuperscriptXSize = m.fwdSuperscriptYSize =
        Fword(upem * 13 / 20);
    m.fwdSubscriptYOffset = Fword(upem * 3 / 20);
    m.fwdSuperscriptYOffset = Fword(upem * 9 / 20);
  }
  m.fwdUnderscoreSize = Fword(post && post->underlineThickness > 0 ? post->underlineThickness : upem / 20);
  m.fwdUnderscorePosition =
      Fword(post && post->underlineThickness > 0 ? post->underlinePosition : -upem / 10);
  if (m.fwdStrikeoutSize <= 0) m.fwdStrikeoutSize = m.fwdUnderscoreSize;
  if (m.fwdStrikeoutPosition <= 0) m.fwdStrikeoutPosition = Fword(upem / 4);
}

void FillCharacters(IFIMETRICS& m, FT_Face face, const TT_OS2* os2) {
  FT_UInt glyph = 0;
  FT_ULong first = FT_Get_First_Char(face, &glyph);
  if (glyph == 0) first = 0x20;
  m.wcFirstChar = os2 ? os2->usFirstCharIndex : WCHAR(std::min<FT_ULong>(first, 0xFFFF));
  m.wcLastChar = os2 ? os2->usLastCharIndex : 0xFFFF;
  m.wcDefaultChar = os2 && os2->version >= 2 && os2->usDefaultChar ? os2->usDefaultChar : 0x20;
  m.wcBreakChar = os2 && os2->version >= 2 && os2->usBreakChar ? os2->usBreakChar : 0x20;
  m.chFirstChar = BYTE(std::min<unsigned>(m.wcFirstChar, 0xFF));
  m.chLastChar = BYTE(std::min<unsigned>(m.wcLastChar, 0xFF));
  m.chDefaultChar = BYTE(std::min<unsigned>(m.wcDefaultChar, 0xFF));
  m.chBreakChar = BYTE(std::min<unsigned>(m.wcBreakChar, 0xFF));
}

// The FD_GLYPHSET of ascending (value, glyph) pairs: runs of consecutive
// values, their phg arrays inside the block.
Block GlyphSetOf(const std::vector<std::pair<uint32_t, HGLYPH>>& map) {
  std::vector<std::pair<size_t, size_t>> runs;  // [begin, end) into map
  for (size_t i = 0; i < map.size(); ++i) {
    if (runs.empty() || map[i].first != map[i - 1].first + 1 || i - runs.back().first >= 0xFFFF) {
      runs.emplace_back(i, i + 1);
    } else {
      runs.back().second = i + 1;
    }
  }
  const size_t header = offsetof(FD_GLYPHSET, awcrun) + std::max<size_t>(runs.size(), 1) * sizeof(WCRUN);
  const size_t size = ((header + 7) & ~size_t{7}) + map.size() * sizeof(HGLYPH);
  Block block;
  block.words.assign((size + 7) / 8, 0);
  block.bytes = block.words.size() * 8;
  auto* set = static_cast<FD_GLYPHSET*>(block.data());
  set->cjThis = ULONG(block.bytes);
  set->flAccel = 0;
  set->cGlyphsSupported = ULONG(map.size());
  set->cRuns = ULONG(runs.size());
  auto* handles =
      reinterpret_cast<HGLYPH*>(reinterpret_cast<std::byte*>(block.data()) + ((header + 7) & ~size_t{7}));
  WCRUN* runArray = set->awcrun;  // the runs go on past the declared one
  for (size_t r = 0; r < runs.size(); ++r) {
    WCRUN& run = runArray[r];
    run.wcLow = WCHAR(map[runs[r].first].first);
    run.cGlyphs = USHORT(runs[r].second - runs[r].first);
    run.phg = handles + runs[r].first;
    for (size_t i = runs[r].first; i < runs[r].second; ++i) handles[i] = map[i].second;
  }
  return block;
}

}  // namespace

FaceNames ReadFaceNames(FT_Face face) {
  std::u16string* slots[7] = {};
  FaceNames names;
  slots[TT_NAME_ID_FONT_FAMILY] = &names.family;
  slots[TT_NAME_ID_FONT_SUBFAMILY] = &names.style;
  slots[TT_NAME_ID_UNIQUE_ID] = &names.unique;
  slots[TT_NAME_ID_FULL_NAME] = &names.full;
  slots[TT_NAME_ID_PS_NAME] = &names.postscript;
  int best[7] = {};
  const FT_UInt count = FT_Get_Sfnt_Name_Count(face);
  for (FT_UInt i = 0; i < count; ++i) {
    FT_SfntName name;
    if (FT_Get_Sfnt_Name(face, i, &name) != 0 || name.name_id >= 7 || !slots[name.name_id]) continue;
    const int score = NameScore(name);
    if (score <= best[name.name_id]) continue;
    std::u16string decoded = DecodeName(name);
    if (decoded.empty()) continue;
    best[name.name_id] = score;
    *slots[name.name_id] = std::move(decoded);
  }
  if (names.family.empty()) names.family = FromAscii(face->family_name);
  if (names.family.empty()) names.family = u"Unnamed";
  if (names.style.empty()) names.style = FromAscii(face->style_name);
  if (names.style.empty()) names.style = u"Regular";
  if (names.full.empty()) {
    names.full = names.family;
    if (names.style != u"Regular") names.full += u" " + names.style;
  }
  if (names.unique.empty()) names.unique = names.family + u" " + names.style;
  // Some families give all their faces one unique identifier (Liberation:
  // "Ascender - Liberation Sans"); the style keeps the faces apart.
  const bool regular = names.style == u"Regular" || names.style == u"Normal" || names.style == u"Book" ||
                       names.style == u"Roman";
  if (!regular && names.unique.find(names.style) == std::u16string::npos) names.unique += u" " + names.style;
  if (names.postscript.empty()) names.postscript = FromAscii(FT_Get_Postscript_Name(face));
  return names;
}

bool IsSymbolFace(FT_Face face) {
  return HasCharmap(face, TT_PLATFORM_MICROSOFT, TT_MS_ID_SYMBOL_CS) &&
         !HasCharmap(face, TT_PLATFORM_MICROSOFT, TT_MS_ID_UNICODE_CS) &&
         !HasCharmap(face, TT_PLATFORM_MICROSOFT, TT_MS_ID_UCS_4);
}

bool IsSymbolStandIn(FT_Face face) {
  if (IsSymbolFace(face) || !FT_HAS_GLYPH_NAMES(face)) return false;
  // Text faces carry many of the encoding's names (Greek letters, arrows,
  // card suits); only a face made for the encoding has nearly all, the
  // pieces of large brackets and the serif and sans signs among them. A
  // face missing more than a tenth of the names is not one.
  constexpr size_t kCodes = std::size(kSymbolEncoding);
  size_t missing = 0;
  for (const SymbolCode& entry : kSymbolEncoding) {
    if (NamedGlyph(face, entry.name) == 0 && ++missing * 10 > kCodes) return false;
  }
  return true;
}

std::vector<FT_UInt> SymbolEncodingGlyphs(FT_Face face) {
  std::vector<FT_UInt> glyphs(256, 0);
  for (const SymbolCode& entry : kSymbolEncoding) {
    const FT_UInt glyph = NamedGlyph(face, entry.name);
    if (glyph < FT_ULong(face->num_glyphs)) glyphs[entry.code] = glyph;
  }
  return glyphs;
}

std::vector<uint8_t> CoveredCharsets(FT_Face face, bool symbol) {
  if (symbol) return {kSymbolCharset};
  std::vector<uint8_t> out;
  const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
  if (os2 && os2->version >= 1) {
    for (const CodePageBit& bit : kCodePageBits) {
      if ((os2->ulCodePageRange1 >> bit.bit & 1) && out.size() < kMaxCharsets) out.push_back(bit.charset);
    }
  }
  // Without code-page bits, a face that has Latin letters is an ANSI face.
  if (out.empty() && UnicodeGlyph(face, 'A') != 0) out.push_back(kAnsiCharset);
  return out;
}

uint8_t ChooseCharset(const std::vector<uint8_t>& covered, uint8_t requested, bool symbol) {
  if (symbol) return kSymbolCharset;
  auto has = [&](uint8_t c) { return std::find(covered.begin(), covered.end(), c) != covered.end(); };
  if (requested == kDefaultCharset) {
    if (has(kAnsiCharset) || covered.empty()) return kAnsiCharset;
    return covered.front();
  }
  return has(requested) ? requested : kAnsiCharset;
}

bool FaceIsBold(FT_Face face) {
  const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
  if (os2 && os2->usWeightClass >= 100 && os2->usWeightClass <= 1000) return os2->usWeightClass >= 600;
  return (face->style_flags & FT_STYLE_FLAG_BOLD) != 0;
}

bool FaceIsItalic(FT_Face face) {
  const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
  if (os2 && (os2->fsSelection & (1 << 0 | 1 << 9))) return true;  // italic, oblique
  return (face->style_flags & FT_STYLE_FLAG_ITALIC) != 0;
}

IFIMETRICS FaceMetrics(FT_Face face, bool symbol) {
  const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
  const auto* hhea = static_cast<const TT_HoriHeader*>(FT_Get_Sfnt_Table(face, FT_SFNT_HHEA));
  const auto* head = static_cast<const TT_Header*>(FT_Get_Sfnt_Table(face, FT_SFNT_HEAD));
  const auto* post = static_cast<const TT_Postscript*>(FT_Get_Sfnt_Table(face, FT_SFNT_POST));
  const int upem = face->units_per_EM;
  IFIMETRICS m{};
  m.fwdUnitsPerEm = Fword(upem);
  m.fwdLowestPPEm = Fword(head ? head->Lowest_Rec_PPEM : 0);
  FillVertical(m, face, os2, hhea);
  m.fwdMaxCharInc = Fword(hhea ? hhea->advance_Width_Max : face->max_advance_width);
  m.fwdAveCharWidth = os2 && os2->xAvgCharWidth > 0 ? Fword(os2->xAvgCharWidth) : AverageAdvance(face);
  m.fwdCapHeight =
      os2 && os2->version >= 2 && os2->sCapHeight > 0 ? Fword(os2->sCapHeight) : GlyphTop(face, 'H');
  m.fwdXHeight = os2 && os2->version >= 2 && os2->sxHeight > 0 ? Fword(os2->sxHeight) : GlyphTop(face, 'x');
  FillScriptsAndLines(m, os2, post, upem);
  FillCharacters(m, face, os2);
  // The box is y up, as the head table has it.
  m.rclFontBox =
      RECTL{LONG(face->bbox.xMin), LONG(face->bbox.yMax), LONG(face->bbox.xMax), LONG(face->bbox.yMin)};
  // A Type 1 face has its angle and pitch in its FontInfo.
  PS_FontInfoRec info{};
  const bool hasInfo = !post && FT_Get_PS_Font_Info(face, &info) == 0;
  m.lItalicAngle = post      ? LONG(std::lround(double(post->italicAngle) / 65536.0 * 10.0))
                   : hasInfo ? LONG(info.italic_angle * 10)
                             : 0;
  const bool fixedPitch = post      ? post->isFixedPitch != 0
                          : hasInfo ? info.is_fixed_pitch != 0
                                    : FT_IS_FIXED_WIDTH(face);
  m.jWinPitchAndFamily = BYTE((fixedPitch ? 1 : 2) | FamilyNibble(os2, fixedPitch));
  m.usWinWeight = os2 && os2->usWeightClass >= 1 && os2->usWeightClass <= 1000 ? os2->usWeightClass
                  : FaceIsBold(face)                                           ? 700
                                                                               : 400;
  if (os2) {
    m.fsSelection = USHORT(os2->fsSelection & 0x7F);
    m.fsType = os2->fsType;
    std::memcpy(m.achVendId, os2->achVendID, 4);
    std::memcpy(&m.panose, os2->panose, sizeof m.panose);
  } else {
    const bool bold = head ? (head->Mac_Style & 1) != 0 : FaceIsBold(face);
    const bool italic = head ? (head->Mac_Style & 2) != 0 : FaceIsItalic(face);
    m.fsSelection = USHORT((bold ? FM_SEL_BOLD : 0) | (italic ? FM_SEL_ITALIC : 0));
    if (!m.fsSelection) m.fsSelection = 0x40;  // regular
    // A Type 1 face may say in its FontInfo how it may be embedded.
    m.fsType = FT_Get_FSType_Flags(face);
  }
  m.ptlBaseline = POINTL{1, 0};
  m.ptlAspect = POINTL{1, 1};
  m.ptlCaret = hhea && hhea->caret_Slope_Rise != 0 ? POINTL{hhea->caret_Slope_Run, hhea->caret_Slope_Rise}
                                                   : POINTL{0, 1};
  m.jWinCharSet = symbol ? kSymbolCharset : kAnsiCharset;
  return m;
}

Block BuildIfiBlock(const IFIMETRICS& metrics, const FaceNames& names, const std::vector<uint8_t>& charsets) {
  const std::u16string* order[4] = {&names.family, &names.style, &names.full, &names.unique};
  size_t size = sizeof(IFIMETRICS);
  PTRDIFF offsets[4];
  for (int i = 0; i < 4; ++i) {
    offsets[i] = PTRDIFF(size);
    size += (order[i]->size() + 1) * sizeof(char16_t);
  }
  const PTRDIFF charsetOffset = PTRDIFF(size);
  const size_t listSize = std::min(charsets.size(), kMaxCharsets) + 1;
  size += listSize;
  size = (size + 7) & ~size_t{7};

  Block block;
  block.words.assign(size / 8, 0);
  block.bytes = size;
  auto* base = reinterpret_cast<std::byte*>(block.data());
  IFIMETRICS m = metrics;
  m.cjThis = ULONG(size);
  m.cjIfiExtra = 0;
  m.dpwszFamilyName = offsets[0];
  m.dpwszStyleName = offsets[1];
  m.dpwszFaceName = offsets[2];
  m.dpwszUniqueName = offsets[3];
  m.dpFontSim = 0;
  m.dpCharSets = charsetOffset;
  std::memcpy(base, &m, sizeof m);
  for (int i = 0; i < 4; ++i)
    std::memcpy(base + offsets[i], order[i]->data(), order[i]->size() * sizeof(char16_t));
  auto* list = reinterpret_cast<uint8_t*>(base + charsetOffset);
  for (size_t i = 0; i + 1 < listSize; ++i) list[i] = charsets[i];
  list[listSize - 1] = kDefaultCharset;
  return block;
}

Block BuildGlyphSet(FT_Face face, bool symbol) {
  // (value, glyph) pairs of the BMP in ascending order.
  std::vector<std::pair<uint32_t, HGLYPH>> map;
  const FT_Encoding encoding = symbol ? FT_ENCODING_MS_SYMBOL : FT_ENCODING_UNICODE;
  if (FT_Select_Charmap(face, encoding) == 0) {
    FT_UInt glyph = 0;
    FT_ULong code = FT_Get_First_Char(face, &glyph);
    while (glyph != 0 && code <= 0xFFFF && map.size() <= 0xFFFF) {
      if (!map.empty() && code <= map.back().first) break;  // a map must ascend
      map.emplace_back(uint32_t(code), HGLYPH(glyph));
      code = FT_Get_Next_Char(face, code, &glyph);
    }
  }
  if (symbol) {
    std::vector<std::pair<uint32_t, HGLYPH>> low;
    for (const auto& [code, glyph] : map) {
      if (code >= 0xF000 && code <= 0xF0FF) low.emplace_back(code - 0xF000, glyph);
    }
    std::vector<std::pair<uint32_t, HGLYPH>> merged;
    std::merge(low.begin(), low.end(), map.begin(), map.end(), std::back_inserter(merged));
    merged.erase(std::unique(merged.begin(), merged.end(),
                             [](const auto& a, const auto& b) { return a.first == b.first; }),
                 merged.end());
    map = std::move(merged);
  }
  return GlyphSetOf(map);
}

Block BuildGlyphSet(const std::vector<FT_UInt>& byCode) {
  std::vector<std::pair<uint32_t, HGLYPH>> map;
  for (uint32_t base : {0x0000u, 0xF000u}) {
    for (uint32_t code = 0; code < 256 && code < byCode.size(); ++code) {
      if (byCode[code] != 0) map.emplace_back(base + code, HGLYPH(byCode[code]));
    }
  }
  return GlyphSetOf(map);
}

}  // namespace snk::fonts::detail
