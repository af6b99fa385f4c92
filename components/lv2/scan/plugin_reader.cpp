#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/patch/patch.h>
#include <lv2/presets/presets.h>
#include <lv2/state/state.h>

#include <algorithm>
#include <tuple>

#include "components/lv2/scan/bundle_reader.hpp"

namespace vesk::lv2::scan {
namespace {

/// A few questions about one subject.
class Subject {
 public:
  Subject(LilvWorld* world, const LilvNode* node) : world_(world), node_(node) {}

  Nodes all(const char* predicate) const {
    const Node property(lilv_new_uri(world_, predicate));
    return Nodes(lilv_world_find_nodes(world_, node_, property.get(), nullptr));
  }
  Node one(const char* predicate) const {
    const Node property(lilv_new_uri(world_, predicate));
    return Node(lilv_world_get(world_, node_, property.get(), nullptr));
  }
  std::vector<std::string> uris(const char* predicate) const {
    std::vector<std::string> result;
    for_each(all(predicate).get(), [&](const LilvNode* node) {
      if (std::string uri = uri_of(node); !uri.empty()) result.push_back(std::move(uri));
    });
    std::ranges::sort(result);
    const auto repeated = std::ranges::unique(result);
    result.erase(repeated.begin(), repeated.end());
    return result;
  }

 private:
  LilvWorld* world_;
  const LilvNode* node_;
};

std::string folder_of(const std::string& file) {
  const auto slash = file.rfind('/');
  return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}

std::vector<Preset> read_presets(LilvWorld* world, const LilvPlugin* plugin) {
  std::vector<Preset> presets;
  const Node preset_class(lilv_new_uri(world, LV2_PRESETS__Preset));
  const Nodes nodes(lilv_plugin_get_related(plugin, preset_class.get()));
  for_each(nodes.get(), [&](const LilvNode* node) {
    const Subject subject(world, node);
    Preset preset;
    preset.uri = uri_of(node);
    if (preset.uri.empty()) return;
    preset.label = text_of(subject.one(LILV_NS_RDFS "label").get());
    if (preset.label.empty()) {
      // The label may stand in the preset's own file only.
      lilv_world_load_resource(world, node);
      preset.label = text_of(subject.one(LILV_NS_RDFS "label").get());
    }
    if (preset.label.empty()) preset.label = preset.uri;
    preset.bundle = folder_of(path_of(subject.one(LILV_NS_RDFS "seeAlso").get()));
    presets.push_back(std::move(preset));
  });
  std::ranges::sort(presets, {}, [](const Preset& p) { return std::tie(p.label, p.uri); });
  return presets;
}

std::vector<Editor> read_editors(LilvWorld* world, const LilvPlugin* plugin) {
  std::vector<Editor> editors;
  LilvUIs* uis = lilv_plugin_get_uis(plugin);
  LILV_FOREACH(uis, i, uis) {
    const LilvUI* ui = lilv_uis_get(uis, i);
    const LilvNode* uri = lilv_ui_get_uri(ui);
    // Features stand in files that the manifest only points at.
    lilv_world_load_resource(world, uri);
    const Subject subject(world, uri);
    Editor editor;
    editor.uri = uri_of(uri);
    for_each(lilv_ui_get_classes(ui), [&](const LilvNode* node) {
      const std::string class_uri = uri_of(node);
      // Some name the general class beside their own.
      if (editor.class_uri.empty() || editor.class_uri.ends_with("#UI"))
        editor.class_uri = class_uri;
    });
    editor.library = path_of(lilv_ui_get_binary_uri(ui));
    editor.bundle = path_of(lilv_ui_get_bundle_uri(ui));
    editor.required_features = subject.uris(LV2_CORE__requiredFeature);
    editors.push_back(std::move(editor));
  }
  lilv_uis_free(uis);
  std::ranges::sort(editors, {}, &Editor::uri);
  return editors;
}

std::vector<FileProperty> read_files(LilvWorld* world, const LilvNode* plugin) {
  std::vector<FileProperty> files;
  for (const std::string& uri : Subject(world, plugin).uris(LV2_PATCH__writable)) {
    const Node node(lilv_new_uri(world, uri.c_str()));
    const Subject property(world, node.get());
    if (uri_of(property.one(LILV_NS_RDFS "range").get()) != LV2_ATOM__Path) continue;
    std::string label = text_of(property.one(LILV_NS_RDFS "label").get());
    if (label.empty()) label = uri;
    files.push_back({uri, std::move(label)});
  }
  std::ranges::sort(files, {}, [](const FileProperty& f) { return std::tie(f.label, f.uri); });
  return files;
}

std::string author_of(const LilvPlugin* plugin) {
  const Node author(lilv_plugin_get_author_name(plugin));
  return text_of(author.get());
}

}  // namespace

Description describe_plugin(LilvWorld* world, const LilvPlugin* plugin) {
  const LilvNode* uri = lilv_plugin_get_uri(plugin);
  const Subject subject(world, uri);
  Description description;
  description.uri = uri_of(uri);
  description.ports = read_ports(world, plugin);
  description.library = path_of(lilv_plugin_get_library_uri(plugin));
  const Node name(lilv_plugin_get_name(plugin));
  description.name = text_of(name.get());
  if (description.name.empty()) description.name = description.uri;
  description.author = author_of(plugin);
  // lilv knows the tree of classes only where the specification bundles are installed.
  description.classes = subject.uris(LILV_NS_RDF "type");
  std::erase(description.classes, LV2_CORE__Plugin);
  description.minor_version = unsigned_of(subject.one(LV2_CORE__minorVersion).get());
  description.micro_version = unsigned_of(subject.one(LV2_CORE__microVersion).get());
  description.required_features = subject.uris(LV2_CORE__requiredFeature);
  description.editors = read_editors(world, plugin);
  description.files = read_files(world, uri);
  if (subject.one(LV2_STATE__state)) {
    if (const auto state = read_state(world, uri)) {
      // The port values of a plugin as its own state are the defaults of its ports again.
      description.default_state.properties = state->properties;
    }
  }
  // Last: labels may load one file a preset, and every file makes all that follows slower.
  description.presets = read_presets(world, plugin);
  return description;
}

}  // namespace vesk::lv2::scan
