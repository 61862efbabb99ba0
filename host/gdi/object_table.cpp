#include "host/gdi/object_table.h"

#include "host/gdi/record_fields.h"

namespace snk::gdi {
namespace {

constexpr uint32_t kStockFlag = 0x80000000u;

// The stock fonts: SYSTEM_FONT and its kin by their numbers.
void StockFont(uint32_t n, FontObject& f) {
  f.id = n + 1;
  switch (n) {
    case 10:  // OEM_FIXED_FONT
    case 11:  // ANSI_FIXED_FONT
    case 16:  // SYSTEM_FIXED_FONT
      f.face = u"Courier New";
      f.height = n == 16 ? 15 : 13;
      f.pitchAndFamily = 0x31;  // FIXED_PITCH | FF_MODERN
      break;
    case 12:  // ANSI_VAR_FONT
      f.face = u"MS Sans Serif";
      f.height = 13;
      break;
    case 17:  // DEFAULT_GUI_FONT
      f.face = u"MS Shell Dlg";
      f.height = -11;
      break;
    default:  // SYSTEM_FONT, DEVICE_DEFAULT_FONT
      f.face = u"System";
      f.height = 16;
      f.weight = 700;
      break;
  }
}

}  // namespace

std::shared_ptr<const GdiObject> ObjectTable::Stock(uint32_t n, const DcState& state) {
  auto obj = std::make_shared<GdiObject>();
  if (n <= 5 || n == DC_BRUSH) {
    static const uint32_t grays[] = {0xFFFFFF, 0xC0C0C0, 0x808080, 0x404040, 0x000000, 0};
    obj->kind = GdiObject::Kind::Brush;
    obj->brush.kind = n == NULL_BRUSH ? BrushObject::Kind::Null : BrushObject::Kind::Solid;
    obj->brush.color = n == DC_BRUSH ? state.dcBrushColor : grays[n];
  } else if (n == WHITE_PEN || n == BLACK_PEN || n == NULL_PEN || n == DC_PEN) {
    obj->kind = GdiObject::Kind::Pen;
    obj->pen.style = n == NULL_PEN ? PS_NULL : PS_SOLID;
    obj->pen.color = n == WHITE_PEN ? 0xFFFFFF : n == DC_PEN ? state.dcPenColor : 0;
  } else if ((n >= 10 && n <= 14) || n == 16 || n == 17) {
    obj->kind = GdiObject::Kind::Font;
    StockFont(n, obj->font);
  } else if (n == 15) {
    obj->kind = GdiObject::Kind::Palette;
  } else {
    return nullptr;
  }
  return obj;
}

std::shared_ptr<const GdiObject> ObjectTable::Get(uint32_t handle, const DcState& state,
                                                  std::string* fault) const {
  if (handle & kStockFlag) {
    auto obj = Stock(handle & ~kStockFlag, state);
    if (!obj) Fail(fault, "no stock object " + std::to_string(handle & ~kStockFlag));
    return obj;
  }
  if (!CheckSlot(handle, fault)) return nullptr;
  if (!handles_[handle]) Fail(fault, "handle " + std::to_string(handle) + " holds no object");
  return handles_[handle];
}

bool ObjectTable::CheckSlot(uint32_t handle, std::string* fault) const {
  if (handle != 0 && handle < handles_.size()) return true;
  return Fail(fault, "handle " + std::to_string(handle) + " is outside the table of " +
                         std::to_string(handles_.size()));
}

bool ObjectTable::Create(uint32_t handle, GdiObject object, std::string* fault) {
  if (!CheckSlot(handle, fault)) return false;
  handles_[handle] = std::make_shared<const GdiObject>(std::move(object));
  return true;
}

bool ObjectTable::Delete(uint32_t handle, std::string* fault) {
  if (handle & kStockFlag) return true;
  if (!CheckSlot(handle, fault)) return false;
  if (!handles_[handle]) return Fail(fault, "handle " + std::to_string(handle) + " holds no object");
  handles_[handle].reset();
  return true;
}

}  // namespace snk::gdi
