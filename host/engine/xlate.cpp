#include "host/engine/xlate.h"

#include <atomic>
#include <bit>

#include "host/engine/live_set.h"

namespace snk::engine {
namespace {

// Drivers translate images a pixel at a time. The object of the last call
// on this thread is remembered, and stays valid until some translation
// object dies (the count of deaths then changes), so that repeated calls
// skip the live-set look-up and its lock.
std::atomic<uint64_t> g_deaths{0};
struct LastXlate {
  const XLATEOBJ* xo = nullptr;
  const HostXlate* host = nullptr;
  uint64_t deaths = 0;
};
thread_local LastXlate t_last;

}  // namespace

void XlateMap::SetFields(uint32_t red, uint32_t green, uint32_t blue) {
  kind_ = Kind::kFields;
  const uint32_t masks[3] = {red, green, blue};
  for (int c = 0; c < 3; ++c) {
    mask_[c] = masks[c];
    auto& scale = scale_[c];
    if (masks[c] == 0) {
      shift_[c] = drop_[c] = 0;
      scale.fill(0);
      continue;
    }
    const int low = std::countr_zero(masks[c]);
    const int width = 32 - std::countl_zero(masks[c]) - low;
    shift_[c] = uint8_t(low);
    // Fields wider than 8 bits keep their top 8; narrower ones repeat their
    // bits downwards, so that the largest value becomes 255 (a 5-bit v gives
    // v << 3 | v >> 2).
    const int kept = width > 8 ? 8 : width;
    drop_[c] = uint8_t(width - kept);
    for (uint32_t v = 0; v < 256; ++v) {
      if (v >> kept) {
        scale[v] = 0;
        continue;
      }
      uint32_t out = 0;
      for (int filled = 0; filled < 8; filled += kept) {
        const int at = 8 - filled - kept;
        out |= at >= 0 ? v << at : v >> -at;
      }
      scale[v] = uint8_t(out);
    }
  }
}

XlateMap XlateMap::Of(XLATEOBJ* xo) {
  if (!xo) return XlateMap();
  if (const HostXlate* host = HostXlate::From(xo)) return host->map_;
  XlateMap map;
  if ((xo->flXlate & XO_TRIVIAL) == 0 && (xo->flXlate & XO_TABLE) != 0 && xo->pulXlate) {
    map.kind_ = Kind::kTable;
    map.table_ = xo->pulXlate;
    map.count_ = xo->cEntries;
  }
  return map;
}

HostXlate::HostXlate() {
  xo.iDstType = PAL_RGB;
  LiveSet<HostXlate>::Add(this);
}

HostXlate::HostXlate(const HostXlate& other)
    : xo(other.xo),
      table(other.table),
      bits(other.bits),
      masks{other.masks[0], other.masks[1], other.masks[2]},
      map_(other.map_) {
  Bind();
  LiveSet<HostXlate>::Add(this);
}

HostXlate& HostXlate::operator=(const HostXlate& other) {
  if (this == &other) return *this;
  xo = other.xo;
  table = other.table;
  bits = other.bits;
  for (int c = 0; c < 3; ++c) masks[c] = other.masks[c];
  map_ = other.map_;
  Bind();
  return *this;
}

HostXlate::~HostXlate() {
  g_deaths.fetch_add(1, std::memory_order_acq_rel);
  LiveSet<HostXlate>::Remove(this);
}

void HostXlate::Bind() {
  if (xo.iSrcType != PAL_INDEXED) return;
  xo.cEntries = static_cast<ULONG>(table.size());
  xo.pulXlate = table.empty() ? nullptr : table.data();
  map_.table_ = xo.pulXlate;
  map_.count_ = xo.cEntries;
}

HostXlate HostXlate::Indexed(std::span<const uint32_t> palette) {
  HostXlate x;
  x.bits = 8;
  x.table.assign(palette.begin(), palette.end());
  x.xo.iSrcType = PAL_INDEXED;
  x.xo.flXlate = XO_TABLE;
  x.map_.kind_ = XlateMap::Kind::kTable;
  x.Bind();
  return x;
}

HostXlate HostXlate::Bitfields(uint32_t bits, uint32_t red, uint32_t green, uint32_t blue) {
  HostXlate x;
  x.bits = bits == 16 ? 16 : 32;
  if (red == 0 && green == 0 && blue == 0) {
    if (x.bits == 16) {
      red = 0x7C00, green = 0x03E0, blue = 0x001F;
    } else {
      red = 0xFF0000, green = 0x00FF00, blue = 0x0000FF;
    }
  }
  // Bits above the depth are not the pixel's.
  const uint32_t depth = x.bits == 16 ? 0xFFFF : 0xFFFFFFFF;
  x.masks[0] = red & depth;
  x.masks[1] = green & depth;
  x.masks[2] = blue & depth;
  x.xo.iSrcType = PAL_BITFIELDS;
  x.map_.SetFields(x.masks[0], x.masks[1], x.masks[2]);
  return x;
}

HostXlate HostXlate::Bgr(uint32_t bits) {
  HostXlate x;
  x.bits = bits == 32 ? 32 : 24;
  x.xo.iSrcType = PAL_BGR;
  x.map_.kind_ = XlateMap::Kind::kBgr;
  return x;
}

HostXlate HostXlate::Trivial() {
  HostXlate x;
  x.xo.iSrcType = PAL_RGB;
  x.xo.flXlate = XO_TRIVIAL;
  x.map_.keep_ = 0xFFFFFF;
  return x;
}

HostXlate* HostXlate::From(XLATEOBJ* xo) {
  return xo && LiveSet<HostXlate>::Contains(xo) ? reinterpret_cast<HostXlate*>(xo) : nullptr;
}

const HostXlate* HostXlate::Remembered(XLATEOBJ* xo) {
  const uint64_t deaths = g_deaths.load(std::memory_order_acquire);
  if (xo && xo == t_last.xo && deaths == t_last.deaths) return t_last.host;
  const HostXlate* host = From(xo);
  if (host) t_last = LastXlate{xo, host, deaths};
  return host;
}

uint32_t HostXlate::Translate(uint32_t word) const { return map_.Map(word); }

}  // namespace snk::engine

extern "C" ULONG APIENTRY XLATEOBJ_iXlate(XLATEOBJ* pxlo, ULONG iColor) {
  if (!pxlo) return iColor;
  if (const auto* host = snk::engine::HostXlate::Remembered(pxlo)) return host->Translate(iColor);
  if ((pxlo->flXlate & XO_TRIVIAL) == 0 && (pxlo->flXlate & XO_TABLE) != 0 && pxlo->pulXlate)
    return iColor < pxlo->cEntries ? pxlo->pulXlate[iColor] & 0xFFFFFF : 0;
  return iColor;
}
