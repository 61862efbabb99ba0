// The text records of a page: EXTTEXTOUTW/A, POLYTEXTOUTW/A and
// SMALLTEXTOUT. The selected font is realized as a host font, each run of
// text becomes one TextOut on the target with the glyphs' device origins,
// or, when the driver asks for outlines, one winding FillPath of the glyphs'
// outlines in the text colour.
//
// Spaces. A run is laid out in the font's request space: x along the
// baseline, y down, one unit per logical unit. TextMatrix maps that space
// to surface pixels. In the advanced graphics mode it is the whole
// transform (the world transform may rotate, shear or mirror text); in the
// compatible mode only the scale of the mapping, so that text is never
// mirrored and a y-up mapping mode keeps it upright. The font's escapement
// turns the baseline counterclockwise as the page shows it, except in the
// compatible mode under a y-up mapping, where the turn follows the logical
// axes and shows clockwise.
//
// Positions. The record's spacing array (logical units along the baseline,
// with ETO_PDY a vertical offset too) places the glyphs; without one each
// glyph advances by the font's hinted advance, plus the justification's
// share for break characters. The reference point moves by the text
// alignment (ascent and descent for TA_TOP/TA_BOTTOM, the run's whole
// advance for TA_CENTER/TA_RIGHT); origins are rounded to whole pixels.
// Strings arrive in visual order (right-to-left text included), so the
// order of values and spacing is kept as recorded.
//
// Record fields are untrusted: character counts and the offsets of strings
// and spacing arrays are checked against the record's size in 64 bits
// before anything is read or allocated.
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/fonts/host_font.h"
#include "host/gdi/device_context.h"
#include "host/gdi/device_pixels.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"
#include "host/gdi/record_fields.h"
#include "platform/win32.h"

namespace snk::gdi {

using engine::HostBrush;
using engine::HostClip;
using engine::HostPath;
using engine::Region;
using engine::RegionOp;

// A font object realized for one transform, with the driver's glyph mode.
struct RealizedFont {
  uint64_t id = 0;
  double m[4] = {};
  std::unique_ptr<fonts::HostFont> font;
  ULONG glyphMode = FO_HGLYPHS;
  std::string error;
};

namespace {

constexpr uint32_t ETO_OPAQUE = 0x0002;
constexpr uint32_t ETO_CLIPPED = 0x0004;
constexpr uint32_t ETO_GLYPH_INDEX = 0x0010;

constexpr uint32_t TA_UPDATECP = 0x0001;
constexpr uint32_t TA_HORIZONTAL_MASK = 0x0006;
constexpr uint32_t TA_RIGHT = 0x0002;
constexpr uint32_t TA_CENTER = 0x0006;
constexpr uint32_t TA_VERTICAL_MASK = 0x0018;
constexpr uint32_t TA_TOP = 0x0000;
constexpr uint32_t TA_BOTTOM = 0x0008;

constexpr uint32_t kGmAdvanced = 2;
constexpr uint32_t kBkOpaque = 2;
constexpr DWORD kMbStrict = 0x8;  // MB_ERR_INVALID_CHARS
constexpr MIX kCopyPen = R2_COPYPEN | R2_COPYPEN << 8;

// Realizations kept per page; the oldest goes first.
constexpr size_t kMaxRealizedFonts = 32;
// Text whose em is larger than this many pixels is refused.
constexpr double kMaxEmPixels = 100000;
// Text whose em covers less than a square of this many pixels is refused
// too: the engine places glyphs on a grid of sixteenths of a pixel, and a
// run's positions, divided by an em that small (or by the em of a transform
// that nearly folds its two axes into one), leave the page's coordinates.
constexpr double kMinEmPixels = 1.0 / 16;

std::string Num(uint64_t v) { return std::to_string(v); }

std::string Utf8(std::u16string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    else if (c >= 0xD800 && c < 0xE000)
      c = 0xFFFD;
    if (c < 0x80) {
      out += char(c);
    } else if (c < 0x800) {
      out += char(0xC0 | c >> 6);
      out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += char(0xE0 | c >> 12);
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    } else {
      out += char(0xF0 | c >> 18);
      out += char(0x80 | ((c >> 12) & 0x3F));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    }
  }
  return out;
}

bool Near(PointD p) {
  return std::fabs(p.x) <= kMaxDeviceCoordinate && std::fabs(p.y) <= kMaxDeviceCoordinate;
}

// The linear part of `m` applied to a vector.
PointD Linear(const Matrix& m, double x, double y) { return {x * m.m11 + y * m.m21, x * m.m12 + y * m.m22}; }

PointD Add(PointD a, PointD b) { return {a.x + b.x, a.y + b.y}; }

Matrix Inverse(const Matrix& m) {
  const double det = m.Determinant();
  Matrix r;
  r.m11 = m.m22 / det;
  r.m12 = -m.m12 / det;
  r.m21 = -m.m21 / det;
  r.m22 = m.m11 / det;
  r.dx = -(m.dx * r.m11 + m.dy * r.m21);
  r.dy = -(m.dx * r.m12 + m.dy * r.m22);
  return r;
}

// A quadrilateral that is an axis-aligned rectangle, as a RECTL (right and
// bottom exclusive).
std::optional<RECTL> AxisRect(const PointD q[4]) {
  const bool aligned = (q[0].y == q[1].y && q[1].x == q[2].x && q[2].y == q[3].y && q[3].x == q[0].x) ||
                       (q[0].x == q[1].x && q[1].y == q[2].y && q[2].x == q[3].x && q[3].y == q[0].y);
  if (!aligned) return std::nullopt;
  const double l = std::min(q[0].x, q[2].x), r = std::max(q[0].x, q[2].x);
  const double t = std::min(q[0].y, q[2].y), b = std::max(q[0].y, q[2].y);
  return RECTL{LONG(std::lround(l)), LONG(std::lround(t)), LONG(std::lround(r)), LONG(std::lround(b))};
}

// The corners of the box x0..x1, y0..y1 of request space, placed at `origin`.
void Quad(const Matrix& f, PointD origin, double x0, double y0, double x1, double y1, PointD q[4]) {
  q[0] = Add(origin, Linear(f, x0, y0));
  q[1] = Add(origin, Linear(f, x1, y0));
  q[2] = Add(origin, Linear(f, x1, y1));
  q[3] = Add(origin, Linear(f, x0, y1));
}

// The Windows code page of a LOGFONT charset; 0 for the symbol charset,
// whose bytes are the values themselves.
UINT CodePageOf(uint8_t charSet) {
  struct Pair {
    uint8_t charSet;
    UINT codePage;
  };
  static constexpr Pair kPages[] = {{0, 1252},   {2, 0},      {77, 10000}, {128, 932},  {129, 949},
                                    {130, 1361}, {134, 936},  {136, 950},  {161, 1253}, {162, 1254},
                                    {163, 1258}, {177, 1255}, {178, 1256}, {186, 1257}, {204, 1251},
                                    {222, 874},  {238, 1250}, {255, 437}};
  if (charSet == 1) return GetACP();  // DEFAULT_CHARSET
  for (const Pair& p : kPages)
    if (p.charSet == charSet) return p.codePage;
  return 1252;
}

bool DoubleByte(UINT cp) { return cp == 932 || cp == 936 || cp == 949 || cp == 950 || cp == 1361; }

// The bytes of an A record as UTF-16 through the font's code page, one
// value per character. The spacing (one entry per byte) follows: a
// two-byte character advances by the sum of its bytes' entries. Bytes the
// code page cannot convert (or a code page the host lacks) are taken as
// Latin-1.
void DecodeAnsi(std::span<const std::byte> bytes, uint8_t charSet, EmrTextRun& run) {
  const UINT cp = CodePageOf(charSet);
  const auto* p = reinterpret_cast<const char*>(bytes.data());
  const int n = int(bytes.size());
  std::u16string out;
  if (cp != 0 && !DoubleByte(cp)) {
    std::u16string wide(bytes.size(), u'\0');
    const int got = MultiByteToWideChar(cp, 0, p, n, reinterpret_cast<LPWSTR>(wide.data()), n);
    if (got == n) {
      run.text = std::move(wide);
      return;
    }
  }
  std::vector<double> dx, dy;
  for (int i = 0; i < n;) {
    char16_t value = char16_t(uint8_t(p[i]));
    int len = 1;
    if (cp != 0) {
      char16_t w[2] = {};
      auto* wp = reinterpret_cast<LPWSTR>(w);
      if (MultiByteToWideChar(cp, kMbStrict, p + i, 1, wp, 2) == 1) {
        value = w[0];
      } else if (DoubleByte(cp) && i + 1 < n && MultiByteToWideChar(cp, kMbStrict, p + i, 2, wp, 2) == 1) {
        value = w[0];
        len = 2;
      }
    }
    out.push_back(value);
    for (auto* v : {&run.dx, &run.dy}) {
      if (v->empty()) continue;
      double sum = 0;
      for (int k = 0; k < len; ++k) sum += (*v)[size_t(i + k)];
      (v == &run.dx ? dx : dy).push_back(sum);
    }
    i += len;
  }
  run.text = std::move(out);
  if (!run.dx.empty()) run.dx = std::move(dx);
  if (!run.dy.empty()) run.dy = std::move(dy);
}

using Quadrangle = std::array<PointD, 4>;

void AddQuad(HostPath& path, const PointD q[4]) {
  path.MoveTo({engine::ToFix(q[0].x), engine::ToFix(q[0].y)});
  for (int i = 1; i < 4; ++i) path.LineTo({engine::ToFix(q[i].x), engine::ToFix(q[i].y)});
  path.CloseFigure();
}

// Whole pixels around the corners of `box` and `also`, cut to `surface`.
RECTL BoundsOf(const Quadrangle& box, const Quadrangle* also, const RECTL& surface) {
  double l = box[0].x, t = box[0].y, r = box[0].x, b = box[0].y;
  auto grow = [&](const Quadrangle& q) {
    for (const PointD& p : q)
      l = std::min(l, p.x), t = std::min(t, p.y), r = std::max(r, p.x), b = std::max(b, p.y);
  };
  grow(box);
  if (also) grow(*also);
  l = std::max(l, -kMaxDeviceCoordinate), t = std::max(t, -kMaxDeviceCoordinate);
  r = std::min(r, kMaxDeviceCoordinate), b = std::min(b, kMaxDeviceCoordinate);
  return {std::max(LONG(std::floor(l)) - 1, surface.left), std::max(LONG(std::floor(t)) - 1, surface.top),
          std::min(LONG(std::ceil(r)) + 1, surface.right), std::min(LONG(std::ceil(b)) + 1, surface.bottom)};
}

// The glyph of each value and its advance in request units: the record's
// spacing, or the face's advance with the justification's share for each
// break character. Returns the run's whole advance.
double LayOut(const EmrTextRun& run, const fonts::HostFont& hf, double perBreak, std::vector<HGLYPH>& glyphs,
              std::vector<double>& advance) {
  const bool glyphIndex = run.options & ETO_GLYPH_INDEX;
  double total = 0;
  for (size_t i = 0; i < run.text.size(); ++i) {
    glyphs[i] = glyphIndex ? HGLYPH(run.text[i]) : hf.GlyphOf(run.text[i]);
    if (!run.dx.empty())
      advance[i] = run.dx[i];
    else
      advance[i] = hf.Advance(glyphs[i]) + (!glyphIndex && run.text[i] == u' ' ? perBreak : 0);
    total += advance[i];
  }
  return total;
}

// Underline and strikeout of a run of `total` advance from `origin`,
// centred on the face's positions and at least a pixel thick.
std::vector<Quadrangle> TextLines(const FontObject& font, const fonts::HostFont& hf, const Matrix& f,
                                  PointD origin, double total) {
  std::vector<Quadrangle> lines;
  const IFIMETRICS& ifi = hf.Metrics();
  const double units = double(ifi.fwdWinAscender) + ifi.fwdWinDescender;
  if ((!font.underline && !font.strikeOut) || units <= 0) return lines;
  const double k = (hf.Ascent() + hf.Descent()) / units;
  const double minThick = 1 / std::max(1e-9, std::hypot(f.m21, f.m22));
  auto line = [&](double position, double size) {
    const double thick = std::max(size * k, minThick), centre = -position * k;
    Quadrangle& q = lines.emplace_back();
    Quad(f, origin, std::min(0.0, total), centre - thick / 2, std::max(0.0, total), centre + thick / 2,
         q.data());
  };
  if (font.underline) line(ifi.fwdUnderscorePosition, ifi.fwdUnderscoreSize);
  if (font.strikeOut) line(ifi.fwdStrikeoutPosition, ifi.fwdStrikeoutSize);
  return lines;
}

// Glyph numbers mean the glyphs of the face they were recorded with; a
// substitute face may hold others there. Said once per face and page.
void NoteSubstitute(const FontObject& font, const fonts::HostFont& hf, std::vector<std::string>& warned,
                    std::vector<std::string>& notes) {
  const fonts::InstalledFace& face = hf.Face();
  const std::string key = face.path + "#" + std::to_string(face.index);
  if (std::find(warned.begin(), warned.end(), key) != warned.end()) return;
  warned.push_back(key);
  notes.push_back("glyph numbers recorded for \"" + Utf8(font.face) + "\" are drawn with the substitute \"" +
                  Utf8(face.family) + "\" and may show other glyphs");
}

}  // namespace

// A stored run as the DC draws it: 8-bit text goes through the code page
// of the selected font's character set.
EmrTextRun DeviceContext::RunOf(const EmrTextRun& stored) const {
  EmrTextRun run = stored;
  if (!stored.ansi.empty()) DecodeAnsi(stored.ansi, state_.font->font.charSet, run);
  run.ansi = {};
  return run;
}

bool DeviceContext::OnText(const EmrText& rec, Fault fault) { return DrawText(RunOf(rec.run), fault); }

// The strings are drawn in turn up to the first that cannot be decoded or
// drawn; that one is named in the fault.
bool DeviceContext::OnPolyText(const EmrPolyText& rec, Fault fault) {
  auto failed = [&](size_t i, const std::string& why) {
    return Fail(fault, "string " + Num(i + 1) + " of " + Num(rec.count) + ": " + why);
  };
  for (size_t i = 0; i < rec.runs.size(); ++i) {
    std::string why;
    if (!DrawText(RunOf(rec.runs[i]), &why)) return failed(i, why);
  }
  if (rec.runs.size() < rec.count) return failed(rec.runs.size(), rec.fault);
  return true;
}

Matrix DeviceContext::TextMatrix(const FontObject& font, uint32_t graphicsMode) const {
  const Matrix m = DeviceMatrix();
  const int32_t tenths = int32_t(((int64_t(font.escapement) % 3600) + 3600) % 3600);
  double c = 1, s = 0;
  switch (tenths) {
    case 0:
      break;
    case 900:
      c = 0, s = 1;
      break;
    case 1800:
      c = -1, s = 0;
      break;
    case 2700:
      c = 0, s = -1;
      break;
    default: {
      const double a = tenths * (3.14159265358979323846 / 1800.0);
      c = std::cos(a);
      s = std::sin(a);
    }
  }
  Matrix f;
  const double up = (state_.viewportExt.y / state_.windowExt.y) * page_.m22 < 0 ? -1 : 1;
  if (graphicsMode == kGmAdvanced) {
    // The font's "up" is the mapping's: a y-up mapping mode keeps text
    // upright, while the world transform applies fully.
    Matrix l;
    l.m11 = c;
    l.m12 = -up * s;
    l.m21 = up * s;
    l.m22 = up * c;
    f = l.Then(m);
  } else {
    // The escapement is measured in logical space as if its y axis pointed
    // down: under a y-up mapping the baseline turns clockwise on the page
    // (2700 reads bottom to top), while the glyphs stay upright.
    s *= up;
    const double sx = std::hypot(m.m11, m.m12), sy = std::hypot(m.m21, m.m22);
    f.m11 = sx * c;
    f.m12 = -sx * s;
    f.m21 = sy * s;
    f.m22 = sy * c;
  }
  f.dx = f.dy = 0;
  return f;
}

RealizedFont* DeviceContext::RealizeFont(const FontObject& font, const Matrix& f, std::string* fault) {
  const double key[4] = {f.m11, f.m12, f.m21, f.m22};
  for (const auto& rf : fonts_) {
    if (rf->id != font.id || !std::equal(key, key + 4, rf->m)) continue;
    if (!rf->font) Fail(fault, rf->error);
    return rf->font ? rf.get() : nullptr;
  }
  auto rf = std::make_shared<RealizedFont>();
  rf->id = font.id;
  std::copy(key, key + 4, rf->m);
  fonts::FontRequest request;
  request.faceName = font.face;
  request.height = font.height;
  request.width = font.width;
  request.weight = font.weight;
  request.italic = font.italic;
  request.charset = font.charSet;
  request.pitchAndFamily = font.pitchAndFamily;
  request.m11 = f.m11;
  request.m12 = f.m12;
  request.m21 = f.m21;
  request.m22 = f.m22;
  std::string why;
  rf->font = fonts::HostFont::Realize(request, &why);
  if (rf->font)
    rf->glyphMode = target_.GetGlyphMode(rf->font->Fontobj());
  else
    rf->error = "font \"" + Utf8(font.face) + "\" cannot be realized: " + why;
  if (fonts_.size() >= kMaxRealizedFonts) fonts_.erase(fonts_.begin());
  fonts_.push_back(rf);
  if (!rf->font) Fail(fault, rf->error);
  return rf->font ? rf.get() : nullptr;
}

void DeviceContext::FillQuad(const PointD q[4], uint32_t color, const Region& vis) {
  BrushObject solid;
  solid.color = color;
  if (const auto rect = AxisRect(q)) {
    Blit(*rect, &vis, &solid, 0xF0F0);
    return;
  }
  HostPath hp;
  AddQuad(hp, q);
  const RECTFX b = hp.Bounds();
  const RECTL bounds{FloorPx(b.xLeft) - 1, FloorPx(b.yTop) - 1, CeilPx(b.xRight) + 1, CeilPx(b.yBottom) + 1};
  if (vis.Intersect(bounds).Empty()) return;
  HostClip clip(vis, &bounds, 0);
  HostBrush brush = HostBrush::Solid(color);
  POINTL origin = DeviceBrushOrigin();
  hp.EnumStart();
  target_.FillPath(&hp.po, &clip.co, &brush.bo, &origin, kCopyPen, FP_ALTERNATEMODE);
}

// A run on its way to the target: the transforms, the reference point, the
// record's rectangle and the visible region, then the laid-out glyphs.
struct DeviceContext::TextJob {
  Matrix m;  // logical to surface pixels
  Matrix f;  // request units to surface pixels
  PointD ref;
  PointD rect[4];
  bool opaqueRect = false;
  bool clipped = false;
  Region vis;
  RealizedFont* rf = nullptr;
  std::vector<GLYPHPOS> pos;
  PointD origin;  // the aligned reference point
  double total = 0, ascent = 0, descent = 0, lowY = 0, highY = 0;
};

bool DeviceContext::DrawText(const EmrTextRun& run, std::string* fault) {
  TextJob job;
  if (!PlaceText(run, job, fault)) return false;
  if (run.text.empty()) {
    if (job.opaqueRect) FillQuad(job.rect, state_.bkColor, job.vis);
    return true;
  }
  if (!LayOutText(run, job, fault)) return false;
  // Inside a path bracket the glyphs' outlines join the path.
  if (bracket_.open()) {
    HostPath outline;
    for (const GLYPHPOS& g : job.pos)
      job.rf->font->AppendOutline(outline, g.hg, double(g.ptl.x), double(g.ptl.y));
    bracket_.AppendOutline(outline);
    return true;
  }
  SendText(run, job);
  return true;
}

// The transforms, the reference point and the record's rectangle: what
// ETO_CLIPPED clips to and ETO_OPAQUE fills.
bool DeviceContext::PlaceText(const EmrTextRun& run, TextJob& job, std::string* fault) const {
  const DcState& s = state_;
  job.m = DeviceMatrix();
  if (!job.m.Finite() || job.m.Determinant() == 0)
    return Fail(fault, "the transform to the device is unusable");
  job.f = TextMatrix(s.font->font, run.graphicsMode);
  if (!job.f.Finite() || job.f.Determinant() == 0) return Fail(fault, "the text transform is unusable");
  job.ref = job.m.Apply(s.textAlign & TA_UPDATECP ? s.current : run.reference);
  if (!Near(job.ref)) return Fail(fault, "the reference point lies too far away");
  job.vis = VisibleRegion();
  if (run.hasRect) {
    const double* v = run.rect;
    const PointD logical[4] = {{v[0], v[1]}, {v[2], v[1]}, {v[2], v[3]}, {v[0], v[3]}};
    for (int i = 0; i < 4; ++i) {
      job.rect[i] = job.m.Apply(logical[i]);
      if (!Near(job.rect[i])) return Fail(fault, "the text rectangle lies too far away");
    }
  }
  job.opaqueRect = run.hasRect && (run.options & ETO_OPAQUE);
  job.clipped = run.hasRect && (run.options & ETO_CLIPPED);
  if (job.clipped) {
    if (const auto r = AxisRect(job.rect)) {
      job.vis = job.vis.Intersect(*r);
    } else {
      HostPath hp;
      AddQuad(hp, job.rect);
      job.vis = job.vis.Combine(Region::FromPath(hp, false), RegionOp::And);
    }
  }
  return true;
}

// The font realized, the glyphs and their origins in whole pixels; moves
// the current position under TA_UPDATECP.
bool DeviceContext::LayOutText(const EmrTextRun& run, TextJob& job, std::string* fault) {
  DcState& s = state_;
  const FontObject& font = s.font->font;
  const Matrix& f = job.f;
  const double em = font.height == 0 && font.width == 0
                        ? fonts::kDefaultEm
                        : std::max(std::abs(double(font.height)), std::abs(double(font.width)));
  const std::string size = "text of " + Num(uint64_t(em)) + " logical units";
  if (em * std::max(std::hypot(f.m11, f.m12), std::hypot(f.m21, f.m22)) > kMaxEmPixels)
    return Fail(fault, size + " is too large");
  if (em * em * std::abs(f.Determinant()) < kMinEmPixels * kMinEmPixels)
    return Fail(fault, size + " is too small to place on the page");
  job.rf = RealizeFont(font, f, fault);
  if (!job.rf) return false;
  fonts::HostFont& hf = *job.rf->font;
  if ((run.options & ETO_GLYPH_INDEX) && hf.IsSubstitute()) NoteSubstitute(font, hf, warnedFaces_, notes_);

  // Glyphs and advances in request units.
  const size_t n = run.text.size();
  std::vector<HGLYPH> glyphs(n);
  std::vector<double> advance(n);
  const double perBreak = run.dx.empty() && s.breakCount > 0 ? double(s.breakExtra) / s.breakCount : 0;
  job.total = LayOut(run, hf, perBreak, glyphs, advance);
  job.ascent = hf.Ascent(), job.descent = hf.Descent();

  // The alignment of the reference point.
  const uint32_t horizontal = s.textAlign & TA_HORIZONTAL_MASK, vertical = s.textAlign & TA_VERTICAL_MASK;
  const double ax = horizontal == TA_CENTER ? -job.total / 2 : horizontal == TA_RIGHT ? -job.total : 0;
  const double ay = vertical == TA_TOP ? job.ascent : vertical == TA_BOTTOM ? -job.descent : 0;
  job.origin = Add(job.ref, Linear(f, ax, ay));

  // Glyph origins, rounded to whole pixels.
  job.pos.resize(n);
  double x = 0, y = 0;
  for (size_t i = 0; i < n; ++i) {
    const PointD p = Add(job.origin, Linear(f, x, -y));
    if (!Near(p)) return Fail(fault, "the text runs too far away");
    job.pos[i].hg = glyphs[i];
    job.pos[i].ptl = {LONG(std::lround(p.x)), LONG(std::lround(p.y))};
    x += advance[i];
    if (!run.dy.empty()) y += run.dy[i];
    job.lowY = std::min(job.lowY, -y);
    job.highY = std::max(job.highY, -y);
  }
  if (!Near(Add(job.origin, Linear(f, x, -y)))) return Fail(fault, "the text runs too far away");
  if (s.textAlign & TA_UPDATECP) {
    const double move = horizontal == TA_CENTER ? 0 : horizontal == TA_RIGHT ? -job.total : job.total;
    s.current = Inverse(job.m).Apply(Add(job.ref, Linear(f, move, 0)));
  }
  return true;
}

// The background, the glyphs and the underline and strikeout lines: one
// TextOut, or one FillPath of outlines when the driver wants paths.
void DeviceContext::SendText(const EmrTextRun& run, TextJob& job) {
  const DcState& s = state_;
  fonts::HostFont& hf = *job.rf->font;
  const Matrix& f = job.f;
  const double total = job.total;
  // The background: the record's rectangle, or the text's cell in the
  // opaque background mode.
  std::optional<Quadrangle> opaque;
  if (job.opaqueRect) {
    opaque.emplace();
    std::copy(job.rect, job.rect + 4, opaque->begin());
  } else if (s.bkMode == kBkOpaque) {
    opaque.emplace();
    Quad(f, job.origin, std::min(0.0, total), -job.ascent, std::max(0.0, total), job.descent, opaque->data());
  }

  // Bounds of what may be drawn: the cells with an em around them, cut to
  // the surface so that a run near its edge is not taken as clipped.
  const double margin = job.ascent + job.descent;
  std::array<PointD, 4> box;
  Quad(f, job.origin, std::min(0.0, total) - margin, job.lowY - job.ascent - margin,
       std::max(0.0, total) + margin, job.highY + job.descent + margin, box.data());
  const RECTL bounds = BoundsOf(box, opaque ? &*opaque : nullptr, surface_);
  if (bounds.right <= bounds.left || bounds.bottom <= bounds.top || job.vis.Intersect(bounds).Empty()) return;

  const std::vector<Quadrangle> lines = TextLines(s.font->font, hf, f, job.origin, total);
  HostClip clip(job.vis, &bounds, job.clipped ? 0 : uniq_);
  HostBrush fore = HostBrush::Solid(s.textColor);
  POINTL brushOrigin = DeviceBrushOrigin();
  std::optional<RECTL> opaqueBox = opaque ? AxisRect(opaque->data()) : std::nullopt;
  if (opaque && (!opaqueBox || job.rf->glyphMode == FO_PATHOBJ)) {
    FillQuad(opaque->data(), s.bkColor, job.vis);
    opaqueBox.reset();
  }

  if (job.rf->glyphMode == FO_PATHOBJ) {
    HostPath path;
    for (const GLYPHPOS& g : job.pos) hf.AppendOutline(path, g.hg, double(g.ptl.x), double(g.ptl.y));
    for (const Quadrangle& q : lines) AddQuad(path, q.data());
    if (path.Empty()) return;
    path.EnumStart();
    target_.FillPath(&path.po, &clip.co, &fore.bo, &brushOrigin, kCopyPen, FP_WINDINGMODE);
    return;
  }

  // Axis-aligned lines go with the run as its extra rectangles (the list
  // ends with an empty one); others are filled after it.
  std::vector<RECTL> extra;
  std::vector<Quadrangle> slanted;
  for (const Quadrangle& q : lines) {
    if (const auto r = AxisRect(q.data()))
      extra.push_back(*r);
    else
      slanted.push_back(q);
  }
  if (!extra.empty()) extra.push_back(RECTL{0, 0, 0, 0});
  const bool glyphIndex = run.options & ETO_GLYPH_INDEX;
  FLONG accel = glyphIndex ? SO_GLYPHINDEX_TEXTOUT : 0;
  if (f.m12 == 0 && f.m21 == 0 && run.dy.empty()) accel |= SO_HORIZONTAL;
  HostBrush back = HostBrush::Solid(s.bkColor);
  fonts::HostStrobj strobj(hf, std::move(job.pos), glyphIndex ? std::u16string() : run.text, accel);
  target_.TextOut(strobj.Strobj(), hf.Fontobj(), &clip.co, extra.empty() ? nullptr : extra.data(),
                  opaqueBox ? &*opaqueBox : nullptr, &fore.bo, opaqueBox ? &back.bo : nullptr, &brushOrigin,
                  kCopyPen);
  for (const Quadrangle& q : slanted) FillQuad(q.data(), s.textColor, job.vis);
}

}  // namespace snk::gdi
