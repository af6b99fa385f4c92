#pragma once

// LV2 bundles written for one test, in folders that go with it, and the environment that makes
// them all that is installed.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {

struct TemporaryFolder : ScratchFolder {
  std::filesystem::path path() const { return ScratchFolder::path(); }
};

/// Sets a variable for as long as it lives.
class Environment {
 public:
  Environment(std::string name, const std::string& value) : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) before_ = before;
    ::setenv(name_.c_str(), value.c_str(), 1);
  }
  ~Environment() {
    if (before_)
      ::setenv(name_.c_str(), before_->c_str(), 1);
    else
      ::unsetenv(name_.c_str());
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

inline void write_file(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path) << text;
}

/// Dates everything under `folder` well back, each call at another time: what has only just
/// changed is never trusted to stay.
inline void settle(const std::filesystem::path& folder) {
  static int calls = 0;
  const auto time = std::filesystem::file_time_type::clock::now() - std::chrono::seconds(1000) +
                    std::chrono::seconds(++calls);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    std::filesystem::last_write_time(entry.path(), time);
  std::filesystem::last_write_time(folder, time);
}

inline constexpr const char* prefixes =
    "@prefix atom: <http://lv2plug.in/ns/ext/atom#> .\n"
    "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
    "@prefix foaf: <http://xmlns.com/foaf/0.1/> .\n"
    "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
    "@prefix midi: <http://lv2plug.in/ns/ext/midi#> .\n"
    "@prefix patch: <http://lv2plug.in/ns/ext/patch#> .\n"
    "@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .\n"
    "@prefix pset: <http://lv2plug.in/ns/ext/presets#> .\n"
    "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n"
    "@prefix rsz: <http://lv2plug.in/ns/ext/resize-port#> .\n"
    "@prefix state: <http://lv2plug.in/ns/ext/state#> .\n"
    "@prefix ui: <http://lv2plug.in/ns/extensions/ui#> .\n"
    "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n";

/// Audio through: port 0 in, port 1 out, then whatever `more_ports` adds.
inline std::string through_ports(const std::string& more_ports = {}) {
  return "lv2:port [ a lv2:AudioPort, lv2:InputPort ; lv2:index 0 ; lv2:symbol \"in\" ;\n"
         "  lv2:name \"In\" ] , [ a lv2:AudioPort, lv2:OutputPort ; lv2:index 1 ;\n"
         "  lv2:symbol \"out\" ; lv2:name \"Out\" ]" +
         more_ports;
}

/// Writes `folder`/manifest.ttl and plugin.ttl with one plugin; `body` follows its rdf:type.
inline void write_bundle(const std::filesystem::path& folder, const std::string& uri,
                         const std::string& body, const std::string& more_manifest = {}) {
  std::filesystem::create_directories(folder);
  write_file(folder / "manifest.ttl", std::string(prefixes) + "<" + uri +
                                          "> a lv2:Plugin ; lv2:binary <plugin.so> ; "
                                          "rdfs:seeAlso <plugin.ttl> .\n" +
                                          more_manifest);
  write_file(folder / "plugin.ttl",
             std::string(prefixes) + "<" + uri + "> a lv2:Plugin ; " + body + " .\n");
}

/// A plugin named `name` that passes audio through.
inline void write_plain_bundle(const std::filesystem::path& folder, const std::string& uri,
                               const std::string& name, int micro_version = 0) {
  write_bundle(folder, uri,
               "doap:name \"" + name + "\" ; lv2:minorVersion 2 ; lv2:microVersion " +
                   std::to_string(micro_version) + " ; " + through_ports());
}

}  // namespace vesk::tests
