// Raster operations of the graphics engine, evaluated bitwise.
//
// A ternary operation (rop3) is an 8-entry truth table: the result bit for
// pattern bit P, source bit S and destination bit D is bit (P<<2 | S<<1 | D)
// of the rop3 byte. A binary operation R2_x (1..16) is the 4-entry table
// (x - 1) over (P<<1 | D); it is the rop3 that ignores S. Every operation is
// applied to each byte (R, G, B) of a pixel on its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace snk::engine {

// The rop3 that does what binary operation `rop2` (R2_BLACK..R2_WHITE) does;
// a value outside 1..16 is taken modulo 16 as the engine does with a MIX.
constexpr uint8_t Rop2ToRop3(uint32_t rop2) {
  uint32_t table = (rop2 - 1) & 0xF;  // bit (P<<1 | D)
  uint8_t rop3 = 0;
  for (uint32_t i = 0; i < 8; ++i) {
    uint32_t p = (i >> 2) & 1, d = i & 1;
    if ((table >> (p << 1 | d)) & 1) rop3 |= uint8_t(1u << i);
  }
  return rop3;
}

// Whether the result depends on the pattern, source or destination.
constexpr bool RopUsesPattern(uint8_t rop3) { return ((rop3 >> 4) & 0x0F) != (rop3 & 0x0F); }
constexpr bool RopUsesSource(uint8_t rop3) { return ((rop3 >> 2) & 0x33) != (rop3 & 0x33); }
constexpr bool RopUsesDest(uint8_t rop3) { return ((rop3 >> 1) & 0x55) != (rop3 & 0x55); }

// One byte of the result: each bit from the table entry its P, S, D bits pick.
constexpr uint8_t RopByte(uint8_t rop3, uint8_t p, uint8_t s, uint8_t d) {
  uint32_t result = 0;
  for (uint32_t i = 0; i < 8; ++i) {
    if (!((rop3 >> i) & 1)) continue;
    uint32_t term = ((i & 4) ? p : ~p) & ((i & 2) ? s : ~s) & ((i & 1) ? d : ~d);
    result |= term;
  }
  return uint8_t(result);
}

// A rop3 with fixed pattern and source colours, applied to destination
// pixels (bytes R, G, B). Each result bit depends on its destination bit
// alone, so each channel is two masks: the result where the destination bit
// is 1 and where it is 0.
struct RopTable {
  RopTable() = default;
  // Colours are COLORREF words (red in bits 0-7).
  RopTable(uint8_t rop3, uint32_t pattern, uint32_t source) {
    for (int c = 0; c < 3; ++c) {
      uint8_t p = uint8_t(pattern >> (8 * c)), s = uint8_t(source >> (8 * c));
      ones[c] = RopByte(rop3, p, s, 0xFF);
      zeros[c] = RopByte(rop3, p, s, 0x00);
    }
  }
  void Apply(uint8_t* pixel) const {
    for (int c = 0; c < 3; ++c) pixel[c] = uint8_t((pixel[c] & ones[c]) | (~pixel[c] & zeros[c]));
  }
  uint8_t ones[3] = {};
  uint8_t zeros[3] = {};
};

namespace rop_detail {

// The rop's result for whole words of pattern, source and destination bits:
// the sum of the minterms the rop3 selects, without branches.
template <typename T>
inline T Minterms(const T (&terms)[8], T p, T s, T d) {
  const T np = T(~p), ns = T(~s), nd = T(~d);
  return T((terms[0] & np & ns & nd) | (terms[1] & np & ns & d) | (terms[2] & np & s & nd) |
           (terms[3] & np & s & d) | (terms[4] & p & ns & nd) | (terms[5] & p & ns & d) |
           (terms[6] & p & s & nd) | (terms[7] & p & s & d));
}

}  // namespace rop_detail

// Applies rop3 to `n` bytes: d[i] = rop(p[i], s[i], d[i]). Pattern and
// source are rows of colour bytes laid out as the destination's; each byte
// is combined bit by bit, so any number of whole pixels can be done at once.
inline void ApplyRop(uint8_t rop3, const uint8_t* p, const uint8_t* s, uint8_t* d, size_t n) {
  switch (rop3) {
    case 0xAA:
      return;  // destination unchanged
    case 0xCC:
      std::memmove(d, s, n);
      return;
    case 0xF0:
      std::memmove(d, p, n);
      return;
    case 0x00:
      std::memset(d, 0, n);
      return;
    case 0xFF:
      std::memset(d, 0xFF, n);
      return;
    case 0x88:
      for (size_t i = 0; i < n; ++i) d[i] &= s[i];
      return;
    case 0xEE:
      for (size_t i = 0; i < n; ++i) d[i] |= s[i];
      return;
    case 0x66:
      for (size_t i = 0; i < n; ++i) d[i] ^= s[i];
      return;
    case 0x33:
      for (size_t i = 0; i < n; ++i) d[i] = uint8_t(~s[i]);
      return;
    case 0xC0:
      for (size_t i = 0; i < n; ++i) d[i] = p[i] & s[i];
      return;
    case 0x55:
      for (size_t i = 0; i < n; ++i) d[i] = uint8_t(~d[i]);
      return;
    case 0x5A:
      for (size_t i = 0; i < n; ++i) d[i] ^= p[i];
      return;
    default:
      break;
  }
  uint64_t wide[8];
  uint8_t narrow[8];
  for (int i = 0; i < 8; ++i) {
    wide[i] = ((rop3 >> i) & 1) ? ~uint64_t{0} : 0;
    narrow[i] = uint8_t(wide[i]);
  }
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t pw, sw, dw;
    std::memcpy(&pw, p + i, 8);
    std::memcpy(&sw, s + i, 8);
    std::memcpy(&dw, d + i, 8);
    dw = rop_detail::Minterms(wide, pw, sw, dw);
    std::memcpy(d + i, &dw, 8);
  }
  for (; i < n; ++i) d[i] = rop_detail::Minterms(narrow, p[i], s[i], d[i]);
}

}  // namespace snk::engine
