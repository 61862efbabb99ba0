#include "services/language.h"

#include <algorithm>
#include <string>
#include <string_view>

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

int CKMC_Language::GetString(uint32_t id, char16_t* out, size_t capacity) {
  const char16_t* text = BuiltinString(id);
  if (!text || !out || capacity == 0) return 0;
  std::u16string_view view(text);
  size_t n = std::min(view.size(), capacity - 1);
  std::copy_n(view.data(), n, out);
  out[n] = 0;
  return 1;
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
