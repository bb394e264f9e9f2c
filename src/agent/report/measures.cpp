#include "agent/report/measures.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <system_error>

namespace agent {
namespace {

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Three digits of it: "9.8", "97.7", "977"; beyond the last unit as many as there are.
std::string SizeText(uint64_t number, uint64_t step, const char* const (&units)[4]) {
  size_t unit = 0;
  uint64_t divisor = 1;
  while (unit + 1 < std::size(units) && number / divisor >= step) {
    divisor *= step;
    ++unit;
  }
  const double value = static_cast<double>(number) / static_cast<double>(divisor);
  const uint64_t tenths = static_cast<uint64_t>(std::llround(value * 10));
  if (unit == 0 || tenths >= 1000) {
    return std::to_string(std::llround(value)) + " " + units[unit];
  }
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " " + units[unit];
}

}  // namespace

std::optional<uint64_t> WholeNumber(std::string_view text) {
  const std::string_view digits = WithoutBlanks(text);
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return {};
  return number;
}

bool IsNumber(std::string_view text) {
  std::string_view rest = WithoutBlanks(text);
  if (rest.starts_with('-') || rest.starts_with('+')) rest.remove_prefix(1);
  const size_t point = rest.find('.');
  if (point == std::string_view::npos) return IsDigits(rest);
  return IsDigits(rest.substr(0, point)) && IsDigits(rest.substr(point + 1));
}

std::string DiskSizeText(uint64_t megabytes) {
  return SizeText(megabytes, 1000, {"MB", "GB", "TB", "PB"});
}

std::string MemorySizeText(uint64_t mebibytes) {
  return SizeText(mebibytes, 1024, {"MiB", "GiB", "TiB", "PiB"});
}

std::string DurationText(uint64_t seconds) {
  const uint64_t minutes = seconds / 60;
  const uint64_t hours = minutes / 60;
  const uint64_t days = hours / 24;
  if (days > 0) {
    return CountText(days, "day", "days") + " " + CountText(hours % 24, "hour", "hours");
  }
  if (hours > 0) {
    return CountText(hours, "hour", "hours") + " " + CountText(minutes % 60, "minute", "minutes");
  }
  return CountText(minutes, "minute", "minutes");
}

std::string CountText(uint64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

}  // namespace agent
