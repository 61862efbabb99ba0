#include "base/number_format.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace snk {

std::string FormatInteger(int64_t value) {
  char buf[24];
  auto r = std::to_chars(buf, buf + sizeof buf, value);
  return std::string(buf, r.ptr);
}

std::string FormatNumber(double value) {
  if (!std::isfinite(value)) value = 0;  // never write "inf" or "nan" into a file
  char buf[400];
  auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, 3);
  std::string text(buf, r.ptr);
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return text;
}

std::string FormatG(double value) {
  if (!std::isfinite(value)) value = 0;
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, 6);
  std::string text(buf, r.ptr);
  // to_chars writes the exponent with as few digits as needed ("1e+7");
  // printf's %g uses at least two ("1e+07").
  auto e = text.find('e');
  if (e != std::string::npos && text.size() - e == 3) text.insert(e + 2, "0");
  return text;
}

std::string FormatOffset(int32_t value) {
  std::string digits = FormatInteger(value < 0 ? -static_cast<int64_t>(value) : value);
  size_t width = value < 0 ? 9 : 10;
  if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
  return value < 0 ? "-" + digits : digits;
}

}  // namespace snk
