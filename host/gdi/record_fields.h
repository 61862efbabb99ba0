// What every reader of EMF bytes in host/gdi shares: one way to report a
// fault, and the little-endian field types of the records (points,
// rectangles, sizes, transforms, LOGFONTW) read through the bounded
// ByteReader. Each reader returns false when the bytes run out.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "base/byte_reader.h"
#include "host/gdi/dc_state.h"
#include "platform/win_types.h"

namespace snk::gdi {

// Stores `text` in `*fault` when a fault is wanted; always false, so that
// callers return Fail(fault, "...").
bool Fail(std::string* fault, std::string text);

// POINTL as a point of doubles.
bool ReadPoint(ByteReader& r, PointD& p);
// RECTL as left, top, right, bottom doubles, or as a RECTL.
bool ReadRect(ByteReader& r, double v[4]);
bool ReadRect(ByteReader& r, RECTL& rect);
bool ReadSize(ByteReader& r, SIZEL& size);
// A 32-bit float widened to double.
bool ReadFloat(ByteReader& r, double& out);
// XFORM: six floats in the order m11, m12, m21, m22, dx, dy.
bool ReadXform(ByteReader& r, Matrix& m);

// The LOGFONTW at the start of `bytes`. False with `fault` when `bytes` is
// too short for one.
bool ReadLogFont(std::span<const std::byte> bytes, FontObject* font, std::string* fault);

}  // namespace snk::gdi
