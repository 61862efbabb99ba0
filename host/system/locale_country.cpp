// The Windows country code (the international dialling code that Windows
// keeps as iCountry; Canada is 2) for the territory of the user's locale.
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/system/registry.h"

namespace snk::host {
namespace {

struct Territory {
  const char* iso;   // ISO 3166-1 alpha-2
  const char* code;  // iCountry
};

// Letter countries first (North and Latin America), then common A4 ones.
constexpr Territory kTerritories[] = {
    {"US", "1"},   {"CA", "2"},   {"PR", "1"},  {"MX", "52"}, {"BR", "55"}, {"AR", "54"},  {"CL", "56"},
    {"CO", "57"},  {"VE", "58"},  {"PE", "51"}, {"PH", "63"}, {"GB", "44"}, {"IE", "353"}, {"DE", "49"},
    {"AT", "43"},  {"CH", "41"},  {"FR", "33"}, {"BE", "32"}, {"NL", "31"}, {"LU", "352"}, {"IT", "39"},
    {"ES", "34"},  {"PT", "351"}, {"DK", "45"}, {"SE", "46"}, {"NO", "47"}, {"FI", "358"}, {"PL", "48"},
    {"CZ", "420"}, {"HU", "36"},  {"GR", "30"}, {"RU", "7"},  {"TR", "90"}, {"JP", "81"},  {"CN", "86"},
    {"TW", "886"}, {"KR", "82"},  {"IN", "91"}, {"AU", "61"}, {"NZ", "64"}, {"ZA", "27"},
};

// The locale that governs paper sizes: LC_ALL overrides LC_PAPER, which
// overrides LANG, as POSIX orders them. Empty values count as unset.
const char* PaperLocale() {
  for (const char* name : {"LC_ALL", "LC_PAPER", "LANG"}) {
    const char* value = std::getenv(name);
    if (value && *value) return value;
  }
  return nullptr;
}

// "en_US.UTF-8@euro" -> "US"; empty when there is no territory.
std::string_view TerritoryOf(std::string_view locale) {
  size_t underscore = locale.find('_');
  if (underscore == std::string_view::npos) return {};
  std::string_view rest = locale.substr(underscore + 1);
  return rest.substr(0, rest.find_first_of(".@"));
}

}  // namespace

std::optional<std::string> CountryCodeFromLocale() {
  const char* locale = PaperLocale();
  if (!locale) return std::nullopt;
  std::string_view territory = TerritoryOf(locale);
  for (const Territory& t : kTerritories) {
    if (territory == t.iso) return std::string(t.code);
  }
  return std::nullopt;
}

}  // namespace snk::host
