// The engine's transform object: world to device space of a drawing call.
// Device = (x * eM11 + y * eM21 + eDx, x * eM12 + y * eM22 + eDy).
#pragma once

#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

struct SNK_HOST_API HostXform {
  HostXform(double m11, double m12, double m21, double m22, double dx, double dy);
  HostXform(const HostXform& other);
  HostXform& operator=(const HostXform& other);
  ~HostXform();
  static HostXform* From(XFORMOBJ* xo);

  XFORMOBJ xo{};  // handed to drivers as &xo; kept first
  double m11, m12, m21, m22, dx, dy;
};

}  // namespace snk::engine
