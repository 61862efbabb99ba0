// Message boxes, the save dialog and the window queries, answered by the
// policy that the running program sets (host_control.h).
//
// There is no desktop: message boxes go to stderr as "CAPTION: TEXT" and
// questions, when the policy allows them, are asked on the terminal.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

#include "host/system/host_control.h"
#include "host/system/wide_text.h"

namespace snk::host {
namespace {

constexpr INT kIdCancel = 2;
constexpr INT kIdAbort = 3;
constexpr UINT kTypeMask = 0xF;
constexpr UINT kOkCancel = 1, kAbortRetryIgnore = 2, kYesNoCancel = 3;
constexpr DWORD kBufferTooSmall = 0x3003;  // FNERR_BUFFERTOOSMALL

// The policy is shared, not copied, so that a stateful `ask` keeps its
// state from one question to the next.
struct UiState {
  std::mutex mutex;
  std::shared_ptr<const UiPolicy> policy = std::make_shared<UiPolicy>();
  std::shared_ptr<const MessageBoxHook> hook;
};

UiState& TheUi() {
  static UiState* state = new UiState;
  return *state;
}

thread_local DWORD dialogError = 0;

struct Snapshot {
  std::shared_ptr<const UiPolicy> policy;
  std::shared_ptr<const MessageBoxHook> hook;
};

Snapshot TakeSnapshot() {
  UiState& ui = TheUi();
  std::lock_guard lock(ui.mutex);
  return {ui.policy, ui.hook};
}

bool CanAsk(const UiPolicy& policy) {
  return policy.ask || (policy.interactive && isatty(STDIN_FILENO) && isatty(STDERR_FILENO));
}

// Asks one question; nullopt at end of input.
std::optional<std::u16string> Ask(const UiPolicy& policy, std::u16string_view prompt) {
  if (policy.ask) return policy.ask(prompt);
  std::fputs(ToUtf8Lossy(prompt).c_str(), stderr);
  std::fflush(stderr);
  std::string line;
  int c;
  while ((c = std::fgetc(stdin)) != EOF && c != '\n') line += static_cast<char>(c);
  if (c == EOF && line.empty()) return std::nullopt;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return ToUtf16(line);
}

bool AnswersYes(const std::optional<std::u16string>& answer) {
  if (!answer) return false;
  std::u16string a = FoldAscii(*answer);
  return a == u"y" || a == u"yes";
}

// The answer of a box nobody is asked about: the choice that commits to
// nothing.
INT DefaultAnswer(UINT type) {
  switch (type & kTypeMask) {
    case MB_OK:
      return IDOK;
    case MB_YESNO:
      return IDNO;
    case kAbortRetryIgnore:
      return kIdAbort;
    case kOkCancel:
    case kYesNoCancel:
    default:
      return kIdCancel;
  }
}

// "name.ext" offsets as the dialog reports them.
void SetOffsets(OPENFILENAMEW* d, std::u16string_view path) {
  size_t slash = path.find_last_of(u"\\/");
  size_t nameStart = slash == std::u16string_view::npos ? 0 : slash + 1;
  size_t dot = path.rfind(u'.');
  d->nFileOffset = static_cast<WORD>(nameStart);
  d->nFileExtension = static_cast<WORD>(dot != std::u16string_view::npos && dot >= nameStart ? dot + 1 : 0);
  if (d->lpstrFileTitle && d->nMaxFileTitle) {
    std::u16string_view title = path.substr(nameStart);
    if (!CopyWithTerminator(title, d->lpstrFileTitle, d->nMaxFileTitle)) {
      d->lpstrFileTitle[0] = u'\0';
    }
  }
}

// Adds the default extension to a name that has none.
std::u16string WithDefaultExtension(const OPENFILENAMEW* d, std::u16string path) {
  if (!d->lpstrDefExt || !*d->lpstrDefExt) return path;
  size_t slash = path.find_last_of(u"\\/");
  size_t dot = path.rfind(u'.');
  if (dot != std::u16string::npos && (slash == std::u16string::npos || dot > slash)) {
    return path;
  }
  return path + u"." + std::u16string(WideView(d->lpstrDefExt));
}

BOOL Deliver(OPENFILENAMEW* d, const std::u16string& path) {
  if (!CopyWithTerminator(path, d->lpstrFile, d->nMaxFile)) {
    // The first character then holds the size needed, as Windows does.
    if (d->lpstrFile && d->nMaxFile) {
      d->lpstrFile[0] = static_cast<char16_t>(std::min<size_t>(path.size() + 1, 0xFFFF));
    }
    dialogError = kBufferTooSmall;
    return FALSE;
  }
  SetOffsets(d, path);
  return TRUE;
}

// Asks for a name on the terminal; nullopt for cancel.
std::optional<std::u16string> AskForName(const UiPolicy& policy, const OPENFILENAMEW* d) {
  std::u16string proposed(WideView(d->lpstrFile));
  std::u16string title = d->lpstrTitle ? std::u16string(d->lpstrTitle) : u"Save as";
  for (;;) {
    auto answer = Ask(policy, title + u" [" + proposed + u"]: ");
    if (!answer) return std::nullopt;
    std::u16string path = WithDefaultExtension(d, answer->empty() ? proposed : *answer);
    if (!(d->Flags & OFN_OVERWRITEPROMPT)) return path;
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) return path;
    if (AnswersYes(Ask(policy, path + u" exists. Replace it? [y/N] "))) return path;
  }
}

}  // namespace

void SetUiPolicy(const UiPolicy& policy) {
  UiState& ui = TheUi();
  std::lock_guard lock(ui.mutex);
  ui.policy = std::make_shared<UiPolicy>(policy);
}

void SetMessageBoxHook(MessageBoxHook hook) {
  UiState& ui = TheUi();
  std::lock_guard lock(ui.mutex);
  ui.hook = hook ? std::make_shared<MessageBoxHook>(std::move(hook)) : nullptr;
}

}  // namespace snk::host

extern "C" INT MessageBoxW(HWND, LPCWSTR text, LPCWSTR caption, UINT type) {
  using namespace snk::host;
  Snapshot s = TakeSnapshot();
  std::u16string_view body = WideView(text);
  std::u16string_view title = caption ? WideView(caption) : u"Error";
  if (s.hook) return (*s.hook)(body, title, type);
  std::string line = ToUtf8Lossy(title) + ": " + ToUtf8Lossy(body) + "\n";
  std::fputs(line.c_str(), stderr);
  if ((type & kTypeMask) == MB_YESNO && CanAsk(*s.policy)) {
    return AnswersYes(Ask(*s.policy, u"[y/N] ")) ? IDYES : IDNO;
  }
  return DefaultAnswer(type);
}

extern "C" BOOL GetSaveFileNameW(OPENFILENAMEW* dialog) {
  using namespace snk::host;
  dialogError = 0;
  if (!dialog || !dialog->lpstrFile || !dialog->nMaxFile) {
    dialogError = 0x0002;  // CDERR_INITIALIZATION
    return FALSE;
  }
  Snapshot s = TakeSnapshot();
  if (s.policy->saveAnswer) return Deliver(dialog, *s.policy->saveAnswer);
  if (!CanAsk(*s.policy)) return FALSE;
  auto path = AskForName(*s.policy, dialog);
  return path ? Deliver(dialog, *path) : FALSE;
}

extern "C" DWORD CommDlgExtendedError() { return snk::host::dialogError; }

extern "C" HWND GetForegroundWindow() { return nullptr; }

extern "C" HWND GetDesktopWindow() {
  static char desktop;  // a fixed address no other handle can have
  return reinterpret_cast<HWND>(&desktop);
}

extern "C" INT GetWindowTextW(HWND, LPWSTR buffer, INT size) {
  if (buffer && size > 0) buffer[0] = u'\0';
  return 0;
}

extern "C" INT GetClassNameW(HWND, LPWSTR buffer, INT size) {
  if (buffer && size > 0) buffer[0] = u'\0';
  return 0;
}
