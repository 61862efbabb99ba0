// The handle table of a device context: the pens, brushes, fonts and
// palettes that records create under a handle index, and the stock objects
// that records name as 0x80000000 | n. Index 0 is reserved.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/gdi/dc_state.h"

namespace snk::gdi {

class ObjectTable {
 public:
  // `size`: the header's nHandles, index 0 included.
  explicit ObjectTable(size_t size) : handles_(std::max<size_t>(size, 1)) {}

  // The stock object n, or null when there is none. DC_BRUSH and DC_PEN
  // take their colours from `state`.
  static std::shared_ptr<const GdiObject> Stock(uint32_t n, const DcState& state);
  // The object a handle names, stock or created; null with `fault`.
  std::shared_ptr<const GdiObject> Get(uint32_t handle, const DcState& state, std::string* fault) const;
  // Whether a record may create an object at `handle`.
  bool CheckSlot(uint32_t handle, std::string* fault) const;
  // Puts a new object at `handle` (a record's create); false with `fault`
  // when the handle lies outside the table.
  bool Create(uint32_t handle, GdiObject object, std::string* fault);
  // Empties the slot; a selection keeps its own reference. Stock objects
  // are never deleted.
  bool Delete(uint32_t handle, std::string* fault);
  // Tells font objects apart for the realizations of a page.
  uint64_t NextFontId() { return nextFontId_++; }

 private:
  std::vector<std::shared_ptr<const GdiObject>> handles_;
  uint64_t nextFontId_ = 1000;
};

}  // namespace snk::gdi
