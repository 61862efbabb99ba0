// EnumFormsW: the built-in paper forms, in the order of the DMPAPER_
// numbers (the form at index i - 1 is paper number i), sizes in thousandths
// of a millimetre as published for each paper.
//
// Level 1 only. The buffer holds the FORM_INFO_1W array followed by the
// names it points to, as on Windows; a missing or small buffer fails with
// ERROR_INSUFFICIENT_BUFFER and the size needed.
#include <cstring>
#include <string_view>

#include "host/system/printer.h"
#include "host/system/win_errors.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

struct Form {
  std::u16string_view name;
  LONG width;
  LONG height;
};

constexpr Form kForms[] = {
    {u"Letter", 215900, 279400},
    {u"Letter Small", 215900, 279400},
    {u"Tabloid", 279400, 431800},
    {u"Ledger", 431800, 279400},
    {u"Legal", 215900, 355600},
    {u"Statement", 139700, 215900},
    {u"Executive", 184150, 266700},
    {u"A3", 297000, 420000},
    {u"A4", 210000, 297000},
    {u"A4 Small", 210000, 297000},
    {u"A5", 148000, 210000},
    {u"B4 (JIS)", 257000, 364000},
    {u"B5 (JIS)", 182000, 257000},
    {u"Folio", 215900, 330200},
    {u"Quarto", 215000, 275000},
    {u"10x14", 254000, 355600},
    {u"11x17", 279400, 431800},
    {u"Note", 215900, 279400},
    {u"Envelope #9", 98425, 225425},
    {u"Envelope #10", 104775, 241300},
    {u"Envelope #11", 114300, 263525},
    {u"Envelope #12", 120650, 279400},
    {u"Envelope #14", 127000, 292100},
    {u"C size sheet", 431800, 558800},
    {u"D size sheet", 558800, 863600},
    {u"E size sheet", 863600, 1117600},
    {u"Envelope DL", 110000, 220000},
    {u"Envelope C5", 162000, 229000},
    {u"Envelope C3", 324000, 458000},
    {u"Envelope C4", 229000, 324000},
    {u"Envelope C6", 114000, 162000},
    {u"Envelope C65", 114000, 229000},
    {u"Envelope B4", 250000, 353000},
    {u"Envelope B5", 176000, 250000},
    {u"Envelope B6", 176000, 125000},
    {u"Envelope", 110000, 230000},
    {u"Envelope Monarch", 98425, 190500},
    {u"6 3/4 Envelope", 92075, 165100},
    {u"US Std Fanfold", 377825, 279400},
    {u"German Std Fanfold", 215900, 304800},
    {u"German Legal Fanfold", 215900, 330200},
};
constexpr DWORD kFormCount = sizeof(kForms) / sizeof(kForms[0]);
static_assert(kFormCount == 41);

constexpr DWORD NeededBytes() {
  size_t bytes = kFormCount * sizeof(FORM_INFO_1W);
  for (const Form& f : kForms) bytes += (f.name.size() + 1) * sizeof(char16_t);
  return static_cast<DWORD>(bytes);
}

// Writes the array and the names; records are copied bytewise because the
// caller's buffer need not be aligned.
void FillForms(BYTE* buffer) {
  BYTE* names = buffer + kFormCount * sizeof(FORM_INFO_1W);
  for (DWORD i = 0; i < kFormCount; ++i) {
    const Form& f = kForms[i];
    FORM_INFO_1W info{};
    info.Flags = FORM_BUILTIN;
    info.pName = reinterpret_cast<LPWSTR>(names);
    info.Size = {f.width, f.height};
    info.ImageableArea = {0, 0, f.width, f.height};
    std::memcpy(buffer + i * sizeof(FORM_INFO_1W), &info, sizeof info);
    size_t nameBytes = f.name.size() * sizeof(char16_t);
    std::memcpy(names, f.name.data(), nameBytes);
    std::memset(names + nameBytes, 0, sizeof(char16_t));
    names += nameBytes + sizeof(char16_t);
  }
}

BOOL Fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

}  // namespace
}  // namespace snk::host

extern "C" BOOL EnumFormsW(HANDLE printer, DWORD level, BYTE* forms, DWORD size, DWORD* needed,
                           DWORD* returned) {
  using namespace snk::host;
  if (returned) *returned = 0;
  if (!FindPrinter(printer)) return Fail(ERROR_INVALID_HANDLE);
  if (!needed || !returned) return Fail(ERROR_INVALID_PARAMETER);
  if (level != 1) return Fail(kErrorInvalidLevel);
  *needed = NeededBytes();
  if (!forms || size < *needed) return Fail(ERROR_INSUFFICIENT_BUFFER);
  FillForms(forms);
  *returned = kFormCount;
  return TRUE;
}
