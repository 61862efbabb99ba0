#include "services/message_box.h"

#include <thread>

#include "platform/win32.h"
#include "services/core_module.h"

INT ShowMessage(HWND owner, const char16_t* text, const char16_t* /*caption*/, UINT flags) {
  char16_t title[260] = {};
  if (!LoadLanguageString(IDS_PRODUCT_NAME, title, 260)) return -1;
  INT result = 0;
  std::thread box([&] { result = MessageBoxW(owner, text, title, flags); });
  box.join();
  return result;
}
