#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace vesk::tools {

/// A file that appears under its name only when it is whole.
///
/// The bytes go to a temporary file in the same folder; `commit` renames it, and without a commit
/// the destructor removes it. An existing file of the name stays as it was until then; a symbolic
/// link is followed, anything but a regular file is refused.
class OutputFile {
 public:
  /// Creates the temporary file beside `path`. Empty with a sentence in `error` that begins with
  /// the path.
  static std::optional<OutputFile> create(const std::string& path, std::string& error);

  OutputFile(OutputFile&& other) noexcept;
  OutputFile& operator=(OutputFile&& other) noexcept;
  ~OutputFile();

  const std::string& path() const { return path_; }

  /// Where the bytes stand until `commit`.
  const std::string& temporary_path() const { return temporary_path_; }

  /// The open descriptor, for reading and writing, owned by this object.
  int descriptor() const { return descriptor_; }

  /// Writes all of the bytes at the current position; false with a sentence in `error`.
  bool write(const void* bytes, std::size_t count, std::string& error);

  /// Closes the file and gives it its name; false with a sentence in `error`, and then nothing
  /// has changed under the name.
  bool commit(std::string& error);

 private:
  OutputFile(std::string path, std::string temporary_path, int descriptor);
  void discard();

  std::string path_;
  std::string temporary_path_;
  int descriptor_ = -1;
};

}  // namespace vesk::tools
