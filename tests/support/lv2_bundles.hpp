#pragma once

// LV2 bundles written for one test, in folders that go with it, and the environment that makes
// them all that is installed.

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {

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

/// Writes `text` with the prefixes that it may use.
inline void write_turtle(const std::filesystem::path& path, const std::string& text) {
  write_file(path, R"(
    @prefix atom: <http://lv2plug.in/ns/ext/atom#> .
    @prefix dman: <http://lv2plug.in/ns/ext/dynmanifest#> .
    @prefix doap: <http://usefulinc.com/ns/doap#> .
    @prefix foaf: <http://xmlns.com/foaf/0.1/> .
    @prefix lv2: <http://lv2plug.in/ns/lv2core#> .
    @prefix midi: <http://lv2plug.in/ns/ext/midi#> .
    @prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
    @prefix pset: <http://lv2plug.in/ns/ext/presets#> .
    @prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
    @prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
    @prefix rsz: <http://lv2plug.in/ns/ext/resize-port#> .
    @prefix state: <http://lv2plug.in/ns/ext/state#> .
    @prefix ui: <http://lv2plug.in/ns/extensions/ui#> .
    @prefix units: <http://lv2plug.in/ns/extensions/units#> .)" +
                       text);
}

/// Audio through: port 0 in, port 1 out, then whatever `more_ports` adds.
inline std::string through_ports(const std::string& more_ports = {}) {
  return R"(
    lv2:port [ a lv2:AudioPort, lv2:InputPort ; lv2:index 0 ; lv2:symbol "in" ; lv2:name "In" ] ,
    [ a lv2:AudioPort, lv2:OutputPort ; lv2:index 1 ; lv2:symbol "out" ; lv2:name "Out" ])" +
         more_ports;
}

/// Writes `folder`/manifest.ttl and plugin.ttl with one plugin; `body` follows its rdf:type.
inline void write_bundle(const std::filesystem::path& folder, const std::string& uri,
                         const std::string& body, const std::string& more_manifest = {}) {
  std::filesystem::create_directories(folder);
  const std::string plugin = "<" + uri + "> a lv2:Plugin ; ";
  write_turtle(folder / "manifest.ttl",
               plugin + "lv2:binary <plugin.so> ; rdfs:seeAlso <plugin.ttl> ." + more_manifest);
  write_turtle(folder / "plugin.ttl", plugin + body + " .");
}

/// A plugin named `name` that passes audio through.
inline void write_plain_bundle(const std::filesystem::path& folder, const std::string& uri,
                               const std::string& name, int micro_version = 0,
                               const std::string& more_manifest = {}) {
  write_bundle(folder, uri,
               "doap:name \"" + name + "\" ; lv2:minorVersion 2 ; lv2:microVersion " +
                   std::to_string(micro_version) + " ; " + through_ports(),
               more_manifest);
}

}  // namespace vesk::tests
