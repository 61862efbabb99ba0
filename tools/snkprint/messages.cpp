#include "tools/snkprint/messages.h"

namespace snk::print {

namespace {

constexpr MessageEntry kMessages[] = {
    {Msg::Usage,
     "Usage: snkprint [options] PAGE.emf... [-o OUT.pdf]\n"
     "       snkprint config list | get NAME | set NAME VALUE | unset NAME\n"
     "\n"
     "Prints one job through the snk_drv printer driver, one page per EMF file.\n"
     "\n"
     "Options:\n"
     "  -o, --output FILE      the PDF to write (\".pdf\" is added if missing);\n"
     "                         without it the driver's save dialog proposes a name\n"
     "                         from the title and asks on a terminal. -o wins over\n"
     "                         --default-name and over a stored UseDefFileName\n"
     "  --title TEXT           the document name (default: the first file's name)\n"
     "  --paper A4|Letter|WIDTHxHEIGHTmm\n"
     "                         paper for every page, turned to suit each page,\n"
     "                         which is scaled to fit without distortion\n"
     "                         (default: each page on the paper of its frame)\n"
     "  --dpi N                resolution in dots per inch (default: the stored\n"
     "                         DPI value, else 300)\n"
     "\n"
     "Options for this job only (they win over --set and over stored values):\n"
     "  --info-title TEXT      document information: title\n"
     "  --info-author TEXT     document information: author\n"
     "  --info-subject TEXT    document information: subject\n"
     "  --info-keywords TEXT   document information: keywords\n"
     "  --info-creator TEXT    document information: creator application\n"
     "                         (any --info-* option turns document information on;\n"
     "                         the others come from the stored Doc* values)\n"
     "  --pdfa, --no-pdfa      write PDF/A-1b, or not\n"
     "  --pdf-version V        PDF version 1.3, 1.4, 1.5, 1.6 or 1.7\n"
     "  --embed N              font embedding: 0 none, 1 only the faces listed in\n"
     "                         printer.FFaces, 2 all fonts, 3 all but the standard\n"
     "                         faces\n"
     "  --folder DIR           the output folder; without -o and --ask the file\n"
     "                         goes there under the name made from the title\n"
     "  --overwrite            replace an existing file without asking\n"
     "  --no-overwrite         never replace an existing file silently\n"
     "  --default-name         do not ask: use the name made from the title, in the\n"
     "                         folder (--folder, the stored Folder, or the current\n"
     "                         folder)\n"
     "  --ask                  ask for the file name (the save dialog)\n"
     "  --open, --no-open      open the PDF when done, or not\n"
     "  --keep-settings        keep the job's settings file and print its path\n"
     "  --set NAME=VALUE       overrides one value of your printer settings for\n"
     "                         this run only (decimal numbers are stored as\n"
     "                         numbers, anything else as text); repeatable;\n"
     "                         not for the printer's values (printer.*)\n"
     "\n"
     "Other options:\n"
     "  --driver PATH          the driver module (default: snk_drv.so beside snkprint)\n"
     "  --dump-surface DIR     write each page's engine surface, as it stands when\n"
     "                         the page is sent, to DIR/page-0001.png, ...\n"
     "  --max-surface MB       the largest page surface the engine makes (default\n"
     "                         256); a larger page is printed without one, and\n"
     "                         what only the engine can draw is lost\n"
     "  -v, --verbose          report the records that were not played\n"
     "  -q, --quiet            no progress line (shown only on a terminal)\n"
     "  -h, --help             this text\n"
     "\n"
     "snkprint config keeps your stored settings: \"list\" shows every key with its\n"
     "type and value, \"get\" prints one value, \"set\" stores one, \"unset\" returns it\n"
     "to its default. Keys named printer.* are the printer's batch values;\n"
     "printer.FFaces takes a comma-separated list of font faces.\n"},
    {Msg::NeedsValue, "%s needs a value"},
    {Msg::UnknownOption, "unknown option %s"},
    {Msg::NoPages, "no pages to print"},
    {Msg::BadPaper, "unknown paper \"%s\" (A4, Letter or WIDTHxHEIGHTmm)"},
    {Msg::BadDpi, "--dpi needs a whole number from 1 to 32767, not \"%s\""},
    {Msg::BadSet, "--set needs NAME=VALUE"},
    {Msg::BadPdfVersion, "--pdf-version needs 1.3, 1.4, 1.5, 1.6 or 1.7, not \"%s\""},
    {Msg::BadEmbed, "--embed needs 0, 1, 2 or 3, not \"%s\""},
    {Msg::BadMaxSurface, "--max-surface needs a whole number of megabytes from 1 to 1024, not \"%s\""},
    {Msg::SetPrinterKey,
     "--set %s: the printer's batch values cannot be set for one job; store one with "
     "\"snkprint config set %s VALUE\""},
    {Msg::PageTooLarge, "the page is larger than 3276.7 mm; it is cut to that size"},
    {Msg::NotStarted, "the driver did not start the job; no file was written"},
    {Msg::ProposedExists, "the proposed file exists already; nothing was written (name the output with -o)"},
    {Msg::DriverErrors, "the driver reported errors; the document may be incomplete"},
    {Msg::Printed, "printed %s page(s)"},
    {Msg::NotPlayed, "records not played:"},
    {Msg::DumpFailed, "cannot write the page surface to %s: %s"},
    {Msg::NoSurfaceBits, "the page surface has no pixels in this mode (GDIPunt=0); nothing dumped"},
    {Msg::RecordErrors, "records skipped:"},
    {Msg::SettingsFileFailed,
     "could not make the settings file for this job; it goes on with the driver's defaults for "
     "document information, watermark and header and footer"},
    {Msg::SettingsFileKept, "settings file kept: %s"},
    {Msg::DefaultNameWithOutput, "--default-name is ignored: -o names the file"},
    {Msg::ConfigUsage, "usage: snkprint config list | get NAME | set NAME VALUE | unset NAME"},
    {Msg::UnknownKey, "unknown key \"%s\" (snkprint config list shows the known keys)"},
    {Msg::WrongIntType, "%s takes an int (a whole number, decimal or 0x hexadecimal, 32 bits), not \"%s\""},
    {Msg::TextTooLong, "%s takes a string of at most %s characters; \"%s\" is longer"},
    {Msg::WriteFailed, "could not store %s"},
    {Msg::DefaultShown, "(default: %s)"},
    {Msg::WrongStoredType, "(default: %s; the stored value is not of type %s and is not used)"},
    {Msg::FaceBlockSize, "the stored %s block claims %s bytes but holds %s; only what it holds is read"},
    {Msg::NoPrinter, "cannot open the printer \"%s\""},
    {Msg::PrinterValueReset, "%s cannot be removed from the printer's data; it is set to its default"},
    {Msg::EmptyOutput, "-o needs a file name"},
    {Msg::OutputIsInput, "the output %s is one of the pages to print; nothing was written"},
    {Msg::OutputTooLong,
     "the output path %s is longer than the driver takes (%s characters); nothing was written"},
    {Msg::OutputExists, "--no-overwrite: %s exists already; nothing was written"},
    {Msg::BatchWithOutput,
     "the printer is in batch mode, which names the file itself (printer.Folder, printer.DestName); -o is "
     "refused: leave it out, or turn batch mode off with \"snkprint config set printer.Batch 0\""},
    {Msg::EmptyTitle, "--title needs a text; an empty title would make the file \".pdf\""},
    {Msg::PdfVersionNoHeader,
     "warning: PDFVersion %s is not 13 to 17; the file will have no %PDF header line"},
    {Msg::OutputFailed, "cannot write %s: %s; a file that was there is unchanged"},
    {Msg::Interrupted, "interrupted; the output was not written and a file that was there is unchanged"},
    {Msg::Progress, "page %s of %s: %s"},
};

}  // namespace

std::span<const MessageEntry> Messages() { return kMessages; }

std::string_view MessageText(Msg id) {
  for (const auto& entry : kMessages)
    if (entry.id == id) return entry.text;
  return {};
}

std::string FormatMessage(Msg id, std::initializer_list<std::string_view> args) {
  std::string_view text = MessageText(id);
  std::string out;
  auto next = args.begin();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == 's' && next != args.end()) {
      out += *next++;
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace snk::print
