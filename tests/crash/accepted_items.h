// Everything that was ever accepted for delivery from one home, wherever it is now.

#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

// Where complaints go, a line each.
using Complain = std::function<void(const std::string&)>;

class AcceptedItems {
 public:
  struct Item {
    std::filesystem::path content;  // empty: there is none
    bool isDelivered = false;
  };

  // Reads the home's queue and its upstream folder. Complains of items that are damaged, of what is
  // in the wrong order and of what the log says was accepted and is not there.
  AcceptedItems(const std::filesystem::path& dataFolder, const Complain& complainer);

  // In the order in which they were accepted.
  const std::map<std::string, Item>& All() const { return items; }

  // Complains of what a run that ended well leaves nothing of: items that wait, files of items that
  // were never accepted.
  void ExpectAllDelivered() const;

 private:
  void Read(const std::filesystem::path& folder, const char* contentExtension, bool isDelivered);
  void CheckItem(const std::filesystem::path& meaning, const std::filesystem::path& content);
  void CheckOrder() const;
  void CheckLog(const std::filesystem::path& file) const;

  const Complain& complain;
  std::map<std::string, Item> items;
  std::set<std::string> waiting;
  std::set<std::string> delivered;
  std::set<std::filesystem::path> orphans;  // contents without a meaning
};
