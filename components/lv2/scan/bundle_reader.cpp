#include "components/lv2/scan/bundle_reader.hpp"

#include <lv2/core/lv2.h>
#include <lv2/dynmanifest/dynmanifest.h>
#include <lv2/presets/presets.h>

#include <algorithm>

#include "components/lv2/catalogue/classification.hpp"

namespace vesk::lv2::scan {
namespace {

const LilvPlugin* find_plugin(LilvWorld* world, const std::string& uri) {
  const Node node(lilv_new_uri(world, uri.c_str()));
  return node ? lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), node.get()) : nullptr;
}

std::int32_t version_of(LilvWorld* world, const LilvNode* plugin, const char* predicate) {
  const Node property(lilv_new_uri(world, predicate));
  const Node value(lilv_world_get(world, plugin, property.get(), nullptr));
  if (!value || !lilv_node_is_int(value.get())) return -1;
  return std::max(lilv_node_as_int(value.get()), -1);
}

}  // namespace

LilvWorld* BundleReader::open(std::vector<std::string> bundles) {
  if (world_ && bundles == open_bundles_) return world_.get();
  world_.reset();
  world_.reset(lilv_world_new());
  const Node no(lilv_new_bool(world_.get(), false));
  lilv_world_set_option(world_.get(), LILV_OPTION_DYN_MANIFEST, no.get());
  for (const std::string& bundle : bundles) {
    const Node uri(lilv_new_file_uri(world_.get(), nullptr, bundle.c_str()));
    lilv_world_load_bundle(world_.get(), uri.get());
  }
  open_bundles_ = std::move(bundles);
  return world_.get();
}

BundleMap BundleReader::map(const std::string& bundle) {
  LilvWorld* world = open({bundle});
  BundleMap map;
  const LilvPlugins* plugins = lilv_world_get_all_plugins(world);
  LILV_FOREACH(plugins, i, plugins) {
    const LilvNode* uri = lilv_plugin_get_uri(lilv_plugins_get(plugins, i));
    map.plugins.push_back({uri_of(uri), version_of(world, uri, LV2_CORE__minorVersion),
                           version_of(world, uri, LV2_CORE__microVersion)});
  }
  const Node type(lilv_new_uri(world, LILV_NS_RDF "type"));
  const Node preset(lilv_new_uri(world, LV2_PRESETS__Preset));
  const Node applies_to(lilv_new_uri(world, LV2_CORE__appliesTo));
  const Nodes presets(lilv_world_find_nodes(world, nullptr, type.get(), preset.get()));
  for_each(presets.get(), [&](const LilvNode* subject) {
    const Node target(lilv_world_get(world, subject, applies_to.get(), nullptr));
    if (std::string uri = uri_of(target.get()); !uri.empty()) map.presets_for.push_back(uri);
  });
  std::ranges::sort(map.presets_for);
  const auto repeated = std::ranges::unique(map.presets_for);
  map.presets_for.erase(repeated.begin(), repeated.end());
  // Its plugins would be what a library of its says at the moment: nothing tells when that changes,
  // and such a library wants to be asked again before it makes one of them.
  const Node dynamic(lilv_new_uri(world, LV2_DYN_MANIFEST_PREFIX "DynManifest"));
  const Nodes makers(lilv_world_find_nodes(world, nullptr, type.get(), dynamic.get()));
  if (lilv_nodes_size(makers.get()) > 0) map.failure = "is dynamic, which is not supported";
  return map;
}

std::optional<PluginRecord> BundleReader::describe(const std::string& bundle,
                                                   const std::vector<std::string>& extra_bundles,
                                                   const std::string& uri) {
  std::vector<std::string> bundles{bundle};
  bundles.insert(bundles.end(), extra_bundles.begin(), extra_bundles.end());
  LilvWorld* world = open(std::move(bundles));
  const LilvPlugin* plugin = find_plugin(world, uri);
  if (!plugin) return {};
  PluginRecord record;
  // Stamps first: a file changed while it is read must not pass for the one that was read.
  for_each(lilv_plugin_get_data_uris(plugin), [&](const LilvNode* file) {
    std::string path = path_of(file);
    if (!path.empty() && path != bundle + "manifest.ttl")
      record.sources.push_back(take_stamp(std::move(path)));
  });
  record.description = describe_plugin(world, plugin);
  record.description.bundle = bundle;
  for (Preset& preset : record.description.presets)
    if (preset.bundle.empty()) preset.bundle = bundle;
  classify(record.description);
  return record;
}

std::optional<State> BundleReader::preset(const std::string& bundle,
                                          const std::string& preset_bundle,
                                          const std::string& plugin_uri,
                                          const std::string& preset_uri) {
  std::vector<std::string> bundles{bundle};
  if (preset_bundle != bundle) bundles.push_back(preset_bundle);
  LilvWorld* world = open(std::move(bundles));
  const Node subject(lilv_new_uri(world, preset_uri.c_str()));
  const Node plugin(lilv_new_uri(world, plugin_uri.c_str()));
  if (!subject || !plugin) return {};
  // Where the manifest names no file for the preset it stands among the plugin's own data.
  if (lilv_world_load_resource(world, subject.get()) < 1)
    lilv_world_load_resource(world, plugin.get());
  return read_state(world, subject.get());
}

}  // namespace vesk::lv2::scan
