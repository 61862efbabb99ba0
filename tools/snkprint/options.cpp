#include "tools/snkprint/options.h"

#include <charconv>
#include <cctype>
#include <string_view>

#include "tools/snkprint/messages.h"

namespace snk::print {

const char* UsageText() { return MessageText(Msg::Usage).data(); }

namespace {

bool ParseNumber(std::string_view text, double& out) {
  auto r = std::from_chars(text.data(), text.data() + text.size(), out);
  return r.ec == std::errc() && r.ptr == text.data() + text.size() && out > 0;
}

bool ParseWhole(std::string_view text, int low, int high, int& out) {
  auto r = std::from_chars(text.data(), text.data() + text.size(), out);
  return r.ec == std::errc() && r.ptr == text.data() + text.size() && out >= low && out <= high;
}

std::optional<Paper> ParsePaper(std::string_view text) {
  auto lower = std::string(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "a4") return Paper{9, 0, 0};
  if (lower == "letter") return Paper{1, 0, 0};
  if (lower.size() > 2 && lower.ends_with("mm")) lower.resize(lower.size() - 2);
  auto x = lower.find('x');
  Paper paper;
  if (x == std::string::npos || !ParseNumber(std::string_view(lower).substr(0, x), paper.widthMm) ||
      !ParseNumber(std::string_view(lower).substr(x + 1), paper.heightMm))
    return std::nullopt;
  return paper;
}

// The options that stand alone and set one switch of the job.
bool ParseSwitch(std::string_view arg, Options& options) {
  JobOptions& job = options.job;
  struct Switch {
    std::string_view name;
    std::optional<bool> JobOptions::*field;
    bool value;
  };
  static constexpr Switch kSwitches[] = {
      {"--pdfa", &JobOptions::pdfa, true},
      {"--no-pdfa", &JobOptions::pdfa, false},
      {"--overwrite", &JobOptions::overwrite, true},
      {"--no-overwrite", &JobOptions::overwrite, false},
      {"--default-name", &JobOptions::useDefaultName, true},
      {"--ask", &JobOptions::useDefaultName, false},
      {"--open", &JobOptions::openFile, true},
      {"--no-open", &JobOptions::openFile, false},
  };
  for (const Switch& s : kSwitches) {
    if (arg == s.name) {
      job.*s.field = s.value;
      return true;
    }
  }
  if (arg == "--keep-settings") {
    job.keepSettings = true;
  } else if (arg == "-h" || arg == "--help") {
    options.help = true;
  } else if (arg == "-v" || arg == "--verbose") {
    options.verbose = true;
  } else if (arg == "-q" || arg == "--quiet") {
    options.quiet = true;
  } else {
    return false;
  }
  return true;
}

constexpr std::string_view kValueOptions[] = {
    "-o", "--output", "--title", "--driver", "--paper", "--dpi", "--set", "--info-title",
    "--info-subject", "--info-author", "--info-keywords", "--info-creator", "--folder",
    "--pdf-version", "--embed", "--dump-surface", "--max-surface"};

bool TakesValue(std::string_view arg) {
  for (auto name : kValueOptions)
    if (arg == name) return true;
  return false;
}

// A whole number from `low` to `high` as an option's value; false with
// `error` set from `bad` otherwise.
bool WholeOption(const char* v, int low, int high, Msg bad, std::optional<int>& out, std::string* error) {
  int value = 0;
  if (!ParseWhole(v, low, high, value)) {
    *error = FormatMessage(bad, {v});
    return false;
  }
  out = value;
  return true;
}

// "printer.NAME" in any case: a value of the printer's data.
bool IsPrinterKey(std::string_view name) {
  constexpr std::string_view kPrefix = "printer.";
  if (name.size() <= kPrefix.size()) return false;
  for (size_t i = 0; i < kPrefix.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(name[i])) != kPrefix[i]) return false;
  return true;
}

// An option of kValueOptions with its value; false with `error` set when
// the value is wrong.
bool ParseValueOption(std::string_view arg, const char* v, Options& options, std::string* error) {
  JobOptions& job = options.job;
  std::optional<std::string>* text = nullptr;
  if (arg == "-o" || arg == "--output") text = &options.output;
  else if (arg == "--title") text = &options.title;
  else if (arg == "--driver") text = &options.driver;
  else if (arg == "--dump-surface") text = &options.dumpSurface;
  else if (arg == "--info-title") text = &job.infoTitle;
  else if (arg == "--info-subject") text = &job.infoSubject;
  else if (arg == "--info-author") text = &job.infoAuthor;
  else if (arg == "--info-keywords") text = &job.infoKeywords;
  else if (arg == "--info-creator") text = &job.infoCreator;
  else if (arg == "--folder") text = &job.folder;
  if (text) {
    *text = v;
    return true;
  }
  if (arg == "--paper") {
    options.paper = ParsePaper(v);
    if (!options.paper) *error = FormatMessage(Msg::BadPaper, {v});
    return options.paper.has_value();
  }
  if (arg == "--dpi") return WholeOption(v, 1, 32767, Msg::BadDpi, options.dpi, error);
  if (arg == "--max-surface") return WholeOption(v, 1, 1024, Msg::BadMaxSurface, options.maxSurfaceMb, error);
  if (arg == "--pdf-version") {
    job.pdfVersion = ParsePdfVersion(v);
    if (!job.pdfVersion) *error = FormatMessage(Msg::BadPdfVersion, {v});
    return job.pdfVersion.has_value();
  }
  if (arg == "--embed") {
    int mode = 0;
    if (!ParseWhole(v, 0, 3, mode)) {
      *error = FormatMessage(Msg::BadEmbed, {v});
      return false;
    }
    job.embed = mode;
    return true;
  }
  if (arg == "--set") {
    std::string_view setting(v);
    auto eq = setting.find('=');
    if (eq == 0 || eq == std::string_view::npos) {
      *error = FormatMessage(Msg::BadSet);
      return false;
    }
    std::string_view name = setting.substr(0, eq);
    // The overlay covers the user's settings only: a printer value would be
    // ignored without a word.
    if (IsPrinterKey(name)) {
      *error = FormatMessage(Msg::SetPrinterKey, {name, name});
      return false;
    }
    options.settings.emplace_back(std::string(name), std::string(setting.substr(eq + 1)));
    return true;
  }
  return false;
}

std::optional<ConfigCommand> ParseConfig(int argc, char** argv, std::string* error) {
  using Verb = ConfigCommand::Verb;
  ConfigCommand command;
  std::string_view verb = argc > 2 ? argv[2] : "";
  int operands = 0;
  if (verb == "list") {
    command.verb = Verb::List;
  } else if (verb == "get") {
    command.verb = Verb::Get, operands = 1;
  } else if (verb == "set") {
    command.verb = Verb::Set, operands = 2;
  } else if (verb == "unset") {
    command.verb = Verb::Unset, operands = 1;
  } else {
    *error = FormatMessage(Msg::ConfigUsage);
    return std::nullopt;
  }
  if (argc != 3 + operands) {
    *error = FormatMessage(Msg::ConfigUsage);
    return std::nullopt;
  }
  if (operands >= 1) command.name = argv[3];
  if (operands == 2) command.value = argv[4];
  return command;
}

}  // namespace

std::optional<int> ParsePdfVersion(std::string_view text) {
  if (text.size() == 3 && text[0] == '1' && text[1] == '.' && text[2] >= '3' && text[2] <= '7')
    return 10 + (text[2] - '0');
  return std::nullopt;
}

std::optional<Options> ParseOptions(int argc, char** argv, std::string* error) {
  Options options;
  if (argc > 1 && std::string_view(argv[1]) == "config") {
    options.config = ParseConfig(argc, argv, error);
    if (!options.config) return std::nullopt;
    return options;
  }
  for (int i = 1; i < argc; ++i) {
    std::string_view arg = argv[i];
    if (ParseSwitch(arg, options)) continue;
    if (TakesValue(arg)) {
      if (i + 1 >= argc) {
        *error = FormatMessage(Msg::NeedsValue, {arg});
        return std::nullopt;
      }
      if (!ParseValueOption(arg, argv[++i], options, error)) return std::nullopt;
      continue;
    }
    if (arg.size() > 1 && arg[0] == '-') {
      *error = FormatMessage(Msg::UnknownOption, {arg});
      return std::nullopt;
    }
    options.pages.emplace_back(arg);
  }
  if (!options.help && options.pages.empty()) {
    *error = FormatMessage(Msg::NoPages);
    return std::nullopt;
  }
  return options;
}

}  // namespace snk::print
