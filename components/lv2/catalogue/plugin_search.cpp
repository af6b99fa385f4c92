#include "components/lv2/catalogue/plugin_search.hpp"

#include <functional>

#include "components/lv2/catalogue/cache_file.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/scanner_process.hpp"

namespace vesk::lv2 {
namespace {

// Beyond what a machine full of plugins needs on a busy day; one that hangs costs 20 s.
constexpr int find_limit_ms = 60'000;
constexpr int list_limit_ms = 600'000;

using Find = std::function<const Entry*(const Index&)>;

FoundPlugin found(const Entry& entry, PluginRecord record) {
  return {entry, std::make_shared<const Description>(std::move(record.description))};
}

std::optional<CacheFile> ask_for_cache(const std::vector<std::string>& question, int limit_ms,
                                       std::string& error) {
  auto answer = ask_scanner(question, limit_ms, error);
  if (!answer) return {};
  auto cache = CacheFile::from(std::move(*answer));
  if (!cache) error = "vesk-lv2-scan gave an answer that cannot be read";
  return cache;
}

std::optional<FoundPlugin> find_plugin(const Find& find, const std::vector<std::string>& question,
                                       std::string& error) {
  error.clear();
  const auto cache = CacheFile::open(cache_file_path());
  if (cache && all_hold(cache->index().folders)) {
    const Entry* entry = find(cache->index());
    // That nothing has this name is known only while no bundle has changed.
    if (entry == nullptr && cache->index().is_current()) return {};
    auto record = entry != nullptr ? cache->record(*entry) : std::nullopt;
    if (record && still_holds(cache->index(), *entry, *record))
      return found(*entry, std::move(*record));
  }
  const auto answer = ask_for_cache(question, find_limit_ms, error);
  if (!answer) return {};
  const Entry* entry = find(answer->index());
  if (entry == nullptr) return {};
  if (auto record = answer->record(*entry)) return found(*entry, std::move(*record));
  error = entry->not_hosted;
  return {};
}

}  // namespace

std::optional<FoundPlugin> find_by_code(std::uint32_t code, std::string& error) {
  error.clear();
  if (!is_component_code(code)) return {};
  return find_plugin([code](const Index& index) { return index.find_code(code); },
                     {"--answer-code", code_text(code)}, error);
}

std::optional<FoundPlugin> find_by_uri(const std::string& uri, std::string& error) {
  return find_plugin([&uri](const Index& index) { return index.find_uri(uri); },
                     {"--answer-uri", uri}, error);
}

std::optional<Index> list_all(std::string& error) {
  error.clear();
  if (const auto cache = CacheFile::open(cache_file_path());
      cache && cache->index().is_complete() && cache->index().is_current()) {
    return cache->index();
  }
  const auto answer = ask_for_cache({"--answer-all"}, list_limit_ms, error);
  return answer ? std::optional(answer->index()) : std::nullopt;
}

}  // namespace vesk::lv2
