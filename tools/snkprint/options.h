// Command line of snkprint: a print job, or "config" and its verb.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace snk::print {

struct Paper {
  int formNumber = 0;       // 1 Letter, 9 A4 in the printer's form list; 0 none
  double widthMm = 0;       // with formNumber 0: an explicit size
  double heightMm = 0;
};

// What the user chose for this job only. Unset fields keep the stored
// settings (or what --set gives).
struct JobOptions {
  std::optional<std::string> infoTitle, infoSubject, infoAuthor, infoKeywords, infoCreator;
  std::optional<bool> pdfa;
  std::optional<int> pdfVersion;  // 13 to 17
  std::optional<int> embed;       // 0 to 3
  std::optional<std::string> folder;
  std::optional<bool> overwrite;
  std::optional<bool> useDefaultName;  // --default-name true, --ask false
  std::optional<bool> openFile;
  bool keepSettings = false;

  bool AddsDocumentInfo() const {
    return infoTitle || infoSubject || infoAuthor || infoKeywords || infoCreator;
  }
};

struct ConfigCommand {
  enum class Verb { List, Get, Set, Unset };
  Verb verb = Verb::List;
  std::string name;
  std::string value;
};

struct Options {
  std::vector<std::string> pages;
  std::optional<std::string> output;
  std::optional<std::string> title;
  std::optional<Paper> paper;
  std::optional<int> dpi;
  std::vector<std::pair<std::string, std::string>> settings;  // --set NAME=VALUE
  JobOptions job;
  std::optional<std::string> driver;
  std::optional<std::string> dumpSurface;  // folder for each page's surface as PNG
  std::optional<int> maxSurfaceMb;         // the largest page surface the host makes
  bool verbose = false;
  bool quiet = false;  // no progress line
  bool help = false;
  std::optional<ConfigCommand> config;  // "snkprint config ..."
};

// Parses argv; on error returns nullopt with a message for the user.
std::optional<Options> ParseOptions(int argc, char** argv, std::string* error);
// Parses "1.3".."1.7" into 13..17.
std::optional<int> ParsePdfVersion(std::string_view text);
const char* UsageText();

}  // namespace snk::print
