#include "components/lv2/scan/update.hpp"

#include <algorithm>
#include <map>
#include <set>

#include "components/lv2/catalogue/search_path.hpp"
#include "components/lv2/scan/worker.hpp"

namespace vesk::lv2::scan {
namespace {

constexpr std::size_t maps_a_chunk = 40;
// Small enough that two processors share the one bundle that holds a fifth of all plugins.
constexpr std::size_t descriptions_a_chunk = 16;

bool holds(const Bundle& bundle) {
  return still_holds(bundle.folder) && still_holds(bundle.manifest);
}

std::optional<BundleMap> decode_map(const Bytes& payload) {
  ByteReader from(payload);
  BundleMap map = decode_bundle_map(from);
  if (!from.ok() || !from.at_end()) return {};
  return map;
}

class Update {
 public:
  Update(const std::optional<CatalogueImage>& known, const Progress& progress)
      : known_(known), progress_(progress) {}

  Installed run(const Wish& wish) {
    list_bundles();
    map_new_bundles();
    make_entries();
    take_over_records();
    describe(wish);
    catalogue_.assign_codes();
    return {std::move(catalogue_), std::move(records_), changed_};
  }

 private:
  const Catalogue* old() const { return known_ ? &known_->catalogue() : nullptr; }

  void list_bundles() {
    std::map<std::string_view, const Bundle*> old_bundles;
    if (old())
      for (const Bundle& bundle : old()->bundles) old_bundles[bundle.folder.path] = &bundle;
    for (const std::string& folder : search_path()) {
      // Before it is listed: a bundle that comes meanwhile must make the stamp wrong.
      catalogue_.folders.push_back(stamped(folder));
      for (std::string& path : bundles_in(folder)) {
        const auto found = old_bundles.find(path);
        if (found != old_bundles.end() && holds(*found->second)) {
          catalogue_.bundles.push_back(*found->second);
          continue;
        }
        Bundle bundle;
        bundle.folder = stamped(path);
        bundle.manifest = stamped(path + "manifest.ttl");
        new_bundles_.push_back(catalogue_.bundles.size());
        catalogue_.bundles.push_back(std::move(bundle));
      }
    }
    changed_ = !old() || !new_bundles_.empty() ||
               old()->bundles.size() != catalogue_.bundles.size() || !all_hold(old()->folders);
  }

  void map_new_bundles() {
    std::vector<Job> jobs;
    jobs.reserve(new_bundles_.size());
    for (const std::size_t index : new_bundles_)
      jobs.push_back({Job::Kind::map, catalogue_.bundles[index].folder.path, {}});
    run_jobs(jobs, maps_a_chunk, [&](std::size_t job, const JobResult& result) {
      Bundle& bundle = catalogue_.bundles[new_bundles_[job]];
      bundle.failure = result.failure;
      std::optional<BundleMap> map = decode_map(result.payload);
      if (map) bundle.map = std::move(*map);
      if (result.failure.empty() && !map) {
        bundle.failure = "gave its reader nothing to work with";
      } else if (bundle.map.plugins.empty() && bundle.map.presets_for.empty() &&
                 !result.noise.empty()) {
        bundle.failure = "has errors: " + result.noise.substr(0, result.noise.find('\n'));
      }
      tell(bundle.folder.path, result);
    });
  }

  void make_entries() {
    std::map<std::string, std::vector<std::uint32_t>> homes;
    std::map<std::string, std::vector<std::uint32_t>> preset_homes;
    for (std::uint32_t i = 0; i < catalogue_.bundles.size(); ++i) {
      for (const MappedPlugin& plugin : catalogue_.bundles[i].map.plugins)
        homes[plugin.uri].push_back(i);
      for (const std::string& uri : catalogue_.bundles[i].map.presets_for)
        preset_homes[uri].push_back(i);
    }
    ask_versions(homes);
    for (const auto& [uri, bundles] : homes) {
      Entry entry(uri);
      entry.bundle = winner(uri, bundles);
      entry.watched = bundles;
      for (const std::uint32_t bundle : preset_homes[uri])
        if (std::ranges::find(entry.watched, bundle) == entry.watched.end())
          entry.watched.push_back(bundle);
      catalogue_.entries.push_back(std::move(entry));
    }
    records_.resize(catalogue_.entries.size());
  }

  MappedPlugin& mapped(std::uint32_t bundle, const std::string& uri) {
    return *std::ranges::find(catalogue_.bundles[bundle].map.plugins, uri, &MappedPlugin::uri);
  }

  /// Manifests need not tell versions. Where two bundles hold one plugin its data must.
  void ask_versions(const std::map<std::string, std::vector<std::uint32_t>>& homes) {
    std::vector<Job> jobs;
    std::vector<MappedPlugin*> asked;
    for (const auto& [uri, bundles] : homes) {
      if (bundles.size() < 2) continue;
      for (const std::uint32_t bundle : bundles) {
        MappedPlugin& plugin = mapped(bundle, uri);
        if (plugin.minor_version >= 0 && plugin.micro_version >= 0) continue;
        jobs.push_back({Job::Kind::describe, catalogue_.bundles[bundle].folder.path, {}, uri});
        asked.push_back(&plugin);
      }
    }
    run_jobs(jobs, descriptions_a_chunk, [&](std::size_t job, const JobResult& result) {
      asked[job]->minor_version = asked[job]->micro_version = 0;
      if (const auto record = decode_record(result.payload)) {
        asked[job]->minor_version = static_cast<std::int32_t>(record->description.minor_version);
        asked[job]->micro_version = static_cast<std::int32_t>(record->description.micro_version);
      }
    });
  }

  std::uint32_t winner(const std::string& uri, const std::vector<std::uint32_t>& bundles) {
    std::uint32_t best = bundles.front();
    for (const std::uint32_t bundle : bundles) {
      const MappedPlugin& plugin = mapped(bundle, uri);
      const MappedPlugin& other = mapped(best, uri);
      if (std::pair(plugin.minor_version, plugin.micro_version) >
          std::pair(other.minor_version, other.micro_version)) {
        best = bundle;
      }
    }
    return best;
  }

  std::vector<std::string_view> watched_paths(const Catalogue& catalogue, const Entry& entry) {
    std::vector<std::string_view> paths{catalogue.bundles[entry.bundle].folder.path};
    for (const std::uint32_t index : entry.watched)
      paths.push_back(catalogue.bundles[index].folder.path);
    return paths;
  }

  void take_over_records() {
    if (!known_) return;
    const std::set<std::size_t> is_new(new_bundles_.begin(), new_bundles_.end());
    for (std::size_t i = 0; i < catalogue_.entries.size(); ++i) {
      Entry& entry = catalogue_.entries[i];
      const Entry* before = known_->catalogue().find_uri(entry.uri);
      if (!before || !before->described) continue;
      if (std::ranges::any_of(entry.watched, [&](auto b) { return is_new.contains(b); }) ||
          watched_paths(catalogue_, entry) != watched_paths(known_->catalogue(), *before)) {
        continue;
      }
      auto bytes = known_->record_bytes(*before);
      if (!bytes) continue;
      const auto record = decode_record(*bytes);
      if (!record || !all_hold(record->sources)) continue;
      set_record(i, *record, std::move(*bytes));
    }
  }

  void set_record(std::size_t index, const PluginRecord& record, Bytes bytes) {
    summarise(catalogue_.entries[index], record.description);
    records_[index] = std::move(bytes);
  }

  std::vector<std::size_t> lacking(const Wish& wish) const {
    const Entry* one = wish.code != 0      ? catalogue_.find_code(wish.code)
                       : !wish.uri.empty() ? catalogue_.find_uri(wish.uri)
                                           : nullptr;
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < catalogue_.entries.size(); ++i) {
      const Entry& entry = catalogue_.entries[i];
      if (!entry.described && (wish.everything || &entry == one)) indices.push_back(i);
    }
    // Neighbours in a bundle share the reading of its manifest.
    std::ranges::sort(indices, {},
                      [&](std::size_t i) { return std::pair(catalogue_.entries[i].bundle, i); });
    return indices;
  }

  Job description_job(const Entry& entry) const {
    Job job{Job::Kind::describe, catalogue_.bundles[entry.bundle].folder.path, {}, entry.uri};
    for (const std::uint32_t index : entry.watched) {
      const Bundle& bundle = catalogue_.bundles[index];
      if (index != entry.bundle && std::ranges::binary_search(bundle.map.presets_for, entry.uri))
        job.extra_bundles.push_back(bundle.folder.path);
    }
    return job;
  }

  void describe(const Wish& wish) {
    const std::vector<std::size_t> indices = lacking(wish);
    if (indices.empty()) return;
    changed_ = true;
    std::vector<Job> jobs;
    jobs.reserve(indices.size());
    for (const std::size_t index : indices)
      jobs.push_back(description_job(catalogue_.entries[index]));
    std::size_t done = 0;
    run_jobs(jobs, descriptions_a_chunk, [&](std::size_t job, const JobResult& result) {
      auto record = decode_record(result.payload);
      if (!record) record = failed_record(jobs[job], result.failure);
      set_record(indices[job], *record, encode_record(*record));
      tell(jobs[job].uri, result);
      if (progress_.step) progress_.step(++done, jobs.size());
    });
  }

  /// What crashed its reader once is not read again before its bundle changes.
  static PluginRecord failed_record(const Job& job, const std::string& failure) {
    PluginRecord record;
    record.description.uri = record.description.name = job.uri;
    record.description.bundle = job.bundle;
    record.description.not_hosted =
        failure.empty() ? "its description cannot be read" : "its description " + failure;
    return record;
  }

  void tell(const std::string& what, const JobResult& result) const {
    if (progress_.noise && !result.noise.empty()) progress_.noise(what, result.noise);
  }

  const std::optional<CatalogueImage>& known_;
  const Progress& progress_;
  Catalogue catalogue_;
  std::vector<Bytes> records_;
  std::vector<std::size_t> new_bundles_;
  bool changed_ = false;
};

}  // namespace

Installed update(const std::optional<CatalogueImage>& known, const Wish& wish,
                 const Progress& progress) {
  return Update(known, progress).run(wish);
}

}  // namespace vesk::lv2::scan
