// Choosing and opening the output file of a job.
//
// The document name becomes a file name; in batch mode or with the default
// name set, the file goes straight into the folder; otherwise the save
// dialog asks. The outcomes are an open file, failure, or a cancelled job.
#include <string>

#include "driver/print_job.h"
#include "platform/win32.h"
#include "services/core_module.h"
#include "services/data_exchange.h"
#include "services/language.h"
#include "services/message_box.h"

namespace {

constexpr std::u16string_view kIllegal = u"\\/:*?\"<>|";

bool StartsWith(std::u16string_view text, std::u16string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// The source name: the batch destination, or the document name without the
// prefixes office programs put in front of it.
std::u16string SourceName(const CKMC_Document& doc, const char16_t* documentName) {
  const CKMC_JobSettings& settings = doc.Settings();
  if (settings.batch && !settings.batchDestName.IsEmpty()) return settings.batchDestName.str();
  if (!documentName) return {};
  std::u16string_view name(documentName);
  if (name.size() < 5) return std::u16string(name);
  for (std::u16string_view prefix : {u"Microsoft Word - ", u"Microsoft PowerPoint - "})
    if (StartsWith(name, prefix)) return std::u16string(name.substr(prefix.size()));
  return std::u16string(name);
}

}  // namespace

// Keeps what follows the last illegal character, skips leading blanks and
// cuts the last extension: "C:\a\ notes.txt" gives "notes".
std::u16string CleanTitle(std::u16string_view title) {
  size_t cut = title.find_last_of(kIllegal);
  std::u16string_view rest = cut == std::u16string_view::npos ? title : title.substr(cut + 1);
  while (!rest.empty() && rest.front() == u' ') rest.remove_prefix(1);
  size_t dot = rest.rfind(u'.');
  if (dot != std::u16string_view::npos) rest = rest.substr(0, dot);
  return std::u16string(rest);
}

namespace {

// The name rebuilt from the document name where the cleaned title is
// empty: illegal characters become "_", and the last character is dropped.
std::u16string RebuiltName(std::u16string_view documentName) {
  std::u16string name;
  for (size_t i = 0; i + 1 < documentName.size(); ++i) {
    char16_t c = documentName[i];
    name += kIllegal.find(c) == std::u16string_view::npos ? c : u'_';
  }
  return name;
}

HANDLE CreateOutput(const std::u16string& path, DWORD disposition) {
  return CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Asks whether to try another file after a failed create; false without a
// language object.
bool AskTryAnother() {
  char16_t text[512] = {};
  if (!LoadLanguageString(IDS_WRITE_FAILED_RETRY, text, 512)) return false;
  return ShowMessage(nullptr, text, nullptr, MB_YESNO | MB_SETFOREGROUND) == IDYES;
}

// The owner of the save dialog: the foreground window, unless there is none
// or it is the hidden window of the GDI+ library.
HWND DialogOwner() {
  HWND window = GetForegroundWindow();
  if (!window) return GetDesktopWindow();
  char16_t title[64] = {}, windowClass[64] = {};
  GetWindowTextW(window, title, 64);
  GetClassNameW(window, windowClass, 64);
  auto same = [](std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
      auto fold = [](char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; };
      if (fold(a[i]) != fold(b[i])) return false;
    }
    return true;
  };
  if (same(title, u"GDI+ Window") && same(windowClass, u"GDI+ Hook Window Class")) return GetDesktopWindow();
  return window;
}

// Shows the save dialog on a thread of its own; `name` is the proposal in
// and the choice out. On failure or cancel, `error` is the dialog's
// extended error (0 for a plain cancel), read on the dialog's thread.
bool RunSaveDialog(std::u16string& name, const CKM_WideString& folder, bool overwrite, DWORD& error) {
  char16_t file[260] = {};
  CKM_WideString(name).CopyTo(file, 260);
  char16_t title[260] = {};
  LoadLanguageString(IDS_SAVE_DIALOG_TITLE, title, 260);
  static constexpr char16_t kFilter[] = u"PDF files\0*.pdf\0All files\0*.*\0";
  OPENFILENAMEW dialog{};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = DialogOwner();
  dialog.lpstrFilter = kFilter;
  dialog.nFilterIndex = 1;
  dialog.lpstrFile = file;
  dialog.nMaxFile = 260;
  dialog.lpstrInitialDir = folder.c_str();
  dialog.lpstrTitle = title;
  dialog.lpstrDefExt = u".pdf";
  dialog.Flags = OFN_ENABLESIZING | (overwrite ? 0 : OFN_OVERWRITEPROMPT);
  BOOL ok = FALSE;
  RunOnHelperThread([&] {
    ok = GetSaveFileNameW(&dialog);
    error = ok ? 0 : CommDlgExtendedError();
  });
  name = CKM_WideString::FromBuffer(file, 260).str();
  return ok != FALSE;
}

}  // namespace

bool CKMC_Document::OpenOutputFile(const char16_t* documentName) {
  std::u16string source = SourceName(*this, documentName);
  std::u16string name = source.empty() ? source : CleanTitle(source);
  if (name.empty()) {
    if (!documentName) return false;
    name = RebuiltName(documentName);
  }

  CKM_WideString folder = m_settings.folder;
  if (m_settings.useDefaultName && folder.GetLength() >= 2) {
    if (folder[folder.GetLength() - 1] != u'\\') folder += u'\\';
    std::u16string path = folder.str();
    path += m_settings.fileName.IsEmpty() ? name + u".pdf" : m_settings.fileName.str();
    HANDLE file = CreateOutput(path, m_settings.overwrite ? CREATE_ALWAYS : CREATE_NEW);
    if (file != INVALID_HANDLE_VALUE) {
      writer.AttachFile(file);
      outputPath = CKM_WideString(path);
      return true;
    }
    if (!AskTryAnother()) return false;
  }

  name += u".pdf";
  for (;;) {
    DWORD error = 0;
    if (!RunSaveDialog(name, folder, m_settings.overwrite != 0, error)) {
      if (error) {
        char16_t text[512] = {};
        LoadLanguageString(IDS_INTERNAL_ERROR, text, 512);
        CKM_WideString message = FormatWithNumber(text, error) + u" Name = " + source;
        ShowMessage(nullptr, message.c_str(), nullptr, MB_SETFOREGROUND);
      }
      // Outside programs that wait for the result learn that no file came.
      SetProductRegString(u"FileName", u"FALSE");
      if (!error) {
        switches.jobCancelled = 1;
        return true;
      }
    }
    if (name.size() < 4 || name.substr(name.size() - 4) != u".pdf") name += u".pdf";
    HANDLE file = CreateOutput(name, CREATE_ALWAYS);
    if (file != INVALID_HANDLE_VALUE) {
      writer.AttachFile(file);
      outputPath = CKM_WideString(name);
      return true;
    }
    if (!AskTryAnother()) return false;
  }
}
