#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "components/lv2/catalogue/catalogue.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/record.hpp"

// An image is a header, the index and the records one after another. The header's numbers stand in
// the machine's own order, so an image from a machine of the other order has a wrong version.

namespace vesk::lv2 {

static void fields(auto& stream, RecordOf<MappedPlugin> auto& plugin) {
  stream(plugin.uri, plugin.minor_version, plugin.micro_version);
}

static void fields(auto& stream, RecordOf<BundleMap> auto& map) {
  stream(map.plugins, map.presets_for);
}

static void fields(auto& stream, RecordOf<Bundle> auto& bundle) {
  stream(bundle.folder, bundle.manifest, bundle.failure, bundle.map);
}

static void fields(auto& stream, RecordOf<Entry> auto& entry) {
  stream(entry.uri, entry.code, entry.bundle, entry.watched, entry.described, entry.record_offset,
         entry.record_size, entry.record_check, entry.type, entry.version, entry.title,
         entry.not_hosted);
}

static void fields(auto& stream, RecordOf<Catalogue> auto& catalogue) {
  stream(catalogue.folders, catalogue.bundles, catalogue.entries);
}

namespace {

constexpr std::array<char, 8> magic = {'v', 'e', 's', 'k', ' ', 'l', 'v', '2'};
constexpr std::uint32_t image_version = 1u << 16 | record_version;
constexpr std::size_t header_size =
    magic.size() + 3 * sizeof(std::uint32_t) + sizeof(std::uint64_t);
// 684 plugins make 0.3 MB; beyond this a file is not ours.
constexpr std::uint32_t max_index_size = 256u << 20;

struct Header {
  std::uint32_t index_size = 0;
  std::uint64_t index_check = 0;
};

std::optional<Header> decode_header(std::span<const std::byte> bytes) {
  ByteReader from(bytes);
  const auto name = from.raw(magic.size());
  if (!std::ranges::equal(name, std::as_bytes(std::span(magic)))) return {};
  if (from.number<std::uint32_t>() != image_version) return {};
  Header header;
  header.index_size = from.number<std::uint32_t>();
  const auto complement = from.number<std::uint32_t>();
  header.index_check = from.number<std::uint64_t>();
  if (!from.ok() || complement != ~header.index_size || header.index_size > max_index_size)
    return {};
  return header;
}

bool has_known_bundles(const Entry& entry, const std::vector<Bundle>& bundles) {
  return entry.bundle < bundles.size() &&
         std::ranges::all_of(entry.watched, [&](auto index) { return index < bundles.size(); });
}

std::optional<Catalogue> decode_index(std::span<const std::byte> bytes) {
  ByteReader from(bytes);
  Catalogue catalogue;
  FieldReader{from}(catalogue);
  if (!from.ok() || !from.at_end()) return {};
  for (Entry& entry : catalogue.entries) {
    if (!has_known_bundles(entry, catalogue.bundles)) return {};
    entry.primary = primary_code(entry.uri);
    entry.alternate = alternate_code(entry.uri);
  }
  if (!std::ranges::is_sorted(catalogue.entries, {}, &Entry::uri)) return {};
  return catalogue;
}

}  // namespace

void encode(ByteWriter& to, const BundleMap& map) {
  FieldWriter{to}(map);
}

BundleMap decode_bundle_map(ByteReader& from) {
  BundleMap map;
  FieldReader{from}(map);
  return map;
}

Bytes encode_image(Catalogue& catalogue, const std::vector<Bytes>& records) {
  std::uint64_t offset = 0;
  for (std::size_t i = 0; i < catalogue.entries.size(); ++i) {
    Entry& entry = catalogue.entries[i];
    entry.record_offset = offset;
    entry.record_size = static_cast<std::uint32_t>(records[i].size());
    entry.record_check = check_value(records[i]);
    offset += records[i].size();
  }
  ByteWriter index;
  FieldWriter{index}(catalogue);

  ByteWriter image;
  image.raw(std::as_bytes(std::span(magic)));
  image.number(image_version);
  const auto index_size = static_cast<std::uint32_t>(index.bytes().size());
  image.number(index_size);
  image.number(~index_size);
  image.number(check_value(index.bytes()));
  image.raw(index.bytes());
  for (const Bytes& record : records) image.raw(record);
  return image.take();
}

class CatalogueImage::Source {
 public:
  explicit Source(Bytes bytes) : bytes_(std::move(bytes)) {}
  explicit Source(int descriptor) : descriptor_(descriptor) {}
  ~Source() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  std::optional<Bytes> read(std::uint64_t offset, std::size_t size) const {
    if (descriptor_ < 0) {
      if (offset > bytes_.size() || size > bytes_.size() - offset) return {};
      const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(offset);
      return Bytes(begin, begin + static_cast<std::ptrdiff_t>(size));
    }
    struct stat status{};
    if (::fstat(descriptor_, &status) != 0) return {};
    const auto file_size = static_cast<std::uint64_t>(status.st_size);
    if (offset > file_size || size > file_size - offset) return {};
    Bytes bytes(size);
    std::size_t done = 0;
    while (done < size) {
      const ssize_t got =
          ::pread(descriptor_, bytes.data() + done, size - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return {};
      done += static_cast<std::size_t>(got);
    }
    return bytes;
  }

 private:
  Bytes bytes_;
  int descriptor_ = -1;
};

CatalogueImage::CatalogueImage(std::shared_ptr<const Source> source, Catalogue catalogue)
    : source_(std::move(source)), catalogue_(std::move(catalogue)) {}

std::optional<CatalogueImage> CatalogueImage::from_source(std::shared_ptr<const Source> source) {
  const auto header_bytes = source->read(0, header_size);
  if (!header_bytes) return {};
  const auto header = decode_header(*header_bytes);
  if (!header) return {};
  const auto index = source->read(header_size, header->index_size);
  if (!index || check_value(*index) != header->index_check) return {};
  auto catalogue = decode_index(*index);
  if (!catalogue) return {};
  for (Entry& entry : catalogue->entries) entry.record_offset += header_size + index->size();
  return CatalogueImage(std::move(source), std::move(*catalogue));
}

std::optional<CatalogueImage> CatalogueImage::from_file(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return {};
  return from_source(std::make_shared<const Source>(descriptor));
}

std::optional<CatalogueImage> CatalogueImage::from_bytes(Bytes bytes) {
  return from_source(std::make_shared<const Source>(std::move(bytes)));
}

std::optional<Bytes> CatalogueImage::record_bytes(const Entry& entry) const {
  if (entry.record_size == 0) return {};
  auto bytes = source_->read(entry.record_offset, entry.record_size);
  if (!bytes || check_value(*bytes) != entry.record_check) return {};
  return bytes;
}

std::optional<PluginRecord> CatalogueImage::record(const Entry& entry) const {
  const auto bytes = record_bytes(entry);
  if (!bytes) return {};
  auto record = decode_record(*bytes);
  if (!record || record->description.uri != entry.uri) return {};
  return record;
}

}  // namespace vesk::lv2
