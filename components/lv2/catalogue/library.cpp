#include "components/lv2/catalogue/library.hpp"

#include "components/lv2/catalogue/cache_file.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/scanner_process.hpp"

namespace vesk::lv2 {
namespace {

// Beyond what a machine full of plugins needs on a busy day; one that hangs costs 20 s.
constexpr int find_limit_ms = 60'000;
constexpr int list_limit_ms = 600'000;

constexpr const char* unreadable_answer = "vesk-lv2-scan gave an answer that cannot be read";

using Find = std::function<const Entry*(const Catalogue&)>;

std::optional<FoundPlugin> found_in(const CatalogueImage& image, const Entry& entry) {
  auto record = image.record(entry);
  if (!record) return {};
  return FoundPlugin{entry, std::make_shared<const Description>(std::move(record->description))};
}

struct CacheAnswer {
  bool is_known = false;
  std::optional<FoundPlugin> plugin;
};

CacheAnswer look_into_cache(const Find& find) {
  const auto image = CatalogueImage::from_file(cache_file_path());
  if (!image) return {};
  const Catalogue& catalogue = image->catalogue();
  const Entry* entry = find(catalogue);
  // That nothing has this name is known only while no bundle has changed.
  if (!entry) return {is_current(catalogue), {}};
  auto record = image->record(*entry);
  if (!record || !is_current(catalogue, *entry, *record)) return {};
  return {true,
          FoundPlugin{*entry, std::make_shared<const Description>(std::move(record->description))}};
}

std::optional<FoundPlugin> find_plugin(const Find& find, const std::vector<std::string>& question,
                                       std::string& error) {
  error.clear();
  if (auto answer = look_into_cache(find); answer.is_known) return std::move(answer.plugin);
  auto bytes = ask_scanner(question, find_limit_ms, error);
  if (!bytes) return {};
  const auto image = CatalogueImage::from_bytes(std::move(*bytes));
  if (image) {
    const Entry* entry = find(image->catalogue());
    if (!entry) return {};
    if (auto plugin = found_in(*image, *entry)) return plugin;
  }
  error = unreadable_answer;
  return {};
}

}  // namespace

std::optional<FoundPlugin> find_by_code(std::uint32_t code, std::string& error) {
  error.clear();
  if (!is_component_code(code)) return {};
  return find_plugin([code](const Catalogue& catalogue) { return catalogue.find_code(code); },
                     {"--answer-code", code_text(code)}, error);
}

std::optional<FoundPlugin> find_by_uri(const std::string& uri, std::string& error) {
  return find_plugin([&uri](const Catalogue& catalogue) { return catalogue.find_uri(uri); },
                     {"--answer-uri", uri}, error);
}

std::optional<Catalogue> list_all(std::string& error) {
  error.clear();
  if (const auto image = CatalogueImage::from_file(cache_file_path());
      image && image->catalogue().complete() && is_current(image->catalogue())) {
    return image->catalogue();
  }
  auto bytes = ask_scanner({"--answer-all"}, list_limit_ms, error);
  if (!bytes) return {};
  const auto image = CatalogueImage::from_bytes(std::move(*bytes));
  if (!image) {
    error = unreadable_answer;
    return {};
  }
  return image->catalogue();
}

}  // namespace vesk::lv2
