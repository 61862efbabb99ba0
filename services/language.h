// CKMC_Language: the texts of messages and dialogs, by number.
//
// The module's built-in string table stands behind everything; language
// files loaded beside the module can replace entries.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/byte_string.h"

class IKMC_Language {
 public:
  virtual ~IKMC_Language() = default;
  // Copies text `id` into `out` (at most capacity - 1 units and a zero).
  // Returns 1 if there is such a text.
  virtual int GetString(uint32_t id, char16_t* out, size_t capacity) = 0;
};

class CKMC_Language : public IKMC_Language {
 public:
  int GetString(uint32_t id, char16_t* out, size_t capacity) override;

  // The built-in text of `id`, or null.
  static const char16_t* BuiltinString(uint32_t id);
};

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
