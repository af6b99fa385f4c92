#include "components/lv2/scan/update.hpp"

#include <algorithm>
#include <map>

#include "components/lv2/catalogue/record.hpp"
#include "components/lv2/catalogue/search_path.hpp"
#include "components/lv2/scan/jobs.hpp"

namespace vesk::lv2::scan {
namespace {

using BundleNumbers = std::vector<std::uint32_t>;

Job description_job(const std::string& bundle, const std::vector<std::string>& extra_bundles,
                    const std::string& uri) {
  return [=](BundleReader& reader) {
    const auto record = reader.describe(bundle, extra_bundles, uri);
    return record ? encode(*record) : Bytes();
  };
}

/// What crashed its reader once is not read again before its bundle changes.
PluginRecord failed_record(const std::string& uri, const std::string& bundle,
                           const std::string& reason) {
  PluginRecord record;
  record.description.uri = record.description.name = uri;
  record.description.bundle = bundle;
  record.description.not_hosted = reason;
  return record;
}

class Update {
 public:
  Update(const std::optional<CacheFile>& known, const Progress& progress)
      : known_(known), progress_(progress) {}

  Installed run(const Request& request) {
    list_bundles();
    map_new_bundles();
    make_entries();
    take_over_records();
    describe(request);
    index_.assign_codes();
    return {std::move(index_), std::move(records_), changed_};
  }

 private:
  const Index* old() const { return known_ ? &known_->index() : nullptr; }
  const std::string& path_of(std::uint32_t bundle) const {
    return index_.bundles[bundle].folder.path;
  }

  void list_bundles() {
    std::map<std::string_view, const Bundle*> old_bundles;
    if (old())
      for (const Bundle& bundle : old()->bundles) old_bundles[bundle.folder.path] = &bundle;
    for (const std::string& folder : search_path()) {
      // Before it is listed: a bundle that comes meanwhile must make the stamp wrong.
      index_.folders.push_back(take_stamp(folder));
      for (const std::string& path : bundles_in(folder)) {
        const auto found = old_bundles.find(path);
        if (found != old_bundles.end() && found->second->still_holds()) {
          index_.bundles.push_back(*found->second);
          continue;
        }
        new_bundles_.push_back(static_cast<std::uint32_t>(index_.bundles.size()));
        index_.bundles.push_back({take_stamp(path), take_stamp(path + "manifest.ttl"), {}});
      }
    }
    changed_ = !old() || !new_bundles_.empty() || old()->bundles.size() != index_.bundles.size() ||
               !all_hold(old()->folders);
  }

  void map_new_bundles() {
    std::vector<Job> jobs;
    for (const std::uint32_t bundle : new_bundles_) {
      jobs.emplace_back(
          [path = path_of(bundle)](BundleReader& reader) { return encode(reader.map(path)); });
    }
    run_jobs(jobs, [&](std::size_t job, const JobResult& result) {
      Bundle& bundle = index_.bundles[new_bundles_[job]];
      BundleMap& map = bundle.map;
      map = decode<BundleMap>(result.payload).value_or(BundleMap());
      if (!result.failure.empty())
        map.failure = result.failure;
      else if (map.failure.empty() && map.plugins.empty() && map.presets_for.empty() &&
               !result.printed.empty())
        map.failure = "has errors: " + result.printed.substr(0, result.printed.find('\n'));
      if (result.is_passing) bundle.manifest.mtime_ns = Stamp::unsettled;
      tell(bundle.folder.path, result);
    });
  }

  void make_entries() {
    std::map<std::string, BundleNumbers> homes;
    std::map<std::string, BundleNumbers> preset_homes;
    for (std::uint32_t i = 0; i < index_.bundles.size(); ++i) {
      for (const MappedPlugin& plugin : index_.bundles[i].map.plugins)
        homes[plugin.uri].push_back(i);
      for (const std::string& uri : index_.bundles[i].map.presets_for)
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
      index_.entries.push_back(std::move(entry));
    }
    records_.resize(index_.entries.size());
  }

  MappedPlugin& mapped(std::uint32_t bundle, const std::string& uri) {
    return *std::ranges::find(index_.bundles[bundle].map.plugins, uri, &MappedPlugin::uri);
  }

  /// Manifests need not tell versions. Where two bundles hold one plugin its data must.
  void ask_versions(const std::map<std::string, BundleNumbers>& homes) {
    std::vector<Job> jobs;
    std::vector<MappedPlugin*> asked;
    for (const auto& [uri, bundles] : homes) {
      if (bundles.size() < 2) continue;
      for (const std::uint32_t bundle : bundles) {
        MappedPlugin& plugin = mapped(bundle, uri);
        if (plugin.minor_version >= 0 && plugin.micro_version >= 0) continue;
        jobs.push_back(description_job(path_of(bundle), {}, uri));
        asked.push_back(&plugin);
      }
    }
    run_jobs(jobs, [&](std::size_t job, const JobResult& result) {
      if (result.is_passing) return;
      const auto record = decode<PluginRecord>(result.payload).value_or(PluginRecord());
      asked[job]->minor_version = static_cast<std::int32_t>(record.description.minor_version);
      asked[job]->micro_version = static_cast<std::int32_t>(record.description.micro_version);
    });
  }

  std::uint32_t winner(const std::string& uri, const BundleNumbers& bundles) {
    return std::ranges::max(bundles, {}, [&](std::uint32_t bundle) {
      const MappedPlugin& plugin = mapped(bundle, uri);
      return std::pair(plugin.minor_version, plugin.micro_version);
    });
  }

  static std::vector<std::string_view> watched_paths(const Index& index, const Entry& entry) {
    std::vector<std::string_view> paths{index.bundles[entry.bundle].folder.path};
    for (const std::uint32_t bundle : entry.watched)
      paths.push_back(index.bundles[bundle].folder.path);
    return paths;
  }

  void take_over_records() {
    if (!known_) return;
    for (std::size_t i = 0; i < index_.entries.size(); ++i) {
      const Entry* before = old()->find_uri(index_.entries[i].uri);
      if (!before || watched_paths(index_, index_.entries[i]) != watched_paths(*old(), *before))
        continue;
      const auto record = known_->record(*before);
      if (record && still_holds(*old(), *before, *record)) set_record(i, *record);
    }
  }

  void set_record(std::size_t entry, const PluginRecord& record) {
    index_.entries[entry].summarise(record.description);
    records_[entry] = encode(record);
  }

  std::vector<std::size_t> lacking(const Request& request) const {
    const Entry* one = request.find_in(index_);
    std::vector<std::size_t> entries;
    for (std::size_t i = 0; i < index_.entries.size(); ++i)
      if (records_[i].empty() && (request.everything || &index_.entries[i] == one))
        entries.push_back(i);
    // Neighbours in a bundle share the reading of its manifest.
    std::ranges::sort(entries, {},
                      [&](std::size_t i) { return std::pair(index_.entries[i].bundle, i); });
    return entries;
  }

  void describe(const Request& request) {
    const std::vector<std::size_t> entries = lacking(request);
    changed_ = changed_ || !entries.empty();
    std::vector<Job> jobs;
    for (const std::size_t i : entries) {
      const Entry& entry = index_.entries[i];
      std::vector<std::string> extra_bundles;
      for (const std::uint32_t bundle : entry.watched)
        if (bundle != entry.bundle &&
            std::ranges::binary_search(index_.bundles[bundle].map.presets_for, entry.uri))
          extra_bundles.push_back(path_of(bundle));
      jobs.push_back(description_job(path_of(entry.bundle), extra_bundles, entry.uri));
    }
    std::size_t done = 0;
    run_jobs(jobs, [&](std::size_t job, const JobResult& result) {
      Entry& entry = index_.entries[entries[job]];
      const auto record = decode<PluginRecord>(result.payload);
      const std::string reason =
          "its description " + (result.failure.empty() ? "cannot be read" : result.failure);
      if (record) {
        set_record(entries[job], *record);
      } else if (result.is_passing) {
        entry.title = entry.uri;
        entry.not_hosted = reason;
      } else {
        set_record(entries[job], failed_record(entry.uri, path_of(entry.bundle), reason));
      }
      tell(entry.uri, result);
      if (progress_.step) progress_.step(++done, jobs.size());
    });
  }

  void tell(const std::string& what, const JobResult& result) const {
    if (progress_.printed && !result.printed.empty()) progress_.printed(what, result.printed);
  }

  const std::optional<CacheFile>& known_;
  const Progress& progress_;
  Index index_;
  std::vector<Bytes> records_;
  BundleNumbers new_bundles_;
  bool changed_ = false;
};

}  // namespace

const Entry* Request::find_in(const Index& index) const {
  return code != 0 ? index.find_code(code) : uri.empty() ? nullptr : index.find_uri(uri);
}

Installed update(const std::optional<CacheFile>& known, const Request& request,
                 const Progress& progress) {
  return Update(known, progress).run(request);
}

}  // namespace vesk::lv2::scan
