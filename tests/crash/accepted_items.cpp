#include "accepted_items.h"

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "kor/file.h"

namespace fs = std::filesystem;

AcceptedItems::AcceptedItems(const fs::path& dataFolder, const Complain& complainer)
    : complain(complainer) {
  Read(dataFolder / "queue/files", ".payload", false);
  Read(dataFolder / "queue/actions", ".payload", false);
  Read(dataFolder / "upstream", ".data", true);
  CheckOrder();
  for (const fs::directory_entry& entry : fs::directory_iterator(dataFolder)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with("kor-agent") && name.ends_with(".log")) CheckLog(entry.path());
  }
}

void AcceptedItems::Read(const fs::path& folder, const char* contentExtension, bool isDelivered) {
  if (!fs::exists(folder)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const fs::path& path = entry.path();
    const std::string id = path.stem().string();
    const bool isHidden = path.filename().string().starts_with('.');
    if (path.extension() == contentExtension && !isHidden) {
      if (!fs::exists(folder / (id + ".json"))) orphans.insert(path);
    } else if (path.extension() == ".json" && !isHidden) {
      const fs::path content = folder / (id + contentExtension);
      CheckItem(path, content);
      (isDelivered ? delivered : waiting).insert(id);
      items[id] = {fs::exists(content) ? content : fs::path(), isDelivered};
    }
  }
}

void AcceptedItems::CheckItem(const fs::path& meaning, const fs::path& content) {
  std::ifstream file(meaning, std::ios::binary);
  const nlohmann::json json = nlohmann::json::parse(file, nullptr, false);
  if (!json.is_object() || !json.contains("Id") || json["Id"] != meaning.stem().string()) {
    complain(meaning.string() + ": not the meaning of this item");
    return;
  }
  if (!json.contains("Size")) return;
  const KorString path(content.string());
  if (json["Size"] != FileGetSize(path)) complain(path.Str() + ": not of the size that was said");
  if (json["MD5"] != FileMd5(path).Str()) complain(path.Str() + ": not with the sum that was said");
}

// One that is delivered and still waits was on its way when the end came.
void AcceptedItems::CheckOrder() const {
  if (waiting.empty() || delivered.empty()) return;
  if (*waiting.begin() < *delivered.rbegin()) {
    complain(*waiting.begin() + " waits, and " + *delivered.rbegin() +
             ", accepted later, does not");
  }
}

void AcceptedItems::CheckLog(const fs::path& file) const {
  constexpr size_t kIdLength = 57;
  constexpr std::string_view kAccepted = " waits for delivery as ";
  std::ifstream lines(file, std::ios::binary);
  for (std::string line; std::getline(lines, line);) {
    const size_t at = line.find(kAccepted);
    if (at == std::string::npos) continue;
    const std::string id = line.substr(at + kAccepted.size());
    // The end may have come in the middle of the line.
    if (id.size() == kIdLength && !items.contains(id)) complain(id + " was accepted and is lost");
  }
}

void AcceptedItems::ExpectAllDelivered() const {
  for (const auto& [id, item] : items) {
    if (!item.isDelivered || waiting.contains(id)) complain(id + " still waits");
  }
  for (const fs::path& path : orphans) complain(path.string() + ": a leftover");
}
