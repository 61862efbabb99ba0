#include "tools/snkprint/config_command.h"

#include <string>
#include <vector>

#include "base/byte_string.h"
#include "host/system/host_control.h"
#include "platform/win32.h"
#include "services/data_exchange.h"
#include "tools/snkprint/argument_checks.h"
#include "tools/snkprint/messages.h"
#include "tools/snkprint/setting_keys.h"

namespace snk::print {

namespace {

constexpr char16_t kPrinterDriverData[] = u"PrinterDriverData";

// A stored value as the user sees it.
struct Shown {
  bool present = false;    // stored, with a usable type
  bool wrongType = false;  // stored, but not of the key's type
  std::string text;
  std::string note;  // a remark for the user, e.g. a block whose size lies
};

std::u16string Wide(std::string_view utf8) { return CKM_WideString::FromUTF8(utf8).str(); }
std::string Utf8(std::u16string_view wide) { return CKM_WideString(std::u16string(wide)).ToUTF8(); }

uint32_t Dword(const std::vector<BYTE>& data) {
  return static_cast<uint32_t>(data[0]) | (static_cast<uint32_t>(data[1]) << 8) |
         (static_cast<uint32_t>(data[2]) << 16) | (static_cast<uint32_t>(data[3]) << 24);
}

std::u16string TextUpToEnd(const std::vector<BYTE>& data) {
  std::u16string text;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    char16_t unit = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (unit == 0) break;
    text += unit;
  }
  return text;
}

std::vector<BYTE> TextBytes(std::u16string_view text) {
  std::vector<BYTE> data;
  AppendUTF16LE(data, text);
  AppendUTF16LE(data, std::u16string_view(u"", 1));  // the terminator
  return data;
}

// The printer of the batch values; closed when it goes out of scope.
class PrinterHandle {
 public:
  PrinterHandle() : handle_(snk::host::OpenHostPrinter(std::u16string(kPrinterName))) {}
  ~PrinterHandle() {
    if (handle_) snk::host::ClosePrinter(handle_);
  }
  PrinterHandle(const PrinterHandle&) = delete;
  PrinterHandle& operator=(const PrinterHandle&) = delete;
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

bool QueryUserValue(const CKMC_SettingKey& key, DWORD& type, std::vector<BYTE>& data) {
  HKEY hkey = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, UserSettingsKeyPath().c_str(), 0, KEY_READ, &hkey) != 0) return false;
  std::u16string name(key.valueName);
  DWORD size = 0;
  LSTATUS rc = RegQueryValueExW(hkey, name.c_str(), nullptr, &type, nullptr, &size);
  if (rc == 0) {
    data.assign(size, 0);
    rc = RegQueryValueExW(hkey, name.c_str(), nullptr, &type, data.data(), &size);
    data.resize(std::min<size_t>(size, data.size()));
  }
  RegCloseKey(hkey);
  return rc == 0;
}

bool QueryPrinterValue(HANDLE printer, const CKMC_SettingKey& key, std::vector<BYTE>& data) {
  std::u16string name(key.valueName);
  DWORD type = 0, needed = 0;
  data.assign(64, 0);
  DWORD rc = GetPrinterDataExW(printer, kPrinterDriverData, name.c_str(), &type, data.data(),
                               static_cast<DWORD>(data.size()), &needed);
  if (rc == ERROR_MORE_DATA) {
    data.assign(needed, 0);
    rc = GetPrinterDataExW(printer, kPrinterDriverData, name.c_str(), &type, data.data(), needed, &needed);
  }
  data.resize(std::min<size_t>(needed, data.size()));
  return rc == ERROR_SUCCESS;
}

// The user's key keeps numbers as REG_DWORD and texts as one-string lists;
// the driver takes nothing else. The printer's values are read by size as
// the driver reads them: 4 bytes for a number, a text up to its end.
Shown ReadShown(const CKMC_SettingKey& key, HANDLE printer) {
  Shown shown;
  std::vector<BYTE> data;
  if (key.store == SettingStore::User) {
    DWORD type = 0;
    if (!QueryUserValue(key, type, data)) return shown;
    bool usable = key.type == SettingType::Int ? type == REG_DWORD && data.size() >= 4 : type == REG_MULTI_SZ;
    shown.wrongType = !usable;
    shown.present = usable;
  } else {
    if (!printer || !QueryPrinterValue(printer, key, data)) return shown;
    shown.present = key.type != SettingType::Int || data.size() >= 4;
    shown.wrongType = !shown.present;
  }
  if (!shown.present) return shown;
  switch (key.type) {
    case SettingType::Int:
      shown.text = FormatIntValue(Dword(data));
      break;
    case SettingType::String:
      shown.text = Utf8(TextUpToEnd(data));
      break;
    case SettingType::Faces: {
      FaceBlock block = ParseFaceBlock(data);
      for (size_t i = 0; i < block.faces.size(); ++i) shown.text += (i ? "," : "") + Utf8(block.faces[i]);
      if (block.sizeMismatch) {
        uint32_t claimed = data.size() >= 4 ? Dword(data) : 0;
        shown.note = FormatMessage(Msg::FaceBlockSize, {key.name, std::to_string(claimed), std::to_string(data.size())});
      }
      break;
    }
  }
  return shown;
}

void Complain(std::FILE* err, const std::string& text) { std::fprintf(err, "snkprint: config: %s\n", text.c_str()); }

bool Letter() { return IsMetricDefault() == 0; }

std::string DefaultText(const CKMC_SettingKey& key, bool wrongType) {
  std::string value(DefaultOf(key, Letter()));
  if (key.type != SettingType::Int) value = "\"" + value + "\"";
  return wrongType ? FormatMessage(Msg::WrongStoredType, {value, TypeName(key.type)})
                   : FormatMessage(Msg::DefaultShown, {value});
}

int List(std::FILE* out, std::FILE* err) {
  PrinterHandle printer;
  for (const CKMC_SettingKey& key : SettingKeys()) {
    Shown shown = ReadShown(key, printer.get());
    std::string value = !shown.present                ? DefaultText(key, shown.wrongType)
                        : key.type == SettingType::String ? "\"" + shown.text + "\""
                                                      : shown.text;
    std::fprintf(out, "%-22s %-7s %s\n", std::string(key.name).c_str(), std::string(TypeName(key.type)).c_str(),
                 value.c_str());
    if (!shown.note.empty()) Complain(err, shown.note);
  }
  return 0;
}

int Get(const CKMC_SettingKey& key, std::FILE* out, std::FILE* err) {
  PrinterHandle printer;
  Shown shown = ReadShown(key, printer.get());
  if (!shown.note.empty()) Complain(err, shown.note);
  if (shown.wrongType) Complain(err, std::string(key.name) + " " + DefaultText(key, true));
  std::fprintf(out, "%s\n", shown.present ? shown.text.c_str() : std::string(DefaultOf(key, Letter())).c_str());
  return 0;
}

// The bytes to store for `text`, or an error message.
bool Encode(const CKMC_SettingKey& key, std::string_view text, std::vector<BYTE>& data, std::string* error) {
  switch (key.type) {
    case SettingType::Int: {
      auto value = ParseIntValue(text);
      if (!value) {
        *error = FormatMessage(Msg::WrongIntType, {key.name, text});
        return false;
      }
      data = {BYTE(*value), BYTE(*value >> 8), BYTE(*value >> 16), BYTE(*value >> 24)};
      return true;
    }
    case SettingType::String: {
      std::u16string wide = Wide(text);
      if (wide.size() > kMaxSettingText) {
        *error = FormatMessage(Msg::TextTooLong, {key.name, std::to_string(kMaxSettingText), text});
        return false;
      }
      data = TextBytes(wide);
      return true;
    }
    case SettingType::Faces:
      data = BuildFaceBlock(SplitFaceList(Wide(text)));
      return true;
  }
  return false;
}

bool Store(const CKMC_SettingKey& key, const std::vector<BYTE>& data, HANDLE printer) {
  std::u16string name(key.valueName);
  if (key.store == SettingStore::User) {
    CreateUserSettingsKey();
    if (key.type == SettingType::Int) return SetRegInt(name.c_str(), Dword(data)) == 1;
    return SetRegString(name.c_str(), TextUpToEnd(data).c_str()) == 1;
  }
  if (key.type == SettingType::Faces) return SetPrinterBlock(printer, name.c_str(), data) == 1;
  DWORD type = key.type == SettingType::Int ? REG_DWORD : REG_SZ;
  return SetPrinterDataExW(printer, kPrinterDriverData, name.c_str(), type, data.data(),
                           static_cast<DWORD>(data.size())) == ERROR_SUCCESS;
}

int Set(const CKMC_SettingKey& key, std::string_view text, std::FILE* err) {
  std::vector<BYTE> data;
  std::string error;
  if (!Encode(key, text, data, &error)) {
    Complain(err, error);
    return 2;
  }
  PrinterHandle printer;
  if (key.store == SettingStore::Printer && !printer.get()) {
    Complain(err, FormatMessage(Msg::NoPrinter, {Utf8(kPrinterName)}));
    return 1;
  }
  if (!Store(key, data, printer.get())) {
    Complain(err, FormatMessage(Msg::WriteFailed, {key.name}));
    return 1;
  }
  if (auto warning = SettingWarning(key.name, text)) Complain(err, *warning);
  return 0;
}

// The user's values are removed. The printer's data offers no removal, so
// a printer value is set to the value its absence means to the driver.
int Unset(const CKMC_SettingKey& key, std::FILE* err) {
  if (key.store == SettingStore::Printer) {
    int status = Set(key, DefaultOf(key, false), err);
    if (status == 0) Complain(err, FormatMessage(Msg::PrinterValueReset, {key.name}));
    return status;
  }
  HKEY hkey = nullptr;
  LSTATUS rc = RegOpenKeyExW(HKEY_CURRENT_USER, UserSettingsKeyPath().c_str(), 0, KEY_ALL_ACCESS, &hkey);
  if (rc == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND)) return 0;
  if (rc == 0) {
    rc = RegDeleteValueW(hkey, std::u16string(key.valueName).c_str());
    RegCloseKey(hkey);
  }
  if (rc != 0 && rc != static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND)) {
    Complain(err, FormatMessage(Msg::WriteFailed, {key.name}));
    return 1;
  }
  return 0;
}

}  // namespace

int RunConfigCommand(const ConfigCommand& command, std::FILE* out, std::FILE* err) {
  using Verb = ConfigCommand::Verb;
  if (command.verb == Verb::List) return List(out, err);
  const CKMC_SettingKey* key = FindSettingKey(command.name);
  if (!key) {
    Complain(err, FormatMessage(Msg::UnknownKey, {command.name}));
    return 2;
  }
  switch (command.verb) {
    case Verb::Get: return Get(*key, out, err);
    case Verb::Set: return Set(*key, command.value, err);
    case Verb::Unset: return Unset(*key, err);
    case Verb::List: break;
  }
  return 0;
}

}  // namespace snk::print
