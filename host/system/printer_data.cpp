// Printer handles and the printer data the driver keeps per printer
// (GetPrinterDataExW and SetPrinterDataExW), stored in the settings
// database by printer name, key name and value name.
#include <cstring>

#include "host/system/config_db.h"
#include "host/system/handles.h"
#include "host/system/host_control.h"
#include "host/system/printer.h"
#include "host/system/wide_text.h"

namespace snk::host {

std::shared_ptr<Printer> FindPrinter(void* handle) { return FindHandleAs<Printer>(handle); }

HANDLE OpenHostPrinter(std::u16string name) {
  std::optional<std::string> utf8 = ToUtf8(name);
  if (name.empty() || !utf8) return nullptr;
  return RegisterHandle(std::make_shared<Printer>(std::move(*utf8)));
}

BOOL ClosePrinter(HANDLE printer) {
  if (ReleaseHandleAs<Printer>(printer)) return TRUE;
  SetLastError(ERROR_INVALID_HANDLE);
  return FALSE;
}

}  // namespace snk::host

extern "C" DWORD GetPrinterDataExW(HANDLE printer, LPCWSTR keyName, LPCWSTR valueName, DWORD* type,
                                   BYTE* data, DWORD size, DWORD* needed) {
  using namespace snk::host;
  auto p = FindPrinter(printer);
  if (!p) return ERROR_INVALID_HANDLE;
  if (!needed || !keyName || !*keyName || (!data && size)) {
    return ERROR_INVALID_PARAMETER;
  }
  auto key = ToUtf8(WideView(keyName));
  auto name = ToUtf8(WideView(valueName));
  if (!key || !name) return ERROR_FILE_NOT_FOUND;
  configdb::Value value;
  if (DWORD rc = configdb::GetPrinterValue(p->name, *key, *name, &value)) return rc;
  if (type) *type = value.type;
  *needed = static_cast<DWORD>(value.data.size());
  if (size < value.data.size()) return ERROR_MORE_DATA;
  if (!value.data.empty()) std::memcpy(data, value.data.data(), value.data.size());
  return ERROR_SUCCESS;
}

extern "C" DWORD SetPrinterDataExW(HANDLE printer, LPCWSTR keyName, LPCWSTR valueName, DWORD type,
                                   const BYTE* data, DWORD size) {
  using namespace snk::host;
  auto p = FindPrinter(printer);
  if (!p) return ERROR_INVALID_HANDLE;
  if (!keyName || !*keyName || (!data && size)) return ERROR_INVALID_PARAMETER;
  auto key = ToUtf8(WideView(keyName));
  auto name = ToUtf8(WideView(valueName));
  if (!key || !name) return ERROR_INVALID_PARAMETER;
  configdb::Value value{std::move(*name), type,
                        data ? std::vector<BYTE>(data, data + size) : std::vector<BYTE>()};
  return configdb::SetPrinterValue(p->name, *key, value);
}
