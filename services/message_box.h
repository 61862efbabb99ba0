// Message boxes of the driver.
//
// Every box runs on a thread of its own while the caller waits, so that no
// modal loop ever runs on the thread on which the spooler calls the driver.
// The title is always the product name (text 3211).
#pragma once

#include <functional>

#include "platform/win_types.h"

// Runs `work` on a short-lived thread of its own and waits for it without
// limit: boxes and dialogs never run on the spooler's thread. Where no
// thread can be made, `work` runs on the caller's thread.
void RunOnHelperThread(const std::function<void()>& work);

// Shows `text` with the product name as title; `caption` is not shown.
// Returns the box's answer, or -1 without a language object.
INT ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, UINT flags);
