#include "tools/snkprint/argument_checks.h"

#include <filesystem>

#include "base/byte_string.h"
#include "tools/snkprint/messages.h"
#include "tools/snkprint/setting_keys.h"

namespace snk::print {
namespace {

namespace fs = std::filesystem;

bool EndsWithPdf(const std::string& path) {
  return path.size() >= 4 && path.compare(path.size() - 4, 4, ".pdf") == 0;
}

bool SameFile(const fs::path& a, const fs::path& b) {
  std::error_code ec;
  return fs::equivalent(a, b, ec) && !ec;
}

}  // namespace

std::optional<std::string> RefusedArgument(const Options& options, bool batch) {
  if (options.title && options.title->empty()) return FormatMessage(Msg::EmptyTitle);
  if (!options.output) return std::nullopt;
  const std::string& output = *options.output;
  if (output.empty()) return FormatMessage(Msg::EmptyOutput);
  if (batch) return FormatMessage(Msg::BatchWithOutput);
  std::error_code ec;
  const fs::path absolute = fs::absolute(output, ec);
  if (ec || CKM_WideString::FromUTF8(absolute.string()).GetLength() > kMaxOutputPathUnits)
    return FormatMessage(Msg::OutputTooLong, {output, std::to_string(kMaxOutputPathUnits)});
  // The driver adds ".pdf" to a name without it.
  const fs::path written = EndsWithPdf(output) ? absolute : fs::path(absolute.string() + ".pdf");
  for (const std::string& page : options.pages)
    if (SameFile(page, absolute) || SameFile(page, written))
      return FormatMessage(Msg::OutputIsInput, {output});
  if (options.job.overwrite == false && fs::exists(fs::symlink_status(written, ec)))
    return FormatMessage(Msg::OutputExists, {written.string()});
  return std::nullopt;
}

std::optional<std::string> SettingWarning(std::string_view name, std::string_view value) {
  const CKMC_SettingKey* key = FindSettingKey(name);
  if (!key || key->valueName != std::u16string_view(u"PDFVersion")) return std::nullopt;
  std::optional<uint32_t> version = ParseIntValue(value);
  if (!version || (*version >= 13 && *version <= 17)) return std::nullopt;
  return FormatMessage(Msg::PdfVersionNoHeader, {value});
}

}  // namespace snk::print
