#include "host/gdi/record_fields.h"

#include <utility>

namespace snk::gdi {
namespace {

constexpr size_t kLogFontBytes = 92;
constexpr size_t kFaceChars = 32;

}  // namespace

bool Fail(std::string* fault, std::string text) {
  if (fault) *fault = std::move(text);
  return false;
}

bool ReadPoint(ByteReader& r, PointD& p) {
  int32_t x = 0, y = 0;
  if (!r.ReadI32(x) || !r.ReadI32(y)) return false;
  p = {double(x), double(y)};
  return true;
}

bool ReadRect(ByteReader& r, double v[4]) {
  for (int i = 0; i < 4; ++i) {
    int32_t c = 0;
    if (!r.ReadI32(c)) return false;
    v[i] = c;
  }
  return true;
}

bool ReadRect(ByteReader& r, RECTL& rect) {
  return r.ReadI32(rect.left) && r.ReadI32(rect.top) && r.ReadI32(rect.right) && r.ReadI32(rect.bottom);
}

bool ReadSize(ByteReader& r, SIZEL& size) { return r.ReadI32(size.cx) && r.ReadI32(size.cy); }

bool ReadFloat(ByteReader& r, double& out) {
  float value = 0;
  if (!r.ReadF32(value)) return false;
  out = value;
  return true;
}

bool ReadXform(ByteReader& r, Matrix& m) {
  return ReadFloat(r, m.m11) && ReadFloat(r, m.m12) && ReadFloat(r, m.m21) && ReadFloat(r, m.m22) &&
         ReadFloat(r, m.dx) && ReadFloat(r, m.dy);
}

bool ReadLogFont(std::span<const std::byte> bytes, FontObject* font, std::string* fault) {
  if (bytes.size() < kLogFontBytes)
    return Fail(fault, "font of " + std::to_string(bytes.size()) + " bytes is too short for a LOGFONTW (" +
                           std::to_string(kLogFontBytes) + ")");
  ByteReader r(bytes);
  uint8_t b[8] = {};
  r.ReadI32(font->height);
  r.ReadI32(font->width);
  r.ReadI32(font->escapement);
  r.ReadI32(font->orientation);
  r.ReadI32(font->weight);
  for (uint8_t& v : b) r.ReadU8(v);
  font->italic = b[0] != 0;
  font->underline = b[1] != 0;
  font->strikeOut = b[2] != 0;
  font->charSet = b[3];
  font->outPrecision = b[4];
  font->clipPrecision = b[5];
  font->quality = b[6];
  font->pitchAndFamily = b[7];
  font->face.clear();
  for (size_t i = 0; i < kFaceChars; ++i) {
    uint16_t c = 0;
    r.ReadU16(c);
    if (c == 0) break;
    font->face.push_back(char16_t(c));
  }
  return true;
}

}  // namespace snk::gdi
