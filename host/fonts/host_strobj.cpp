// The engine's glyph runs: STROBJ with its enumeration of positions.
#include <algorithm>

#include "host/engine/live_set.h"
#include "host/fonts/host_font.h"

namespace snk::fonts {

HostStrobj::HostStrobj(HostFont& font, std::vector<GLYPHPOS> glyphs, std::u16string text, FLONG flAccel)
    : font_(font), glyphs_(std::move(glyphs)), text_(std::move(text)) {
  // The text is offered only when it has one value per glyph.
  if (text_.size() != glyphs_.size()) text_.clear();
  so.cGlyphs = ULONG(glyphs_.size());
  so.flAccel = flAccel;
  so.ulCharInc = 0;
  so.pgp = glyphs_.empty() ? nullptr : glyphs_.data();
  so.pwszOrg = text_.empty() ? nullptr : text_.data();
  // The background box: every glyph's cell and ink at its position.
  bool first = true;
  for (GLYPHPOS& glyph : glyphs_) {
    glyph.pgdf = nullptr;
    RECTL box = font_.Box(glyph.hg);
    const int64_t l = int64_t{box.left} + glyph.ptl.x, r = int64_t{box.right} + glyph.ptl.x;
    const int64_t t = int64_t{box.top} + glyph.ptl.y, b = int64_t{box.bottom} + glyph.ptl.y;
    auto fit = [](int64_t v) { return LONG(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); };
    RECTL& bg = so.rclBkGround;
    if (first) {
      bg = RECTL{fit(l), fit(t), fit(r), fit(b)};
      first = false;
      continue;
    }
    bg.left = std::min(bg.left, fit(l));
    bg.top = std::min(bg.top, fit(t));
    bg.right = std::max(bg.right, fit(r));
    bg.bottom = std::max(bg.bottom, fit(b));
  }
  engine::LiveSet<HostStrobj>::Add(this);
}

HostStrobj::~HostStrobj() { engine::LiveSet<HostStrobj>::Remove(this); }

HostStrobj* HostStrobj::From(STROBJ* so) {
  return so && engine::LiveSet<HostStrobj>::Contains(so) ? reinterpret_cast<HostStrobj*>(so) : nullptr;
}

}  // namespace snk::fonts

using snk::fonts::HostStrobj;

extern "C" {

void APIENTRY STROBJ_vEnumStart(STROBJ* pstro) {
  if (HostStrobj* run = HostStrobj::From(pstro)) run->enumAt_ = 0;
}

// The whole run is one batch: positions are always known here.
BOOL APIENTRY STROBJ_bEnumPositionsOnly(STROBJ* pstro, ULONG* pc, GLYPHPOS** ppgpos) {
  if (pc) *pc = 0;
  if (ppgpos) *ppgpos = nullptr;
  HostStrobj* run = HostStrobj::From(pstro);
  if (!run || !pc || !ppgpos) return FALSE;
  const size_t left = run->glyphs_.size() - std::min(run->enumAt_, run->glyphs_.size());
  if (left == 0) return FALSE;
  *pc = ULONG(left);
  *ppgpos = run->glyphs_.data() + run->enumAt_;
  run->enumAt_ = run->glyphs_.size();
  return FALSE;
}

}  // extern "C"
