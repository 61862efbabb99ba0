// "snkprint config": lists, reads, stores and removes the persistent values
// of the user's settings key and the printer's batch values.
//
// Values are checked against the key table before anything is stored: an
// unknown key or a value of the wrong type is refused (exit 2) with a
// message naming the key and the type it takes. Stored values of the wrong
// type read as their default, and are reported as such.
#pragma once

#include <cstdio>

#include "tools/snkprint/options.h"

namespace snk::print {

// Runs the command; writes results to `out` and messages to `err`.
// 0 done, 1 the store could not be read or written, 2 refused.
int RunConfigCommand(const ConfigCommand& command, std::FILE* out, std::FILE* err);

}  // namespace snk::print
