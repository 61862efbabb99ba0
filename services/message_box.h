// Message boxes of the driver.
//
// Every box runs on a thread of its own while the caller waits, so that no
// modal loop ever runs on the thread on which the spooler calls the driver.
// The title is always the product name (text 3211).
#pragma once

#include "platform/win_types.h"

// Shows `text` with the product name as title; `caption` is not shown.
// Returns the box's answer, or -1 without a language object.
INT ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, UINT flags);
