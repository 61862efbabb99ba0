// A realized font of the host: a shared face (opened once per file and
// face index, with its IFIMETRICS and FD_GLYPHSET made once), the
// notional-to-device transform, and the FONTOBJ that drivers get.
//
// Sizes. The request's height gives the em in request units (negative: the
// em itself; positive: the cell, usWinAscent + usWinDescent); its width, if
// any, stretches the face so that the average character is that wide. The
// request's matrix takes request units to device pixels. Advances are
// those of the glyphs hinted at the whole number of pixels per em nearest
// the device size, in whole pixels, as GDI places glyphs.
#include "host/fonts/host_font.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <map>
#include <mutex>
#include <unordered_map>

#include "host/engine/live_set.h"
#include "host/fonts/face_info.h"
#include "host/fonts/font_lookup.h"
#include "host/fonts/shared_face.h"

namespace snk::fonts {
namespace {

// What a FONTOBJ pointer handed back leads to.
struct FontobjBlock {
  FONTOBJ fo;
  HostFont* owner;
};

constexpr double kItalicShear = 0.342;  // simulated italic, as the driver's PDF text slants
constexpr double kBoldStroke = 0.02;    // simulated bold: the PDF text's stroke, in ems
constexpr int kMaxHintedPpem = 2048;    // larger sizes are drawn scaled from this one
constexpr size_t kMaxCachedBitmaps = 4096;
constexpr size_t kCandidates = 8;
constexpr double kMaxScale = 1e6;          // device pixels per request unit
constexpr double kMaxPixelsPerUnit = 1e3;  // device pixels per font unit

std::atomic<ULONG> g_nextUniq{0};

ULONG FileIdentity(const std::string& path) {
  static std::mutex mutex;
  static std::map<std::string, ULONG> ids;
  std::lock_guard lock(mutex);
  auto [it, added] = ids.emplace(path, ULONG(ids.size() + 1));
  return it->second;
}

}  // namespace

struct HostFont::Impl {
  FontobjBlock block{};  // kept first: drivers hold &block.fo
  std::shared_ptr<detail::SharedFace> shared;
  FT_Face face = nullptr;  // the shared face's, used under its lock
  FT_CharMap charmap = nullptr;
  InstalledFace installed;
  bool substitute = false, symbol = false, vertical = false, simBold = false, simItalic = false;
  // A stand-in for Symbol without a symbol map: its glyphs of the Symbol
  // encoding's codes 00-FF, found by name (0 for none).
  const std::vector<FT_UInt>* symbolByName = nullptr;
  // The realization's own copy of the face's block: what a driver writes
  // into it stays with this font.
  detail::Block ifi;
  const detail::Block* glyphSet = nullptr;
  std::unique_ptr<engine::HostXform> xform;
  // Notional (font units, y down) to device pixels.
  double n11 = 0, n12 = 0, n21 = 0, n22 = 0;
  // Device pixels per request unit along the baseline and the ascender.
  double baseScale = 0, upScale = 0;
  double sy = 0;  // request units per font unit, vertically
  // The pixels per em that advances are hinted at, and whether that is the
  // device size (upright text of a size that can be hinted): then hinted
  // advances are device advances.
  FT_UInt hintedX = 16, hintedY = 16;
  bool hintedIsDevice = true;
  std::unordered_map<HGLYPH, double> advances;  // device pixels
  std::unordered_map<HGLYPH, GlyphBits> bitmaps;
  std::unordered_map<HGLYPH, RECTL> boxes;

  ~Impl() { engine::LiveSet<FontobjBlock>::Remove(&block); }

  std::mutex& Mutex() const { return shared->mutex(); }
  const IFIMETRICS& Metrics() const { return *static_cast<const IFIMETRICS*>(ifi.data()); }
  void SetTransform(const FontRequest& request);
  void SetHintedSize();
  double AdvancePixels(HGLYPH glyph);  // under the lock
  // Device point of a font-space point (font units, y up), simulated
  // italic applied.
  void ToDevice(double xf, double yf, double& xd, double& yd) const {
    if (simItalic) xf += kItalicShear * yf;
    xd = n11 * xf - n21 * yf;
    yd = n12 * xf - n22 * yf;
  }
};

void HostFont::Impl::SetTransform(const FontRequest& request) {
  const IFIMETRICS& m = Metrics();
  const double upem = m.fwdUnitsPerEm;
  double em = kDefaultEm;
  if (request.height < 0) em = -double(request.height);
  if (request.height > 0) em = double(request.height) * upem / (m.fwdWinAscender + m.fwdWinDescender);
  sy = em / upem;
  double sx = sy;
  if (request.width != 0 && m.fwdAveCharWidth > 0) sx = std::abs(double(request.width)) / m.fwdAveCharWidth;
  // A transform from damaged input is tamed so that every size derived
  // from it stays a finite number of pixels that fits the engine's types.
  double r[4] = {request.m11, request.m12, request.m21, request.m22};
  for (double& v : r) v = std::isfinite(v) ? std::clamp(v, -kMaxScale, kMaxScale) : 0;
  auto tame = [](double v) { return std::clamp(v, -kMaxPixelsPerUnit, kMaxPixelsPerUnit); };
  n11 = tame(sx * r[0]);
  n12 = tame(sx * r[1]);
  n21 = tame(sy * r[2]);
  n22 = tame(sy * r[3]);
  baseScale = std::hypot(r[0], r[1]);
  upScale = std::hypot(r[2], r[3]);
  xform = std::make_unique<engine::HostXform>(n11, n12, n21, n22, 0, 0);
}

void HostFont::Impl::SetHintedSize() {
  const double upem = face->units_per_EM;
  const double ppemX = std::hypot(n11, n12) * upem, ppemY = std::hypot(n21, n22) * upem;
  const FT_UInt hx = FT_UInt(std::clamp(std::lround(ppemX), 1L, long(kMaxHintedPpem)));
  const FT_UInt hy = FT_UInt(std::clamp(std::lround(ppemY), 1L, long(kMaxHintedPpem)));
  hintedX = hx;
  hintedY = hy;
  // The hinted size stands for the device size when the text is upright,
  // not mirrored and not too large to hint.
  hintedIsDevice = n12 == 0 && n21 == 0 && n11 > 0 && n22 > 0 && ppemX < kMaxHintedPpem + 0.5 &&
                   ppemY < kMaxHintedPpem + 0.5;
}

double HostFont::Impl::AdvancePixels(HGLYPH glyph) {
  auto it = advances.find(glyph);
  if (it != advances.end()) return it->second;
  double pixels = 0;
  double hintedPpem = 0;
  if (const std::optional<double> hinted = shared->HintedAdvance(hintedX, hintedY, glyph, &hintedPpem)) {
    if (hintedIsDevice) {
      pixels = *hinted;
    } else {
      // Not hinted at the device size: the hinted size's whole-pixel
      // advance grows with the size's ratio.
      const double devicePpem = std::hypot(n11, n12) * face->units_per_EM;
      pixels = hintedPpem > 0 ? std::round(*hinted * devicePpem / hintedPpem) : 0;
    }
    if (simBold && pixels > 0) pixels += 1;
  }
  advances.emplace(glyph, pixels);
  return pixels;
}

HostFont::HostFont() : impl_(std::make_unique<Impl>()) {}
HostFont::~HostFont() = default;

std::unique_ptr<HostFont> HostFont::Realize(const FontRequest& request, std::string* error) {
  std::u16string family = request.faceName;
  if (!family.empty() && family[0] == u'@') family.erase(0, 1);
  const int32_t weight = request.weight ? request.weight : 400;
  std::string lastError;
  for (const detail::FaceCandidate& candidate :
       detail::MatchFaces(family, weight, request.italic, request.charset, kCandidates)) {
    auto shared = detail::SharedFace::Installed(candidate.path, candidate.index, &lastError);
    if (!shared) continue;
    std::unique_ptr<HostFont> font(new HostFont());
    Impl& impl = *font->impl_;
    impl.shared = std::move(shared);
    const std::u16string installedFamily = candidate.families.empty() ? u"" : candidate.families.front();
    font->Fill(request, candidate.path, candidate.index, detail::StandInFor(family, installedFamily));
    impl.substitute = !family.empty() &&
                      std::none_of(candidate.families.begin(), candidate.families.end(),
                                   [&](const std::u16string& f) { return detail::SameFamily(f, family); }) &&
                      !detail::SameFamily(impl.installed.family, family);
    return font;
  }
  if (error) {
    *error = lastError.empty() ? "no installed face for \"" + std::string(family.begin(), family.end()) + "\""
                               : lastError;
  }
  return nullptr;
}

std::unique_ptr<HostFont> HostFont::RealizeFromBytes(const FontRequest& request, std::vector<uint8_t> file,
                                                     int32_t faceIndex, const std::string& label,
                                                     std::string* error) {
  std::unique_ptr<HostFont> font(new HostFont());
  Impl& impl = *font->impl_;
  impl.shared = detail::SharedFace::FromBytes(std::make_shared<const std::vector<uint8_t>>(std::move(file)),
                                              faceIndex, label, error);
  if (!impl.shared) return nullptr;
  font->Fill(request, label, faceIndex, {});
  std::u16string family = request.faceName;
  if (!family.empty() && family[0] == u'@') family.erase(0, 1);
  impl.substitute = !family.empty() && !detail::SameFamily(impl.installed.family, family);
  return font;
}

void HostFont::Fill(const FontRequest& request, const std::string& path, int32_t index,
                    const std::u16string& standsFor) {
  Impl& impl = *impl_;
  detail::SharedFace& shared = *impl.shared;
  std::lock_guard lock(shared.mutex());
  FT_Face face = impl.face = shared.face();
  impl.vertical = !request.faceName.empty() && request.faceName[0] == u'@';
  impl.symbol = shared.IsSymbolFace();
  // Text for Symbol (asked for by name or by SYMBOL_CHARSET) is written in
  // the codes of its symbol map. A face without one that stands in for
  // Symbol is offered as a symbol face, its glyphs found by the encoding's
  // glyph names.
  std::u16string asked = request.faceName;
  if (!asked.empty() && asked[0] == u'@') asked.erase(0, 1);
  if (!impl.symbol && (request.charset == 2 || detail::SameFamily(asked, u"Symbol")) &&
      shared.IsSymbolStandIn()) {
    impl.symbol = true;
    impl.symbolByName = &shared.SymbolByNames();
  }
  const detail::CharMapping mapping = !impl.symbol        ? detail::CharMapping::kUnicode
                                      : impl.symbolByName ? detail::CharMapping::kSymbolByNames
                                                          : detail::CharMapping::kSymbolMap;
  const detail::SharedFace::Mapping& mapped = shared.MappingFor(mapping);
  impl.charmap = mapped.charmap;
  impl.glyphSet = &mapped.glyphSet;
  detail::FaceNames names = shared.Names();
  impl.installed = InstalledFace{path, index, names.family, names.postscript};
  // A stand-in takes the names of the family it stands in for: "Arial",
  // "Arial Bold", as that face would give them.
  if (!standsFor.empty()) {
    names.full = standsFor;
    if (!names.style.empty() && names.style != u"Regular") names.full += u" " + names.style;
    names.family = standsFor;
  }
  // A vertical face is another face to drivers: its names, the unique one
  // too, carry the "@".
  if (impl.vertical) {
    names.family.insert(0, u"@");
    names.full.insert(0, u"@");
    names.unique.insert(0, u"@");
  }
  impl.ifi = shared.Ifi(mapping, detail::ChooseCharset(mapped.covered, request.charset, impl.symbol), names);
  const IFIMETRICS& metrics = impl.Metrics();
  const int32_t weight = request.weight ? request.weight : 400;
  impl.simBold = weight >= 600 && !shared.IsBold();
  impl.simItalic = request.italic && !shared.IsItalic();
  impl.SetTransform(request);
  impl.SetHintedSize();

  FONTOBJ& fo = impl.block.fo;
  fo.iUniq = ++g_nextUniq;
  fo.iFile = FileIdentity(path);
  fo.iFace = ULONG(index + 1);
  fo.iTTUniq = fo.iFile << 8 | ULONG_PTR(index & 0xFF);
  const double maxInc = std::max<double>(metrics.fwdMaxCharInc, 0);
  fo.cxMax = ULONG(std::ceil(maxInc * std::hypot(impl.n11, impl.n12))) + (impl.simBold ? 1 : 0);
  fo.flFontType = (FT_IS_SFNT(face) ? FO_TYPE_TRUETYPE : FO_POSTSCRIPT) | (impl.simBold ? FO_SIM_BOLD : 0) |
                  (impl.simItalic ? FO_SIM_ITALIC : 0) | (impl.vertical ? FO_VERT_FACE : 0);
  fo.ulStyleSize = 0;
  fo.pvProducer = this;
  impl.block.owner = this;
  engine::LiveSet<FontobjBlock>::Add(&impl.block);
}

HostFont* HostFont::From(FONTOBJ* fo) {
  if (!fo || !engine::LiveSet<FontobjBlock>::Contains(fo)) return nullptr;
  return reinterpret_cast<FontobjBlock*>(fo)->owner;
}

FONTOBJ* HostFont::Fontobj() { return &impl_->block.fo; }
const IFIMETRICS& HostFont::Metrics() const { return impl_->Metrics(); }
const InstalledFace& HostFont::Face() const { return impl_->installed; }
bool HostFont::IsSubstitute() const { return impl_->substitute; }
bool HostFont::IsSymbol() const { return impl_->symbol; }
bool HostFont::IsVertical() const { return impl_->vertical; }
FD_GLYPHSET* HostFont::GlyphSet() {
  return static_cast<FD_GLYPHSET*>(const_cast<void*>(impl_->glyphSet->data()));
}
std::span<const uint8_t> HostFont::FileBytes() const { return impl_->shared->file(); }
XFORMOBJ* HostFont::Xform() { return &impl_->xform->xo; }

HGLYPH HostFont::GlyphOf(char16_t value) const {
  std::lock_guard lock(impl_->Mutex());
  FT_Face face = impl_->face;
  if (const std::vector<FT_UInt>* byName = impl_->symbolByName) {
    // A stand-in answers to the symbol codes only, as a symbol map does.
    if (value >= 0xF000 && value <= 0xF0FF) value -= 0xF000;
    return value < byName->size() ? (*byName)[value] : 0;
  }
  // Other realizations of the face may have left another map selected.
  if (face->charmap != impl_->charmap) FT_Set_Charmap(face, impl_->charmap);
  if (impl_->symbol && value < 0x100) {
    if (FT_UInt glyph = FT_Get_Char_Index(face, 0xF000 + value)) return glyph;
  }
  if (FT_UInt glyph = FT_Get_Char_Index(face, value)) return glyph;
  // Symbol text written for a face with a symbol map (F020-F0FF), shown
  // with a substitute that maps the same codes at 0020-00FF.
  if (!impl_->symbol && value >= 0xF020 && value <= 0xF0FF) return FT_Get_Char_Index(face, value - 0xF000);
  return 0;
}

double HostFont::Advance(HGLYPH glyph) const {
  std::lock_guard lock(impl_->Mutex());
  const double pixels = impl_->AdvancePixels(glyph);
  return impl_->baseScale > 0 ? pixels / impl_->baseScale : 0;
}

double HostFont::Ascent() const {
  const double units = Metrics().fwdWinAscender * impl_->sy;
  if (impl_->upScale <= 0) return units;
  return std::round(units * impl_->upScale) / impl_->upScale;
}

double HostFont::Descent() const {
  const double units = Metrics().fwdWinDescender * impl_->sy;
  if (impl_->upScale <= 0) return units;
  return std::round(units * impl_->upScale) / impl_->upScale;
}

namespace {

// Feeds a FreeType outline in font units to a host path in device space.
struct OutlineSink {
  engine::HostPath* path;
  const std::function<POINTFIX(const FT_Vector*)>* map;
  FT_Vector last{};
  bool open = false;
};

int MoveTo(const FT_Vector* to, void* user) {
  auto* sink = static_cast<OutlineSink*>(user);
  if (sink->open) sink->path->CloseFigure();
  sink->path->MoveTo((*sink->map)(to));
  sink->last = *to;
  sink->open = true;
  return 0;
}

int LineTo(const FT_Vector* to, void* user) {
  auto* sink = static_cast<OutlineSink*>(user);
  sink->path->LineTo((*sink->map)(to));
  sink->last = *to;
  return 0;
}

int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user) {
  auto* sink = static_cast<OutlineSink*>(user);
  sink->path->BezierTo((*sink->map)(c1), (*sink->map)(c2), (*sink->map)(to));
  sink->last = *to;
  return 0;
}

// A quadratic segment is the cubic with its control points two thirds of
// the way from each end to the quadratic's control point.
int ConicTo(const FT_Vector* control, const FT_Vector* to, void* user) {
  auto* sink = static_cast<OutlineSink*>(user);
  const FT_Vector& from = sink->last;
  const FT_Vector c1{from.x + 2 * (control->x - from.x) / 3, from.y + 2 * (control->y - from.y) / 3};
  const FT_Vector c2{to->x + 2 * (control->x - to->x) / 3, to->y + 2 * (control->y - to->y) / 3};
  return CubicTo(&c1, &c2, to, user);
}

}  // namespace

void HostFont::AppendOutline(engine::HostPath& path, HGLYPH glyph, double originX, double originY) const {
  Impl& impl = *impl_;
  std::lock_guard lock(impl.Mutex());
  FT_Face face = impl.face;
  if (glyph >= FT_ULong(face->num_glyphs)) return;
  // Outlines in font units scaled by 16 keep the thirds of the quadratic
  // conversion to within a sixteenth of a unit.
  if (FT_Load_Glyph(face, glyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_BITMAP) != 0) return;
  if (face->glyph->format != FT_GLYPH_FORMAT_OUTLINE) return;
  FT_Outline& outline = face->glyph->outline;
  constexpr int kSub = 16;
  for (int i = 0; i < outline.n_points; ++i) {
    outline.points[i].x *= kSub;
    outline.points[i].y *= kSub;
  }
  if (impl.simBold) {
    const double unitsPerPixel = 1.0 / std::max(std::hypot(impl.n11, impl.n12), 1e-9);
    const FT_Pos strength = FT_Pos(std::min(unitsPerPixel, 4096.0) * kSub);
    FT_Outline_EmboldenXY(&outline, strength, 0);
    FT_Outline_Translate(&outline, strength / 2, 0);
  }
  const std::function<POINTFIX(const FT_Vector*)> map = [&](const FT_Vector* v) {
    double x, y;
    impl.ToDevice(double(v->x) / kSub, double(v->y) / kSub, x, y);
    return POINTFIX{engine::ToFix(originX + x), engine::ToFix(originY + y)};
  };
  OutlineSink sink{&path, &map};
  FT_Outline_Funcs funcs{};
  funcs.move_to = MoveTo;
  funcs.line_to = LineTo;
  funcs.conic_to = ConicTo;
  funcs.cubic_to = CubicTo;
  if (FT_Outline_Decompose(&outline, &funcs, &sink) == 0 && sink.open) path.CloseFigure();
}

const HostFont::GlyphBits& HostFont::Bits(HGLYPH glyph) const {
  Impl& impl = *impl_;
  std::lock_guard lock(impl.Mutex());
  auto it = impl.bitmaps.find(glyph);
  if (it != impl.bitmaps.end()) return it->second;
  if (impl.bitmaps.size() >= kMaxCachedBitmaps) impl.bitmaps.clear();
  GlyphBits& bits = impl.bitmaps[glyph];
  FT_Face face = impl.face;
  // Drawn from the unhinted outline at the exact transform, with the slant
  // and stroke of the simulations that PDF text gets, so that the surface
  // shows the glyphs as a viewer draws the page's text, and images cut from
  // it line up with the text beside them.
  if (glyph >= FT_ULong(face->num_glyphs) ||
      FT_Load_Glyph(face, glyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP) != 0 ||
      face->glyph->format != FT_GLYPH_FORMAT_OUTLINE)
    return bits;
  FT_Outline& outline = face->glyph->outline;
  if (impl.simBold) FT_Outline_Embolden(&outline, FT_Pos(face->units_per_EM * kBoldStroke));
  if (impl.simItalic) {
    FT_Matrix shear{0x10000, FT_Fixed(kItalicShear * 65536), 0, 0x10000};
    FT_Outline_Transform(&outline, &shear);
  }
  // Font units (y up) to 26.6 device pixels (y up, as FreeType draws).
  auto fixed = [](double v) { return FT_Fixed(std::clamp(v * 64 * 65536, -2e9, 2e9)); };
  FT_Matrix toDevice{fixed(impl.n11), fixed(-impl.n21), fixed(-impl.n12), fixed(impl.n22)};
  FT_Outline_Transform(&outline, &toDevice);
  FT_BBox box;
  FT_Outline_Get_CBox(&outline, &box);
  // Glyphs beyond any page are not drawn (and not allocated).
  if (box.xMax - box.xMin > (FT_Pos(8192) << 6) || box.yMax - box.yMin > (FT_Pos(8192) << 6)) return bits;
  if (FT_Render_Glyph(face->glyph, FT_RENDER_MODE_MONO) != 0) return bits;
  const FT_Bitmap& bitmap = face->glyph->bitmap;
  if (bitmap.pixel_mode != FT_PIXEL_MODE_MONO || bitmap.pitch <= 0) return bits;
  bits.left = face->glyph->bitmap_left;
  bits.top = -face->glyph->bitmap_top;
  bits.width = int32_t(bitmap.width);
  bits.rows = int32_t(bitmap.rows);
  bits.pitch = bitmap.pitch;
  bits.bits.assign(bitmap.buffer, bitmap.buffer + size_t(bitmap.pitch) * bitmap.rows);
  return bits;
}

RECTL HostFont::Box(HGLYPH glyph) const {
  Impl& impl = *impl_;
  std::lock_guard lock(impl.Mutex());
  auto it = impl.boxes.find(glyph);
  if (it != impl.boxes.end()) return it->second;
  const IFIMETRICS& m = impl.Metrics();
  const double perUnit = std::hypot(impl.n11, impl.n12);
  const double advance = perUnit > 0 ? impl.AdvancePixels(glyph) / perUnit : 0;
  // Corners in font units, y up: the cell, then the ink.
  std::vector<std::pair<double, double>> corners = {{0, double(m.fwdWinAscender)},
                                                    {advance, double(m.fwdWinAscender)},
                                                    {0, -double(m.fwdWinDescender)},
                                                    {advance, -double(m.fwdWinDescender)}};
  if (const std::optional<FT_BBox> ink = impl.shared->InkBox(glyph)) {
    for (double x : {double(ink->xMin), double(ink->xMax)})
      for (double y : {double(ink->yMin), double(ink->yMax)}) corners.emplace_back(x, y);
  }
  double left = 0, top = 0, right = 0, bottom = 0;
  bool first = true;
  for (auto [xf, yf] : corners) {
    double x, y;
    impl.ToDevice(xf, yf, x, y);
    left = first ? x : std::min(left, x);
    right = first ? x : std::max(right, x);
    top = first ? y : std::min(top, y);
    bottom = first ? y : std::max(bottom, y);
    first = false;
  }
  auto clamp = [](double v) { return LONG(std::clamp(v, -1e9, 1e9)); };
  RECTL box{clamp(std::floor(left)) - 1, clamp(std::floor(top)) - 1, clamp(std::ceil(right)) + 1,
            clamp(std::ceil(bottom)) + 1};
  if (impl.simBold) box.right += 1;
  impl.boxes.emplace(glyph, box);
  return box;
}

}  // namespace snk::fonts

using snk::fonts::HostFont;

extern "C" {

IFIMETRICS* APIENTRY FONTOBJ_pifi(FONTOBJ* pfo) {
  HostFont* font = HostFont::From(pfo);
  return font ? const_cast<IFIMETRICS*>(&font->Metrics()) : nullptr;
}

FD_GLYPHSET* APIENTRY FONTOBJ_pfdg(FONTOBJ* pfo) {
  HostFont* font = HostFont::From(pfo);
  return font ? font->GlyphSet() : nullptr;
}

PVOID APIENTRY FONTOBJ_pvTrueTypeFontFile(FONTOBJ* pfo, ULONG* pcjFile) {
  HostFont* font = HostFont::From(pfo);
  if (pcjFile) *pcjFile = 0;
  // The whole file, of TrueType, OpenType and Type 1 faces alike; a face of
  // a collection gives the collection.
  if (!font) return nullptr;
  std::span<const uint8_t> file = font->FileBytes();
  if (pcjFile) *pcjFile = ULONG(file.size());
  return const_cast<uint8_t*>(file.data());
}

XFORMOBJ* APIENTRY FONTOBJ_pxoGetXform(FONTOBJ* pfo) {
  HostFont* font = HostFont::From(pfo);
  return font ? font->Xform() : nullptr;
}

}  // extern "C"
