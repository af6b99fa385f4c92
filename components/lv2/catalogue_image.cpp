#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "components/lv2/catalogue.hpp"
#include "components/lv2/record.hpp"

// An image is a header, the index and the records one after another. The header's numbers stand in
// the machine's own order, so an image from a machine of the other order has a wrong version.

namespace vesk::lv2 {
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
  if (!from.ok() || complement != ~header.index_size || header.index_size > max_index_size) {
    return {};
  }
  return header;
}

void encode(ByteWriter& to, const Bundle& bundle) {
  encode(to, bundle.folder);
  encode(to, bundle.manifest);
  to.text(bundle.failure);
  encode(to, bundle.map);
}

Bundle decode_bundle(ByteReader& from) {
  Bundle bundle;
  bundle.folder = decode_stamped(from);
  bundle.manifest = decode_stamped(from);
  bundle.failure = from.text();
  bundle.map = decode_bundle_map(from);
  return bundle;
}

void encode(ByteWriter& to, const Entry& entry) {
  to.text(entry.uri);
  to.number(entry.code);
  to.number(entry.bundle);
  to.list(entry.watched, [&](std::uint32_t index) { to.number(index); });
  to.number(static_cast<std::uint8_t>(entry.described));
  to.number(entry.record_offset);
  to.number(entry.record_size);
  to.number(entry.record_check);
  to.number(entry.type);
  to.number(entry.version);
  to.text(entry.title);
  to.text(entry.not_hosted);
}

Entry decode_entry(ByteReader& from, std::size_t bundle_count) {
  const auto bundle_index = [&] {
    const auto index = from.number<std::uint32_t>();
    if (index >= bundle_count) from.fail();
    return index;
  };
  Entry entry(from.text());
  entry.code = from.number<std::uint32_t>();
  entry.bundle = bundle_index();
  entry.watched = from.list(bundle_index);
  entry.described = from.boolean();
  entry.record_offset = from.number<std::uint64_t>();
  entry.record_size = from.number<std::uint32_t>();
  entry.record_check = from.number<std::uint64_t>();
  entry.type = from.number<std::uint32_t>();
  entry.version = from.number<std::uint32_t>();
  entry.title = from.text();
  entry.not_hosted = from.text();
  return entry;
}

std::optional<Catalogue> decode_index(std::span<const std::byte> bytes) {
  ByteReader from(bytes);
  Catalogue catalogue;
  catalogue.folders = from.list([&] { return decode_stamped(from); });
  catalogue.bundles = from.list([&] { return decode_bundle(from); });
  const std::size_t bundles = catalogue.bundles.size();
  catalogue.entries = from.list([&] { return decode_entry(from, bundles); });
  if (!from.ok() || !from.at_end()) return {};
  if (!std::ranges::is_sorted(catalogue.entries, {}, &Entry::uri)) return {};
  return catalogue;
}

}  // namespace

void encode(ByteWriter& to, const BundleMap& map) {
  to.list(map.plugins, [&](const MappedPlugin& plugin) {
    to.text(plugin.uri);
    to.number(plugin.minor_version);
    to.number(plugin.micro_version);
  });
  to.list(map.presets_for, [&](const std::string& uri) { to.text(uri); });
}

BundleMap decode_bundle_map(ByteReader& from) {
  BundleMap map;
  map.plugins = from.list([&] {
    MappedPlugin plugin;
    plugin.uri = from.text();
    plugin.minor_version = from.number<std::int32_t>();
    plugin.micro_version = from.number<std::int32_t>();
    return plugin;
  });
  map.presets_for = from.list([&] { return from.text(); });
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
  index.list(catalogue.folders, [&](const Stamped& folder) { encode(index, folder); });
  index.list(catalogue.bundles, [&](const Bundle& bundle) { encode(index, bundle); });
  index.list(catalogue.entries, [&](const Entry& entry) { encode(index, entry); });

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
