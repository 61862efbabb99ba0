// Private: the object behind a printer handle from OpenHostPrinter.
#pragma once

#include <memory>
#include <string>

#include "host/system/handles.h"

namespace snk::host {

class Printer : public HostObject {
 public:
  explicit Printer(std::string n) : name(std::move(n)) {}
  std::string name;  // UTF-8, as opened
};

// The printer behind `handle`, or null.
std::shared_ptr<Printer> FindPrinter(void* handle);

}  // namespace snk::host
