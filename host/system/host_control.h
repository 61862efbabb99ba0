// Control calls of the host's Win32-shaped services.
//
// The program that runs the driver (snkprint, the tests) uses these to set
// what the Windows side would have decided: how dialogs are answered, which
// settings are overridden for one run, and which printer the driver talks
// to. The driver itself never includes this header; it sees only
// platform/win32.h.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32.h"

namespace snk::host {

// ------------------------------------------------------------ user interface

// How message boxes and the save dialog are answered.
//
// - Message boxes are always written to stderr as "CAPTION: TEXT". OK boxes
//   answer IDOK; yes/no boxes answer IDNO unless `interactive` is set and
//   stdin and stderr are terminals (or `ask` is set), when the user is asked.
// - The save dialog returns `saveAnswer` when it is set; otherwise it asks
//   when interactive (empty input keeps the proposed name, end of input
//   cancels); otherwise it is cancelled.
struct UiPolicy {
  bool interactive = false;
  std::optional<std::u16string> saveAnswer;
  // Replaces the terminal for interactive questions: receives the prompt,
  // returns the line typed (without its newline) or nullopt at end of input.
  // When set, questions are asked even if no terminal is attached.
  std::function<std::optional<std::u16string>(std::u16string_view prompt)> ask;
};
void SetUiPolicy(const UiPolicy& policy);

// Replaces MessageBoxW entirely (nothing is written to stderr); the hook's
// result is the box's answer. An empty hook restores the policy.
using MessageBoxHook = std::function<int(std::u16string_view text, std::u16string_view caption, UINT type)>;
void SetMessageBoxHook(MessageBoxHook hook);

// ------------------------------------------------------------ registry

// Sets an in-memory value below HKEY_CURRENT_USER that wins over the
// database for every read (query, enumeration, key information) and makes
// the key (and its parents) openable even when the database lacks it.
// Nothing is written; writes through the API still go to the database.
// `keyPath` is relative to HKEY_CURRENT_USER, components separated by '\'.
void SetRegistryOverlay(std::u16string_view keyPath, std::u16string_view valueName, DWORD type,
                        std::vector<BYTE> data);
// Convenience forms: REG_SZ (stored with its terminator) and REG_DWORD.
void SetRegistryOverlayString(std::u16string_view keyPath, std::u16string_view valueName,
                              std::u16string_view text);
void SetRegistryOverlayDword(std::u16string_view keyPath, std::u16string_view valueName, DWORD value);
// Removes every overlay value.
void ClearRegistryOverlay();

// The database that holds the registry and the printer data:
// $XDG_CONFIG_HOME/snk/registry.sqlite, or ~/.config/snk/registry.sqlite.
// It is opened on first use and reopened when this path changes.
std::string ConfigDatabasePath();
// Closes the database; the next registry or printer-data call reopens it.
void CloseConfigDatabase();

// ------------------------------------------------------------ printers

// A printer handle for GetPrinterDataExW, SetPrinterDataExW and EnumFormsW.
// Printer names compare without regard to ASCII case. Returns null for an
// empty name.
HANDLE OpenHostPrinter(std::u16string name);
// Releases a handle from OpenHostPrinter; FALSE with ERROR_INVALID_HANDLE
// for anything else.
BOOL ClosePrinter(HANDLE printer);

// ------------------------------------------------------------ shell

// Replaces the start of `xdg-open` by ShellExecuteW's "open": the hook
// receives the verb and what would be handed to xdg-open (a POSIX path or
// a URL) and returns whether the start succeeded. The desktop check
// (DISPLAY or WAYLAND_DISPLAY set) still applies; whether xdg-open is on
// PATH does not. An empty hook restores the real start.
using ShellExecuteHook = std::function<bool(std::u16string_view verb, std::string_view target)>;
void SetShellExecuteHook(ShellExecuteHook hook);

// ------------------------------------------------------------ files

// A regular file that is written from scratch (CREATE_ALWAYS or CREATE_NEW
// with write access only) goes to a temporary file and takes its name only
// when its handle is closed after every write succeeded; until then the
// earlier file of that name stays as it was.

// The paths whose writes, flush or placing failed in this process, each
// with the cause of its first failure ("No space left on device"). Later
// opens of such a path fail.
struct WriteFailure {
  std::string path;
  std::string cause;
};
std::vector<WriteFailure> WriteFailures();
void ClearWriteFailures();

// Removes the named temporary files of outputs not yet closed (unnamed ones
// vanish with the process). Safe to call from a signal handler.
void DiscardOpenOutputs();

// With false, temporary files get hidden names even where the file system
// could keep them unnamed (for tests of that form).
void UseUnnamedTemporaries(bool use);

}  // namespace snk::host
