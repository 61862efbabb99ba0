#include "tools/snkprint/options.h"

#include <charconv>
#include <cctype>
#include <cstring>
#include <string_view>

namespace snk::print {

const char* UsageText() {
  return "Usage: snkprint [options] PAGE.emf... -o OUT.pdf\n"
         "\n"
         "Prints one job through the snk_drv printer driver, one page per EMF file.\n"
         "\n"
         "Options:\n"
         "  -o, --output FILE      the PDF to write (\".pdf\" is added if missing);\n"
         "                         without it the driver's save dialog proposes a name\n"
         "                         from the title and asks on a terminal\n"
         "  --title TEXT           the document name (default: the first file's name)\n"
         "  --paper A4|Letter|WIDTHxHEIGHTmm\n"
         "                         paper size (default: the first page's frame)\n"
         "  --dpi N                resolution in dots per inch (default 300)\n"
         "  --set NAME=VALUE       overrides one value of your printer settings for\n"
         "                         this run only (decimal numbers are stored as\n"
         "                         numbers, anything else as text); repeatable\n"
         "  --driver PATH          the driver module (default: snk_drv.so beside snkprint)\n"
         "  -v, --verbose          report the records that were not played\n"
         "  -h, --help             this text\n";
}

namespace {

bool ParseNumber(std::string_view text, double& out) {
  auto r = std::from_chars(text.data(), text.data() + text.size(), out);
  return r.ec == std::errc() && r.ptr == text.data() + text.size() && out > 0;
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

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv, std::string* error) {
  Options options;
  auto fail = [&](std::string message) -> std::optional<Options> {
    *error = std::move(message);
    return std::nullopt;
  };
  for (int i = 1; i < argc; ++i) {
    std::string_view arg = argv[i];
    auto value = [&](const char* name) -> const char* {
      if (i + 1 >= argc) return nullptr;
      (void)name;
      return argv[++i];
    };
    if (arg == "-h" || arg == "--help") {
      options.help = true;
    } else if (arg == "-v" || arg == "--verbose") {
      options.verbose = true;
    } else if (arg == "-o" || arg == "--output" || arg == "--title" || arg == "--paper" ||
               arg == "--dpi" || arg == "--set" || arg == "--driver") {
      const char* v = value(argv[i]);
      if (!v) return fail(std::string(arg) + " needs a value");
      if (arg == "-o" || arg == "--output") {
        options.output = v;
      } else if (arg == "--title") {
        options.title = v;
      } else if (arg == "--driver") {
        options.driver = v;
      } else if (arg == "--paper") {
        options.paper = ParsePaper(v);
        if (!options.paper) return fail(std::string("unknown paper \"") + v + "\" (A4, Letter or WIDTHxHEIGHTmm)");
      } else if (arg == "--dpi") {
        std::string_view text(v);
        auto r = std::from_chars(text.data(), text.data() + text.size(), options.dpi);
        if (r.ec != std::errc() || r.ptr != text.data() + text.size() || options.dpi < 1 ||
            options.dpi > 32767)
          return fail(std::string("--dpi needs a whole number from 1 to 32767, not \"") + v + "\"");
      } else {
        std::string_view text(v);
        auto eq = text.find('=');
        if (eq == 0 || eq == std::string_view::npos) return fail("--set needs NAME=VALUE");
        options.settings.emplace_back(std::string(text.substr(0, eq)), std::string(text.substr(eq + 1)));
      }
    } else if (arg.size() > 1 && arg[0] == '-') {
      return fail("unknown option " + std::string(arg));
    } else {
      options.pages.emplace_back(arg);
    }
  }
  if (!options.help && options.pages.empty()) return fail("no pages to print");
  return options;
}

}  // namespace snk::print
