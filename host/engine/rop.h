// Raster operations of the graphics engine, evaluated bitwise.
//
// A ternary operation (rop3) is an 8-entry truth table: the result bit for
// pattern bit P, source bit S and destination bit D is bit (P<<2 | S<<1 | D)
// of the rop3 byte. A binary operation R2_x (1..16) is the 4-entry table
// (x - 1) over (P<<1 | D); it is the rop3 that ignores S. Every operation is
// applied to each byte (R, G, B) of a pixel on its own.
#pragma once

#include <array>
#include <cstdint>

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

// A rop3 with fixed pattern and source colours, as three tables from the
// destination byte to the result byte (one per channel R, G, B). Used where
// many pixels get the same operation with the same colours.
struct RopTable {
  RopTable() = default;
  // Colours are COLORREF words (red in bits 0-7).
  RopTable(uint8_t rop3, uint32_t pattern, uint32_t source) {
    for (int c = 0; c < 3; ++c) {
      uint8_t p = uint8_t(pattern >> (8 * c)), s = uint8_t(source >> (8 * c));
      for (int d = 0; d < 256; ++d) lut[c][d] = RopByte(rop3, p, s, uint8_t(d));
    }
  }
  void Apply(uint8_t* pixel) const {
    pixel[0] = lut[0][pixel[0]];
    pixel[1] = lut[1][pixel[1]];
    pixel[2] = lut[2][pixel[2]];
  }
  std::array<std::array<uint8_t, 256>, 3> lut{};
};

}  // namespace snk::engine
