#include "agent/transfer_windows.h"

#include <optional>
#include <string_view>

namespace agent {
namespace {

constexpr int kMinutesOfDay = 24 * 60;
constexpr time_t kSecondsOfMinute = 60;
constexpr time_t kLongestWait = 3 * 24 * 3600;

bool IsDigit(char byte) {
  return byte >= '0' && byte <= '9';
}

// "hh:mm".
std::optional<int> ParseTime(std::string_view text) {
  const bool isTime = text.size() == 5 && IsDigit(text[0]) && IsDigit(text[1]) && text[2] == ':' &&
                      IsDigit(text[3]) && IsDigit(text[4]);
  if (!isTime) return std::nullopt;
  const int hours = (text[0] - '0') * 10 + (text[1] - '0');
  const int minutes = (text[3] - '0') * 10 + (text[4] - '0');
  const int result = hours * 60 + minutes;
  if (minutes > 59 || result > kMinutesOfDay) return std::nullopt;
  return result;
}

int MinuteOfDay(time_t time) {
  tm local = {};
  localtime_r(&time, &local);
  return local.tm_hour * 60 + local.tm_min;
}

}  // namespace

Result<TransferWindows::Window> TransferWindows::ParseWindow(const KorString& text) {
  const std::string_view view = text.View();
  const size_t dash = view.find('-');
  const std::optional<int> begin = ParseTime(view.substr(0, dash));
  const std::optional<int> end =
      dash == std::string_view::npos ? std::nullopt : ParseTime(view.substr(dash + 1));
  Failure failure;
  if (!begin || !end || *begin == kMinutesOfDay) {
    failure.reason.Printf("'%S' is not a window such as 22:00-06:00", text);
    return failure;
  }
  if (*begin == *end) {
    failure.reason.Printf("the window '%S' is empty (the whole day is 00:00-24:00)", text);
    return failure;
  }
  return Window{*begin, *end};
}

Result<TransferWindows> TransferWindows::Parse(const KorString& text) {
  TransferWindows result;
  std::string_view rest = text.View();
  bool isMore = rest.find_first_not_of(" \t") != std::string_view::npos;
  while (isMore) {
    const size_t comma = rest.find(',');
    KorString piece(rest.substr(0, comma));
    piece.Trim();
    const Result<Window> window = ParseWindow(piece);
    if (!window.IsOk()) return Failure{window.Reason()};
    result.windows.push_back(window.Value());
    isMore = comma != std::string_view::npos;
    if (isMore) rest.remove_prefix(comma + 1);
  }
  return result;
}

bool TransferWindows::IsOpen(time_t time) const {
  const int minute = MinuteOfDay(time);
  for (const Window& window : windows) {
    const bool afterBegin = minute >= window.begin;
    const bool beforeEnd = minute < window.end;
    const bool overMidnight = window.end < window.begin;
    if (overMidnight ? afterBegin || beforeEnd : afterBegin && beforeEnd) return true;
  }
  return windows.empty();
}

time_t TransferWindows::NextOpening(time_t time) const {
  if (IsOpen(time)) return time;
  // Minute by minute, so that days of 23 and of 25 hours need no rule of their own.
  time_t candidate = time - time % kSecondsOfMinute + kSecondsOfMinute;
  const time_t last = candidate + kLongestWait;
  while (candidate < last && !IsOpen(candidate)) candidate += kSecondsOfMinute;
  return candidate;
}

}  // namespace agent
