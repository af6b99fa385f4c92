#pragma once

#include <string>
#include <vector>

namespace vesk::client {

/// The argument and environment arrays of a new process, as `posix_spawn` takes them.
class SpawnLists {
 public:
  /// `changes` are "NAME=value" entries that come before those of `environment` of the same name.
  SpawnLists(const std::string& program, const std::vector<std::string>& arguments,
             const std::vector<std::string>& changes, char** environment) {
    arguments_.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& argument : arguments)
      arguments_.push_back(const_cast<char*>(argument.c_str()));
    arguments_.push_back(nullptr);
    for (const std::string& change : changes)
      environment_.push_back(const_cast<char*>(change.c_str()));
    for (char** entry = environment; entry != nullptr && *entry != nullptr; ++entry)
      if (!is_changed(*entry, changes)) environment_.push_back(*entry);
    environment_.push_back(nullptr);
  }

  char* const* arguments() const { return arguments_.data(); }
  char* const* environment() const { return environment_.data(); }

 private:
  static bool is_changed(const std::string& entry, const std::vector<std::string>& changes) {
    const std::string name = entry.substr(0, entry.find('=') + 1);
    for (const std::string& change : changes)
      if (change.starts_with(name)) return true;
    return false;
  }

  std::vector<char*> arguments_;
  std::vector<char*> environment_;
};

}  // namespace vesk::client
