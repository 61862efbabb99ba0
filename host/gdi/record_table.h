// The record table: one entry per record type the player plays, with the
// smallest size its fixed fields need and the function that plays it (the
// type's decoder from record_types.h, then its handler on the device
// context). A record type without an entry is not played.
#pragma once

#include <cstdint>
#include <string>

#include "host/gdi/emf_reader.h"

namespace snk::gdi {

class DeviceContext;

struct RecordEntry {
  uint32_t type = 0;
  // Records shorter than this are refused as "too short" before decoding.
  uint32_t minSize = 8;
  // Decodes the record and hands it to its handler; false with `fault`
  // when either refuses it.
  bool (*play)(DeviceContext& dc, const EmfRecord& record, std::string* fault) = nullptr;
};

// The entry of a record type, or null when the type is not played.
const RecordEntry* FindRecordEntry(uint32_t type);

}  // namespace snk::gdi
