// CKMC_Language: the texts of messages and dialogs, by number.
//
// The source is an XML language file found beside the driver module; the
// module's built-in string table stands behind it for every text the file
// does not give.
//
// Language file contract (the bytes are untrusted; see xml_element.h for
// the parser's limits): below the root, the first element named `Strings`
// holds one child per text with the attributes `id` (decimal) and `text`;
// the first element named `Dialogs` holds one child per dialog with `id`
// and `text` (its caption) and, at any depth below it, one element per
// control with `id` and `text`. Tag names of these children are free. In a
// `text` value "\n" is a line feed and "\t" a tab; a backslash followed by
// anything else ends the conversion and the rest is kept as it stands. A
// file that cannot be read or parsed leaves no tree: every text then comes
// from the built-in table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "base/byte_string.h"
#include "platform/win_types.h"
#include "services/xml_element.h"

class IKMC_Language {
 public:
  virtual ~IKMC_Language() = default;
  // The module whose built-in texts stand behind the file.
  virtual void SetModule(HMODULE) {}
  // Copies text `id` into `out` (at most capacity - 1 units and a zero).
  // Returns 1 if there is such a text.
  virtual int GetString(uint32_t id, char16_t* out, size_t capacity) = 0;
  // The caption of dialog `dialogId` from the language file. 1 on success.
  virtual int GetDialogTitle(uint32_t, char16_t* out, size_t capacity) {
    if (out && capacity) out[0] = 0;
    return 0;
  }
};

class CKMC_Language : public IKMC_Language {
 public:
  void SetModule(HMODULE module) override { m_module = module; }
  int GetString(uint32_t id, char16_t* out, size_t capacity) override;
  int GetDialogTitle(uint32_t dialogId, char16_t* out, size_t capacity) override;

  // The text of control `controlId` of dialog `dialogId` from the file ("0"
  // is the dialog's own caption); empty if the file has none.
  CKM_WideString GetDialogItemText(uint32_t dialogId, uint32_t controlId) const;

  // Loads the language file beside the module: the folder of the module's
  // file (cut behind its last '\'). Returns 0 if no file could be opened.
  int LoadLanguageFile();
  // Loads the language file of `folder` (which ends in a separator): the
  // first entry longer than 20 characters that starts with
  // "forge_language_", or, if there is none, the folder's last entry,
  // whatever it is. 0 if nothing could be opened; 1 otherwise, with or
  // without a tree.
  int LoadFromFolder(const char16_t* folder);
  // Parses `bytes` as the language file; 1 if a tree came out.
  int LoadFromBytes(std::span<const uint8_t> bytes);
  bool HasFile() const { return m_root != nullptr; }

  // Whether the folder search stops at `name`.
  static bool IsLanguageFileName(std::u16string_view name);
  // The built-in text of `id`, or null.
  static const char16_t* BuiltinString(uint32_t id);
  // A `text` value with its "\n" and "\t" escapes turned into control
  // characters.
  static CKM_WideString Unescape(std::string_view utf8);

 private:
  // The `text` of the element with `id` below `section`, or null.
  const std::string* FindText(const char* section, uint32_t id) const;

  HMODULE m_module = nullptr;
  std::unique_ptr<CXML_Element> m_root;
};

// Below `parent`, the first child whose `id` attribute equals `id`; when no
// child matches, the search repeats below the first child, one level
// deeper each time. Null if nothing matches.
const CXML_Element* FindElementById(const CXML_Element* parent, std::string_view id);

// Text ids used by the driver.
inline constexpr uint32_t IDS_WRITE_FAILED_RETRY = 3205;
inline constexpr uint32_t IDS_INTERNAL_ERROR = 3206;
inline constexpr uint32_t IDS_FONT_NOT_EMBEDDABLE = 3207;
inline constexpr uint32_t IDS_ERROR_HAPPENED = 3208;
inline constexpr uint32_t IDS_PLEASE_REPORT = 3209;
inline constexpr uint32_t IDS_PAGE_TOO_LARGE = 3210;
inline constexpr uint32_t IDS_PRODUCT_NAME = 3211;
inline constexpr uint32_t IDS_SAVE_DIALOG_TITLE = 3215;
inline constexpr uint32_t IDS_PRINTING_PAGE = 3219;
inline constexpr uint32_t IDS_FINISH = 3220;

// `text` with its first "%d" replaced by `number` (as the texts above use it).
CKM_WideString FormatWithNumber(std::u16string_view text, int64_t number);
