#include "fonts/charset_tables.h"

#include <array>

#include "platform/win32.h"

namespace {

#include "fonts/charset_tables.inc"

struct SingleByte {
  uint32_t charset;
  const uint16_t* table;
};

constexpr SingleByte kSingleByte[] = {
    {ANSI_CHARSET, kCodePage1252},       {GREEK_CHARSET, kCodePage1253},   {TURKISH_CHARSET, kCodePage1254},
    {VIETNAMESE_CHARSET, kCodePage1258}, {HEBREW_CHARSET, kCodePage1255},  {ARABIC_CHARSET, kCodePage1256},
    {BALTIC_CHARSET, kCodePage1257},     {RUSSIAN_CHARSET, kCodePage1251}, {THAI_CHARSET, kCodePage874},
    {EASTEUROPE_CHARSET, kCodePage1250},
};

struct StandardFace {
  const char16_t* face;
  const char* baseFont;
};

constexpr StandardFace kStandardFaces[12] = {
    {u"Arial", "Helvetica"},
    {u"Arial Bold", "Helvetica-Bold"},
    {u"Arial Italic", "Helvetica-Oblique"},
    {u"Arial Bold Italic", "Helvetica-BoldOblique"},
    {u"Times New Roman", "Times-Roman"},
    {u"Times New Roman Bold", "Times-Bold"},
    {u"Times New Roman Italic", "Times-Italic"},
    {u"Times New Roman Bold Italic", "Times-BoldItalic"},
    {u"Courier New", "Courier"},
    {u"Courier New Bold", "Courier-Bold"},
    {u"Courier New Italic", "Courier-Oblique"},
    {u"Courier New Bold Italic", "Courier-BoldOblique"},
};

char16_t Lower(char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; }

bool SameIgnoringCase(const char16_t* a, const char16_t* b) {
  for (; *a && *b; ++a, ++b)
    if (Lower(*a) != Lower(*b)) return false;
  return *a == *b;
}

constexpr std::array<uint16_t, 128> MakeWinAnsi() {
  std::array<uint16_t, 128> table{};
  for (int i = 0; i < 128; ++i) table[i] = kCodePage1252[i];
  for (int code : {0x81, 0x8D, 0x8F, 0x90, 0x9D}) table[code - 0x80] = 0x2022;
  table[0xA0 - 0x80] = 0x20;
  table[0xAD - 0x80] = 0x2D;
  return table;
}

constexpr std::array<uint16_t, 128> kWinAnsi = MakeWinAnsi();

}  // namespace

const uint8_t kCharsetSearchOrder[15] = {0x00, 0xEE, 0xCC, 0xDE, 0xA1, 0xA2, 0xB1, 0xB2,
                                         0xBA, 0xA3, 0x86, 0x80, 0x88, 0x81, 0xFF};

const uint16_t* CharsetTable(uint32_t charset) {
  for (const SingleByte& s : kSingleByte)
    if (s.charset == charset) return s.table;
  return nullptr;
}

uint32_t DoubleByteCodePage(uint32_t charset) {
  switch (charset) {
    case SHIFTJIS_CHARSET:
      return 932;
    case HANGEUL_CHARSET:
    case JOHAB_CHARSET:
      return 949;
    case GB2312_CHARSET:
      return 936;
    case CHINESEBIG5_CHARSET:
      return 950;
    default:
      return 0;
  }
}

uint16_t CharsetToUnicode(uint32_t charset, uint8_t byte) {
  if (byte < 0x80) return byte;
  const uint16_t* table = CharsetTable(charset);
  return table ? table[byte - 0x80] : byte;
}

bool UnicodeToCode(uint16_t unicode, uint32_t charset, uint32_t& code, uint32_t& length) {
  if (const uint32_t codePage = DoubleByteCodePage(charset)) {
    char bytes[8] = {};
    BOOL usedDefault = FALSE;
    const char16_t wide = unicode;
    const INT made = WideCharToMultiByte(codePage, 0, &wide, 1, bytes, sizeof bytes, nullptr, &usedDefault);
    if (made <= 0 || usedDefault) return false;
    code = uint32_t(unicode & 0xFF) << 8 | unicode >> 8;
    length = 2;
    return true;
  }
  const uint16_t* table = CharsetTable(charset);
  if (!table) return false;
  if (unicode < 0x80) {
    code = unicode;
    length = 1;
    return true;
  }
  for (uint32_t i = 0; i < 128; ++i) {
    if (table[i] == unicode) {
      code = 0x80 + i;
      length = 1;
      return true;
    }
  }
  return false;
}

int StandardFaceIndex(const char16_t* face) {
  if (!face) return -1;
  for (int i = 0; i < 12; ++i)
    if (SameIgnoringCase(face, kStandardFaces[i].face)) return i;
  return -1;
}

const char* StandardBaseFont(int index) {
  return index >= 0 && index < 12 ? kStandardFaces[index].baseFont : nullptr;
}

uint16_t WinAnsiUnicode(uint8_t code) { return code < 0x80 ? code : kWinAnsi[code - 0x80]; }

uint32_t WinAnsiCode(uint16_t unicode) {
  for (uint32_t i = 0; i < 128; ++i)
    if (kWinAnsi[i] == unicode) return 0x80 + i;
  return 0;
}
