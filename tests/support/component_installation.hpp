#pragma once

#include <filesystem>
#include <string>

namespace vesk::tests {

/// A folder of component bundles, sound and broken, that this process's registry looks into, and
/// nothing else of this machine. Made once, before the first search, and removed at exit.
class ComponentInstallation {
 public:
  /// `tone` is the built tone.component, `modules` the folder of the test's own provider module.
  ComponentInstallation(const std::string& tone, const std::string& modules);
  ~ComponentInstallation();
  ComponentInstallation(const ComponentInstallation&) = delete;
  ComponentInstallation& operator=(const ComponentInstallation&) = delete;

  const std::filesystem::path& root() const { return root_; }

 private:
  void add_bundle(const std::string& name, const std::string& info);

  std::filesystem::path root_;
};

/// An Info-gnustep.plist with the executable `executable` and the entries `entries`.
std::string info_plist(const std::string& executable, const std::string& entries);

/// One entry; an empty argument leaves its key out.
std::string plist_entry(const std::string& type, const std::string& subtype,
                        const std::string& name, const std::string& factory);

}  // namespace vesk::tests
