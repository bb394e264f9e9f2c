// The folder that holds the agent's settings (config/) and what it stores (data/).

#pragma once

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

struct Home {
  KorString path;  // absolute, without a trailing separator

  // Both end with "/". They stand beside each other: default settings name files in data/ by paths
  // relative to config/.
  KorString ConfigDir() const { return path + "/config/"; }
  KorString DataDir() const { return path + "/data/"; }
};

// KOR_AGENT_HOME of the environment, else /var/lib/kor-agent for root, else kor-agent in the XDG
// state folder.
Result<KorString> DefaultHomePath();

// Creates what is missing of the home, mode 0750, and refuses one that other users could change:
// the agent runs commands and reads its settings as its own user.
Result<Home> PrepareHome(const KorString& path);

// A home of its own, removed with all that is in it at the end.
class TemporaryHome {
 public:
  static Result<TemporaryHome> Create();
  ~TemporaryHome();
  TemporaryHome(TemporaryHome&& other) noexcept : path(std::exchange(other.path, KorString())) {}
  TemporaryHome(const TemporaryHome&) = delete;
  TemporaryHome& operator=(const TemporaryHome&) = delete;

  const KorString& Path() const { return path; }

 private:
  explicit TemporaryHome(const KorString& newPath) : path(newPath) {}

  KorString path;
};

}  // namespace agent
