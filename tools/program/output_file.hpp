#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace vesk::tools {

/// A file that appears under its name only when it is whole.
///
/// Until `commit` the bytes are in a file without a name, of which nothing is left however this
/// program ends; where the system has none such, in a temporary file beside it, which the
/// destructor removes. An existing file of the name stays as it was until then; a symbolic link is
/// followed, anything but a regular file is refused.
class OutputFile {
 public:
  /// Begins a file that will be at `path`; for "-" one that is copied to standard output, which may
  /// be no terminal. Empty with a sentence in `error` that begins with
  /// the path.
  static std::optional<OutputFile> create(const std::string& path, std::string& error);

  OutputFile(OutputFile&& other) noexcept;
  OutputFile& operator=(OutputFile&& other) noexcept;
  ~OutputFile();

  const std::string& path() const { return path_; }

  /// A path by which this process can open the bytes until `commit`.
  std::string temporary_path() const;

  /// The open descriptor, for reading and writing, owned by this object.
  int descriptor() const { return descriptor_; }

  /// So many of the file's bytes from `place` on as there are, at most `count`, wherever it is
  /// written at; -1 with `errno`.
  ssize_t read_at(void* bytes, std::size_t count, off_t place) const;

  /// Writes all of the bytes at the current position; false with a sentence in `error`.
  bool write(const void* bytes, std::size_t count, std::string& error);

  /// Gives the file its name and closes it; false with a sentence in `error`, and then nothing
  /// has changed under the name.
  bool commit(std::string& error);

 private:
  OutputFile(std::string path, std::string temporary_path, int descriptor);
  static std::optional<OutputFile> for_standard_output(std::string& error);
  bool write_to(int descriptor, const void* bytes, std::size_t count, std::string& error);
  bool copy_to_standard_output(std::string& error);
  void discard();
  bool give_name();

  std::string path_;
  std::string temporary_path_;  // empty: it has no name
  int descriptor_ = -1;
  bool is_standard_output_ = false;
};

}  // namespace vesk::tools
