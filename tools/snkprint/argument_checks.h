// Arguments that cannot be right, found before the job starts and before
// any file is touched.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/snkprint/options.h"

namespace snk::print {

// The longest output path, in UTF-16 units, that the driver's save dialog
// buffer takes with its terminator.
inline constexpr size_t kMaxOutputPathUnits = 259;

// The message for the first argument that is refused, or nullopt. `batch`
// tells whether the printer is in batch mode, where the driver names the
// file itself.
std::optional<std::string> RefusedArgument(const Options& options, bool batch);

// The warning for a setting value that is taken but does something the user
// may not expect (a PDFVersion outside 13 to 17 writes no header line).
std::optional<std::string> SettingWarning(std::string_view name, std::string_view value);

}  // namespace snk::print
