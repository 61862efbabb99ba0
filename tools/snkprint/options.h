// Command line of snkprint.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace snk::print {

struct Paper {
  int formNumber = 0;       // 1 Letter, 9 A4 in the printer's form list; 0 none
  double widthMm = 0;       // with formNumber 0: an explicit size
  double heightMm = 0;
};

struct Options {
  std::vector<std::string> pages;
  std::optional<std::string> output;
  std::optional<std::string> title;
  std::optional<Paper> paper;
  int dpi = 300;
  std::vector<std::pair<std::string, std::string>> settings;  // --set NAME=VALUE
  std::optional<std::string> driver;
  bool verbose = false;
  bool help = false;
};

// Parses argv; on error returns nullopt with a message for the user.
std::optional<Options> ParseOptions(int argc, char** argv, std::string* error);
const char* UsageText();

}  // namespace snk::print
