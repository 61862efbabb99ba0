#include "services/language.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32.h"

namespace {

struct BuiltinText {
  uint32_t id;
  const char16_t* text;
};

// The support address shown by the error texts.
#define SNK_SUPPORT_ADDRESS u"support@kelmo-software.com"

constexpr BuiltinText kBuiltinTexts[] = {
    {3205,
     u"Can not write to the file. It might be an invalid path, or the file is in use by "
     u"another application.\nDo you want to try another file?"},
    {3206, u"Internal error found. Please report it to " SNK_SUPPORT_ADDRESS u".\n\nError = %d"},
    {3207,
     u"%s font can't be embedded. The results depend on the availability of fonts in the "
     u"environment."},
    {3208,
     u"Error happened to Kelmo Lantern Printer. Your PDF document might not be complete.\n\n"
     u"Error tag = "},
    {3209, u"Please report this error to Kelmo (" SNK_SUPPORT_ADDRESS u"). Thanks!"},
    {3210,
     u"The page size is too large to support transparent imaging model.\nIf there are "
     u"transparent effects in your document, they will get lost."},
    {3211, u"Kelmo PDF Forge"},
    {3215, u"Print to PDF Document - Kelmo PDF Printer"},
    {3219, u"Printing page %d"},
    {3220, u"Finish..."},
};

}  // namespace

const char16_t* CKMC_Language::BuiltinString(uint32_t id) {
  for (const auto& entry : kBuiltinTexts)
    if (entry.id == id) return entry.text;
  return nullptr;
}

namespace {

constexpr std::u16string_view kLanguageFilePrefix = u"forge_language_";
// The module file name's buffer, in characters.
constexpr DWORD kModuleNameCapacity = 256;

size_t CopyOut(std::u16string_view text, char16_t* out, size_t capacity) {
  size_t n = std::min(text.size(), capacity - 1);
  std::copy_n(text.data(), n, out);
  out[n] = 0;
  return n;
}

// The whole file, at most kMaxXmlBytes + 1 bytes (one more than any file
// the parser takes, so that a longer one is refused there); false if the
// file cannot be opened.
bool ReadWholeFile(const char16_t* path, std::vector<uint8_t>& bytes) {
  HANDLE file = CreateFileW(path, GENERIC_READ, 1 /* FILE_SHARE_READ */, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  bytes.clear();
  uint8_t chunk[64 * 1024];
  while (bytes.size() <= kMaxXmlBytes) {
    DWORD read = 0;
    if (!ReadFile(file, chunk, sizeof chunk, &read, nullptr) || read == 0) break;
    bytes.insert(bytes.end(), chunk, chunk + read);
  }
  CloseHandle(file);
  return true;
}

}  // namespace

bool CKMC_Language::IsLanguageFileName(std::u16string_view name) {
  if (name.size() <= 20) return false;
  // At most the first 17 characters are compared; the comparison ends with
  // the prefix's 15, so every longer name that starts with it qualifies.
  for (size_t i = 0; i < 17; ++i) {
    if (i == kLanguageFilePrefix.size()) return true;
    if (name[i] != kLanguageFilePrefix[i]) return false;
  }
  return true;
}

int CKMC_Language::LoadLanguageFile() {
  char16_t path[kModuleNameCapacity] = {};
  DWORD length = GetModuleFileNameW(m_module, path, kModuleNameCapacity);
  if (length == 0) return 0;
  std::u16string_view view(path);
  size_t slash = view.rfind(u'\\');
  if (slash == std::u16string_view::npos) return 0;
  return LoadFromFolder(CKM_WideString(view.substr(0, slash + 1)).c_str());
}

int CKMC_Language::LoadFromFolder(const char16_t* folder) {
  m_root.reset();
  if (!folder) return 0;
  CKM_WideString pattern = CKM_WideString(folder) + u"*";
  WIN32_FIND_DATAW entry{};
  HANDLE find = FindFirstFileW(pattern.c_str(), &entry);
  if (find == INVALID_HANDLE_VALUE) return 0;
  // The last name looked at: the first that qualifies or, failing that,
  // the folder's last entry, whatever it is.
  CKM_WideString name;
  do {
    name = CKM_WideString::FromBuffer(entry.cFileName, MAX_PATH);
    if (IsLanguageFileName(name.view())) break;
  } while (FindNextFileW(find, &entry));
  FindClose(find);
  std::vector<uint8_t> bytes;
  if (!ReadWholeFile((CKM_WideString(folder) + name.view()).c_str(), bytes)) return 0;
  // A file that is empty, too large or not XML leaves no tree; the
  // built-in texts then serve.
  LoadFromBytes(bytes);
  return 1;
}

int CKMC_Language::LoadFromBytes(std::span<const uint8_t> bytes) {
  m_root = CXML_Element::Parse(bytes);
  return m_root ? 1 : 0;
}

const CXML_Element* FindElementById(const CXML_Element* parent, std::string_view id) {
  // Each step goes one level down, and the tree's depth is bounded by the
  // parser, so this ends.
  while (parent) {
    for (size_t i = 0; i < parent->CountChildren(); ++i) {
      const CXML_Element* child = parent->GetChild(i);
      const std::string* value = child->GetAttr("id");
      if (value && *value == id) return child;
    }
    parent = parent->GetChild(0);
  }
  return nullptr;
}

const std::string* CKMC_Language::FindText(const char* section, uint32_t id) const {
  if (!m_root) return nullptr;
  const CXML_Element* element = FindElementById(m_root->FindChild(section), std::to_string(id));
  return element ? element->GetAttr("text") : nullptr;
}

CKM_WideString CKMC_Language::Unescape(std::string_view utf8) {
  CKM_WideString text = CKM_WideString::FromUTF8(utf8);
  std::u16string_view in = text.view();
  std::u16string out;
  out.reserve(in.size());
  for (size_t i = 0; i < in.size(); ++i) {
    if (in[i] != u'\\') {
      out += in[i];
    } else if (i + 1 < in.size() && (in[i + 1] == u'n' || in[i + 1] == u't')) {
      out += in[++i] == u'n' ? u'\n' : u'\t';
    } else {
      out += in.substr(i);  // any other escape ends the conversion
      break;
    }
  }
  return CKM_WideString(std::move(out));
}

int CKMC_Language::GetString(uint32_t id, char16_t* out, size_t capacity) {
  if (!out || capacity == 0) return 0;
  out[0] = 0;
  if (const std::string* text = FindText("Strings", id)) CopyOut(Unescape(*text).view(), out, capacity);
  // The built-in table answers whatever the file leaves empty. On Linux a
  // null module handle stands for the program, which carries the same
  // table, so it is consulted with or without one.
  if (out[0] == 0) {
    const char16_t* builtin = BuiltinString(id);
    if (!builtin) return 0;
    CopyOut(builtin, out, capacity);
  }
  return 1;
}

int CKMC_Language::GetDialogTitle(uint32_t dialogId, char16_t* out, size_t capacity) {
  if (!out || capacity == 0) return 0;
  out[0] = 0;
  const std::string* text = FindText("Dialogs", dialogId);
  if (!text) return 0;
  CopyOut(Unescape(*text).view(), out, capacity);
  return 1;
}

CKM_WideString CKMC_Language::GetDialogItemText(uint32_t dialogId, uint32_t controlId) const {
  if (!m_root) return {};
  const CXML_Element* dialog = FindElementById(m_root->FindChild("Dialogs"), std::to_string(dialogId));
  if (!dialog) return {};
  const CXML_Element* item = controlId == 0 ? dialog : FindElementById(dialog, std::to_string(controlId));
  const std::string* text = item ? item->GetAttr("text") : nullptr;
  return text ? Unescape(*text) : CKM_WideString();
}

CKM_WideString FormatWithNumber(std::u16string_view text, int64_t number) {
  size_t at = text.find(u"%d");
  if (at == std::u16string_view::npos) return CKM_WideString(text);
  std::string digits = std::to_string(number);
  CKM_WideString out(text.substr(0, at));
  for (char c : digits) out += static_cast<char16_t>(c);
  out += text.substr(at + 2);
  return out;
}
