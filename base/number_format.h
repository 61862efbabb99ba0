// Number texts of the PDF writer.
//
// All are built on std::to_chars, so no locale can change a byte, and all
// round the exact binary value correctly (as printf does).
#pragma once

#include <cstdint>
#include <string>

namespace snk {

// Decimal integer, as "%d": "-12", "0".
std::string FormatInteger(int64_t value);

// "%.3f" with trailing zeros cut, then a trailing point: 1.5 -> "1.5",
// 612.0 -> "612", 0.0004 -> "0", -0.0001 -> "-0" (the sign stays).
std::string FormatNumber(double value);

// "%g": six significant digits, trailing zeros cut, exponent form outside
// 1e-5 .. 1e6: 841.68 -> "841.68", 595.2 -> "595.2", 1e7 -> "1e+07".
std::string FormatG(double value);

// "%010d" of a signed 32-bit value: 10 digits, zero-padded ("-000000001"
// for -1, as printf pads after the sign).
std::string FormatOffset(int32_t value);

}  // namespace snk
