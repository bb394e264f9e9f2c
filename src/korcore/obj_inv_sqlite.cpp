#include "korcore/obj_inv_sqlite.h"

#include <string>

namespace {

// A path may hold what means something in a URI, or begin like one.
std::string UriOf(const KorString& path, std::string_view parameters) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~/";
  std::string uri = path.View().starts_with('/') ? "file://" : "file:";
  for (const char character : path.View()) {
    if (kPlain.find(character) != std::string_view::npos) {
      uri += character;
      continue;
    }
    const auto byte = static_cast<unsigned char>(character);
    uri += '%';
    uri += kDigits[byte >> 4];
    uri += kDigits[byte & 15];
  }
  return uri.append("?").append(parameters);
}

}  // namespace

SqliteDatabase SqliteOpen(const KorString& path, std::string_view parameters, KorString& error) {
  // The library's account of its memory takes a lock for each piece; nobody reads it.
  [[maybe_unused]] static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  sqlite3* opened = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
  const int result = sqlite3_open_v2(UriOf(path, parameters).c_str(), &opened, flags, nullptr);
  SqliteDatabase database(opened);
  if (result == SQLITE_OK) return database;
  error = database == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(database.get());
  return nullptr;
}
