#include "tools/live/preset_file.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tools/program/command_line.hpp"
#include "tools/program/input_file.hpp"
#include "tools/program/output_file.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

std::optional<Bytes> read_bytes(const std::string& path, std::string& error) {
  int cause = 0;
  auto bytes = read_file(path, SIZE_MAX, cause);
  if (!bytes)
    error =
        path + (cause == EISDIR ? ": is a folder"
                                : ": cannot be read: " + std::generic_category().message(cause));
  return bytes;
}

bool write_bytes(const std::string& path, const Bytes& bytes, std::string& error) {
  auto file = OutputFile::create(path, error);
  return file && file->write(bytes.data(), bytes.size(), error) && file->commit(error);
}

}  // namespace

bool replace_preset(ChainElements& chain, const std::string& path, std::string& old,
                    std::string& error) {
  const auto names_preset = [](const ChainElement& plugin) { return !plugin.preset_path.empty(); };
  const auto count = std::ranges::count_if(chain, names_preset);
  if (count != 1) {
    error = count == 0 ? "the chain names no preset file to copy"
                       : "the chain names " + std::to_string(count) +
                             " preset files, and one can be copied";
    return false;
  }
  if (path.find('|') != std::string::npos) {
    error = "a chain cannot name " + path + ", because of its '|'";
    return false;
  }
  ChainElement& plugin = *std::ranges::find_if(chain, names_preset);
  old = plugin.preset_path;
  name_preset(plugin, path);
  return true;
}

bool copy_preset(const std::string& from, const std::string& to, std::string& error) {
  std::error_code unknown;
  if (fs::exists(fs::symlink_status(to, unknown))) {
    error = to + ": exists already";
    return false;
  }
  const std::optional<Bytes> bytes = read_bytes(from, error);
  return bytes && write_bytes(to, *bytes, error);
}

std::optional<OldPreset> OldPreset::keep(const std::string& path, std::string& error) {
  std::optional<Bytes> content = read_bytes(path, error);
  if (!content) return std::nullopt;
  std::string none;
  std::optional<Bytes> earlier = read_bytes(path + "~", none);
  if (!write_bytes(path + "~", *content, error)) return std::nullopt;
  return OldPreset(path, std::move(*content), std::move(earlier));
}

OldPreset::OldPreset(std::string path, Bytes content, std::optional<Bytes> earlier)
    : path_(std::move(path)), content_(std::move(content)), earlier_(std::move(earlier)) {}

OldPreset::OldPreset(OldPreset&& other) noexcept
    : path_(std::exchange(other.path_, {})),
      content_(std::move(other.content_)),
      earlier_(std::move(other.earlier_)) {}

bool OldPreset::has_changed() const {
  std::string ignored;
  return read_bytes(path_, ignored) != content_;
}

OldPreset::~OldPreset() {
  if (path_.empty() || has_changed()) return;
  std::string ignored;
  if (earlier_)
    write_bytes(kept_path(), *earlier_, ignored);
  else
    unlink(kept_path().c_str());
}

}  // namespace vesk::tools
