#include "services/message_box.h"

#include "platform/win32.h"
#include "services/core_module.h"

void RunOnHelperThread(const std::function<void()>& work) {
  auto start = [](LPVOID parameter) -> DWORD {
    (*static_cast<const std::function<void()>*>(parameter))();
    return 0;
  };
  HANDLE thread = CreateThread(nullptr, 0, start, const_cast<std::function<void()>*>(&work), 0, nullptr);
  if (!thread) {
    work();
    return;
  }
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

INT ShowMessage(HWND owner, const char16_t* text, const char16_t* /*caption*/, UINT flags) {
  char16_t title[260] = {};
  if (!LoadLanguageString(IDS_PRODUCT_NAME, title, 260)) return -1;
  INT result = 0;
  RunOnHelperThread([&] { result = MessageBoxW(owner, text, title, flags); });
  return result;
}
