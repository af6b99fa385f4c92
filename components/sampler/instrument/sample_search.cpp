#include "components/sampler/instrument/sample_search.hpp"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "components/sampler/instrument/folder_listing.hpp"
#include "components/sampler/instrument/text.hpp"

namespace vesk::sampler {
namespace {

namespace fs = std::filesystem;

constexpr int most_parents = 6, index_parents = 2;
constexpr std::size_t most_index_entries = 50'000, most_parts = 16;

using Parts = std::vector<std::string>;

Parts parts_of(std::string_view path) {
  Parts parts;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string_view part = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    if (!part.empty()) parts.emplace_back(part);
  }
  return parts;
}

bool is_file(const std::string& path) {
  std::error_code gone;
  return fs::is_regular_file(path, gone);
}

/// A name with each extension that a converted sample may have, its own first.
std::vector<std::string> with_extensions(const std::string& name) {
  constexpr std::array<std::string_view, 5> extensions{".wav", ".aif", ".aiff", ".caf", ".flac"};
  std::vector<std::string> names{name};
  const std::size_t dot = name.rfind('.');
  const bool has_extension =
      dot != std::string::npos &&
      std::ranges::find(extensions, folded(name.substr(dot))) != extensions.end();
  const std::string stem = has_extension ? name.substr(0, dot) : name;
  for (const std::string_view extension : extensions)
    if (std::string other = stem + std::string(extension); other != name)
      names.push_back(std::move(other));
  return names;
}

class Search {
 public:
  explicit Search(const std::string& instrument_path) {
    std::error_code failure;
    const fs::path path = fs::absolute(instrument_path, failure).lexically_normal();
    fs::path folder = path.parent_path();
    for (int up = 0; up <= most_parents; ++up, folder = folder.parent_path()) {
      roots_.push_back(folder.string());
      for (const char* name : {"Samples", "Audio", "Sounds"})
        std::ranges::move(below({folder.string()}, folded(name), name), std::back_inserter(roots_));
      // The tree of a whole machine has much that is no sample, and files that are none at all.
      if (!folder.has_relative_path()) break;
      if (up <= index_parents) index_root_ = folder.string();
    }
  }

  std::string find(const SampleReference& sample) {
    const std::string path = sample.folder + '/' + sample.file_name;
    const std::string folder = path.substr(0, path.rfind('/'));
    Parts parts = parts_of(path);
    if (parts.empty()) return {};
    const std::string name = std::move(parts.back());
    parts.pop_back();
    if (parts.size() > most_parts) parts.erase(parts.begin(), parts.end() - most_parts);
    const std::vector<Place>& places = places_of(folder, parts);
    std::string other_sound;
    for (const std::string& spelling : with_extensions(name)) {
      std::string found = joined(folder, spelling);
      if (sample.folder.starts_with('/') && is_file(found)) return found;
      found = nearby(places, spelling, sample, other_sound);
      if (found.empty()) found = in_tree(parts, spelling, sample, other_sound);
      if (!found.empty()) return found;
    }
    return other_sound;
  }

 private:
  /// A folder that is there, at the end of as many of a path's last parts.
  struct Place {
    std::string folder;
    std::size_t parts;
  };

  static std::string joined(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
  }

  /// Where samples of one stored folder can lie, in the order in which they are looked for.
  const std::vector<Place>& places_of(const std::string& stored_folder, const Parts& parts) {
    const auto [known, is_new] = places_.try_emplace(stored_folder);
    if (!is_new) return known->second;
    Parts keys;
    for (const std::string& part : parts) keys.push_back(folded(part));
    for (const std::string& root : roots_)
      for (std::size_t from = 0; from <= parts.size(); ++from) {
        std::vector<std::string> folders{root};
        for (std::size_t i = from; i < parts.size() && !folders.empty(); ++i)
          folders = below(folders, keys[i], parts[i]);
        for (std::string& folder : folders)
          known->second.push_back({std::move(folder), parts.size() - from});
      }
    return known->second;
  }

  /// The folders of one folded name in any of `folders`. On disks that tell case apart there can be
  /// several.
  std::vector<std::string> below(const std::vector<std::string>& folders, const std::string& key,
                                 const std::string& exact) {
    std::vector<std::string> found;
    for (const std::string& folder : folders)
      for (const std::string& name : listings_.find(folder, key, exact))
        if (std::string path = joined(folder, name); fs::is_directory(path, ignored_))
          found.push_back(std::move(path));
    return found;
  }

  std::string nearby(const std::vector<Place>& places, const std::string& name,
                     const SampleReference& sample, std::string& other_sound) {
    const std::string key = folded(name);
    for (const Place& place : places) {
      std::string first;
      for (const std::string& entry : listings_.find(place.folder, key, name)) {
        std::string path = joined(place.folder, entry);
        if (!is_file(path)) continue;
        if (is_as_stated(path, sample)) return path;
        if (first.empty()) first = std::move(path);
      }
      // The same folder too: it is the sample, though somebody has worked on it.
      if (place.parts > 0 && !first.empty()) return first;
      if (other_sound.empty()) other_sound = std::move(first);
    }
    return {};
  }

  std::string in_tree(const Parts& parts, const std::string& name, const SampleReference& sample,
                      std::string& other_sound) {
    if (!index_) index_ = index_of_tree(index_root_, most_index_entries);
    const auto found = index_->find(folded(name));
    if (found == index_->end()) return {};
    const auto likeness = [&](const std::string& path) {
      const Parts at = parts_of(fs::path(path).parent_path().string());
      std::size_t same = 0;
      while (same < std::min(at.size(), parts.size()) &&
             folded(at[at.size() - 1 - same]) == folded(parts[parts.size() - 1 - same]))
        ++same;
      return std::pair(is_as_stated(path, sample), same);
    };
    const auto best = std::ranges::max_element(found->second, {}, likeness);
    if (is_as_stated(*best, sample)) return *best;
    if (other_sound.empty()) other_sound = *best;
    return {};
  }

  /// The file has the length and the rate that the instrument says, as far as it says.
  bool is_as_stated(const std::string& path, const SampleReference& sample) {
    if (sample.frames <= 0) return true;
    const auto [known, is_new] = headers_.try_emplace(path);
    if (is_new) {
      SF_INFO info{};
      if (SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info)) sf_close(file);
      known->second = {info.frames, static_cast<double>(info.samplerate)};
    }
    const Header& header = known->second;
    return header.frames == sample.frames &&
           (sample.sample_rate <= 0 || header.rate == sample.sample_rate);
  }

  struct Header {
    std::int64_t frames = 0;
    double rate = 0;
  };

  FolderListings listings_;
  std::vector<std::string> roots_;
  std::string index_root_;
  std::unordered_map<std::string, std::vector<Place>> places_;
  std::optional<std::unordered_map<std::string, std::vector<std::string>>> index_;
  std::unordered_map<std::string, Header> headers_;
  std::error_code ignored_;
};

}  // namespace

std::vector<std::string> find_samples(const Instrument& instrument,
                                      const std::string& instrument_path) {
  Search search(instrument_path);
  std::vector<std::string> paths;
  paths.reserve(instrument.samples.size());
  for (const SampleReference& sample : instrument.samples) paths.push_back(search.find(sample));
  return paths;
}

}  // namespace vesk::sampler
