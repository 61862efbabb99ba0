#include "host/engine/xform.h"

#include <cmath>

#include "host/engine/live_set.h"

namespace snk::engine {

HostXform::HostXform(double m11, double m12, double m21, double m22, double dx, double dy)
    : m11(m11), m12(m12), m21(m21), m22(m22), dx(dx), dy(dy) {
  LiveSet<HostXform>::Add(this);
}

HostXform::HostXform(const HostXform& other)
    : m11(other.m11), m12(other.m12), m21(other.m21), m22(other.m22), dx(other.dx), dy(other.dy) {
  LiveSet<HostXform>::Add(this);
}

HostXform& HostXform::operator=(const HostXform& other) {
  m11 = other.m11;
  m12 = other.m12;
  m21 = other.m21;
  m22 = other.m22;
  dx = other.dx;
  dy = other.dy;
  return *this;
}

HostXform::~HostXform() { LiveSet<HostXform>::Remove(this); }

HostXform* HostXform::From(XFORMOBJ* xo) {
  return xo && LiveSet<HostXform>::Contains(xo) ? reinterpret_cast<HostXform*>(xo) : nullptr;
}

}  // namespace snk::engine

extern "C" ULONG APIENTRY XFORMOBJ_iGetXform(XFORMOBJ* pxo, XFORML* pxform) {
  const snk::engine::HostXform* x = snk::engine::HostXform::From(pxo);
  if (!x) return DDI_ERROR;
  if (pxform) {
    *pxform = XFORML{static_cast<FLOATL>(x->m11), static_cast<FLOATL>(x->m12), static_cast<FLOATL>(x->m21),
                     static_cast<FLOATL>(x->m22), static_cast<FLOATL>(x->dx),  static_cast<FLOATL>(x->dy)};
  }
  const bool linearIdentity = x->m11 == 1 && x->m22 == 1 && x->m12 == 0 && x->m21 == 0;
  if (linearIdentity) return x->dx == 0 && x->dy == 0 ? GX_IDENTITY : GX_OFFSET;
  return x->m12 == 0 && x->m21 == 0 ? GX_SCALE : GX_GENERAL;
}
