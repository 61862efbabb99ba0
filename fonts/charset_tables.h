// The tables that connect Windows charset numbers, Unicode values and the
// codes of PDF strings: the single-byte code pages of the Windows charsets,
// the double-byte charsets and the code pages that test them, the order in
// which charsets are tried for a character, the twelve faces that have a
// standard Type 1 font, and the WinAnsi encoding.
#pragma once

#include <cstdint>

// Windows charset numbers.
inline constexpr uint32_t ANSI_CHARSET = 0x00;
inline constexpr uint32_t SYMBOL_CHARSET = 0x02;
inline constexpr uint32_t SHIFTJIS_CHARSET = 0x80;
inline constexpr uint32_t HANGEUL_CHARSET = 0x81;
inline constexpr uint32_t JOHAB_CHARSET = 0x82;
inline constexpr uint32_t GB2312_CHARSET = 0x86;
inline constexpr uint32_t CHINESEBIG5_CHARSET = 0x88;
inline constexpr uint32_t GREEK_CHARSET = 0xA1;
inline constexpr uint32_t TURKISH_CHARSET = 0xA2;
inline constexpr uint32_t VIETNAMESE_CHARSET = 0xA3;
inline constexpr uint32_t HEBREW_CHARSET = 0xB1;
inline constexpr uint32_t ARABIC_CHARSET = 0xB2;
inline constexpr uint32_t BALTIC_CHARSET = 0xBA;
inline constexpr uint32_t RUSSIAN_CHARSET = 0xCC;
inline constexpr uint32_t THAI_CHARSET = 0xDE;
inline constexpr uint32_t EASTEUROPE_CHARSET = 0xEE;

// The charsets in the order they are tried for a character that the
// font's own charset cannot encode; 0xFF ends the list.
extern const uint8_t kCharsetSearchOrder[15];

// The Unicode values of codes 0x80 to 0xFF of a single-byte charset, or
// null for a charset without a table (double-byte ones, symbol, unknown).
const uint16_t* CharsetTable(uint32_t charset);

// The code page that tests a double-byte charset; 0 for the others.
uint32_t DoubleByteCodePage(uint32_t charset);

// The Unicode value of one byte of a charset: below 0x80 the byte itself,
// else the table's value; for a charset without a table, the byte itself.
uint16_t CharsetToUnicode(uint32_t charset, uint8_t byte);

// The code of `unicode` in `charset`. Single-byte charsets: the value itself
// below 0x80 (length 1), else 0x80 plus its first position in the table
// (length 1); a charset without a table fails. Double-byte charsets: when
// the charset's code page can express the value without its default
// character, the value with its two bytes swapped (length 2: the PDF string
// holds UCS-2), else failure.
bool UnicodeToCode(uint16_t unicode, uint32_t charset, uint32_t& code, uint32_t& length);

// The position (0 to 11) of a face among the twelve with a standard Type 1
// font ("Arial", "Arial Bold", ... "Courier New Bold Italic"), compared
// without regard to case; -1 for any other face.
int StandardFaceIndex(const char16_t* face);
// The standard font of position `index` ("Helvetica", ...); null outside
// 0 to 11.
const char* StandardBaseFont(int index);

// WinAnsi: code page 1252 with its undefined codes 0x81, 0x8D, 0x8F, 0x90
// and 0x9D as bullets, 0xA0 as space and 0xAD as hyphen. The Unicode value
// of a code (below 0x80 the code itself).
uint16_t WinAnsiUnicode(uint8_t code);
// The first code from 0x80 upward whose WinAnsi value is `unicode`; 0 when
// there is none.
uint32_t WinAnsiCode(uint16_t unicode);
