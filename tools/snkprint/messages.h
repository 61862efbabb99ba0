// The texts snkprint shows, each with the number it has in the language
// files (2300 to 2399 are snkprint's). "%s" marks where an argument goes.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace snk::print {

enum class Msg : int {
  Usage = 2300,
  NeedsValue = 2301,
  UnknownOption = 2302,
  NoPages = 2303,
  BadPaper = 2304,
  BadDpi = 2305,
  BadSet = 2306,
  BadPdfVersion = 2307,
  BadEmbed = 2308,
  SetPrinterKey = 2309,
  PageTooLarge = 2310,
  NotStarted = 2311,
  ProposedExists = 2312,
  DriverErrors = 2313,
  Printed = 2314,
  NotPlayed = 2315,
  DumpFailed = 2316,
  NoSurfaceBits = 2317,
  RecordErrors = 2318,
  SettingsFileFailed = 2320,
  SettingsFileKept = 2321,
  DefaultNameWithOutput = 2322,
  ConfigUsage = 2330,
  UnknownKey = 2331,
  WrongIntType = 2332,
  TextTooLong = 2333,
  WriteFailed = 2334,
  DefaultShown = 2335,
  WrongStoredType = 2336,
  FaceBlockSize = 2337,
  NoPrinter = 2338,
  PrinterValueReset = 2339,
  EmptyOutput = 2340,
  OutputIsInput = 2341,
  OutputTooLong = 2342,
  OutputExists = 2343,
  BatchWithOutput = 2344,
  EmptyTitle = 2345,
  PdfVersionNoHeader = 2346,
  OutputFailed = 2347,
  Interrupted = 2348,
  Progress = 2349,
  BadMaxSurface = 2350,
};

struct MessageEntry {
  Msg id;
  std::string_view text;
};

// Every message with its number, for the language files.
std::span<const MessageEntry> Messages();
// The English text of a message.
std::string_view MessageText(Msg id);
// The text with each "%s" replaced by the next argument in turn; missing
// arguments leave the "%s" as it stands.
std::string FormatMessage(Msg id, std::initializer_list<std::string_view> args = {});

}  // namespace snk::print
