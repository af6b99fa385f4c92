#include <CoreFoundation/CFStream.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "platform/linux/core_foundation/error.hpp"
#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/core_foundation/url.hpp"

namespace vesk::platform::cf {

namespace {

/// What both directions share: a file by its path, or memory.
struct Stream : Object {
  Stream(Type type_, std::string path_) : Object(type_, plain), path(std::move(path_)) {}
  ~Stream() { close_file(); }

  void close_file() {
    if (descriptor >= 0) ::close(std::exchange(descriptor, -1));
  }
  bool is_open() const { return status == kCFStreamStatusOpen || status == kCFStreamStatusAtEnd; }

  bool fail(int code) {
    error = code;
    status = kCFStreamStatusError;
    return false;
  }
  bool open(int flags) {
    if (status != kCFStreamStatusNotOpen) return false;
    if (!path.empty()) {
      descriptor = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
      if (descriptor < 0) return fail(errno);
    }
    status = kCFStreamStatusOpen;
    return true;
  }
  void close() {
    close_file();
    status = kCFStreamStatusClosed;
  }
  CFErrorRef copy_error() const {
    return error == 0 ? nullptr
                      : make_error(kCFErrorDomainPOSIX, error, path + ": " + std::strerror(error));
  }

  const std::string path;  ///< Empty for memory.
  int descriptor = -1;
  int error = 0;
  CFStreamStatus status = kCFStreamStatusNotOpen;
};

struct ReadStream : Stream {
  static constexpr Type type_of = Type::read_stream;
  ReadStream(std::string path_, CFDataRef memory_)
      : Stream(type_of, std::move(path_)), memory(memory_) {}
  const Owner<CFDataRef> memory;
  CFIndex position = 0;
};

struct WriteStream : Stream {
  static constexpr Type type_of = Type::write_stream;
  WriteStream(std::string path_, CFMutableDataRef memory_)
      : Stream(type_of, std::move(path_)), memory(memory_) {}
  const Owner<CFMutableDataRef> memory;
};

/// A system call that a signal may interrupt.
template <class Call>
ssize_t uninterrupted(Call call) {
  ssize_t result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

}  // namespace

const TypeOperations read_stream_operations{"CFReadStream", destroy<ReadStream>, nullptr, nullptr,
                                            nullptr};
const TypeOperations write_stream_operations{"CFWriteStream", destroy<WriteStream>, nullptr,
                                             nullptr, nullptr};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFReadStreamGetTypeID(void) {
  return static_cast<CFTypeID>(Type::read_stream);
}
CFTypeID CFWriteStreamGetTypeID(void) {
  return static_cast<CFTypeID>(Type::write_stream);
}

CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef, CFURLRef url) {
  const auto path = file_path(url);
  return path ? as_ref<CFReadStreamRef>(make<ReadStream>(0, *path, nullptr)) : nullptr;
}

CFReadStreamRef CFReadStreamCreateWithBytesNoCopy(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                                  CFAllocatorRef deallocator) {
  CFDataRef memory = CFDataCreateWithBytesNoCopy(nullptr, bytes, count, deallocator);
  return memory ? as_ref<CFReadStreamRef>(make<ReadStream>(0, std::string(), memory)) : nullptr;
}

Boolean CFReadStreamOpen(CFReadStreamRef ref) {
  ReadStream* stream = own<ReadStream>(ref);
  return stream && stream->open(O_RDONLY);
}

void CFReadStreamClose(CFReadStreamRef ref) {
  if (ReadStream* stream = own<ReadStream>(ref)) stream->close();
}

CFIndex CFReadStreamRead(CFReadStreamRef ref, UInt8* buffer, CFIndex size) {
  ReadStream* stream = own<ReadStream>(ref);
  if (!stream || !stream->is_open() || !buffer || size < 0) return -1;
  CFIndex count;
  if (stream->memory) {
    count = std::min(size, CFDataGetLength(stream->memory.get()) - stream->position);
    CFDataGetBytes(stream->memory.get(), CFRangeMake(stream->position, count), buffer);
    stream->position += count;
  } else {
    count = uninterrupted(
        [&] { return ::read(stream->descriptor, buffer, static_cast<std::size_t>(size)); });
    if (count < 0) stream->fail(errno);
  }
  if (count == 0 && size > 0) stream->status = kCFStreamStatusAtEnd;
  return count;
}

Boolean CFReadStreamHasBytesAvailable(CFReadStreamRef ref) {
  return CFReadStreamGetStatus(ref) == kCFStreamStatusOpen;
}

CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef ref) {
  const ReadStream* stream = own<ReadStream>(ref);
  return stream ? stream->status : kCFStreamStatusError;
}

CFErrorRef CFReadStreamCopyError(CFReadStreamRef ref) {
  const ReadStream* stream = own<ReadStream>(ref);
  return stream ? stream->copy_error() : nullptr;
}

CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef, CFURLRef url) {
  const auto path = file_path(url);
  return path ? as_ref<CFWriteStreamRef>(make<WriteStream>(0, *path, nullptr)) : nullptr;
}

CFWriteStreamRef CFWriteStreamCreateWithAllocatedBuffers(CFAllocatorRef, CFAllocatorRef) {
  return as_ref<CFWriteStreamRef>(
      make<WriteStream>(0, std::string(), CFDataCreateMutable(nullptr, 0)));
}

Boolean CFWriteStreamOpen(CFWriteStreamRef ref) {
  WriteStream* stream = own<WriteStream>(ref);
  return stream && stream->open(O_WRONLY | O_CREAT | O_TRUNC);
}

void CFWriteStreamClose(CFWriteStreamRef ref) {
  if (WriteStream* stream = own<WriteStream>(ref)) stream->close();
}

CFIndex CFWriteStreamWrite(CFWriteStreamRef ref, const UInt8* bytes, CFIndex count) {
  WriteStream* stream = own<WriteStream>(ref);
  if (!stream || !stream->is_open() || count < 0 || (count > 0 && !bytes)) return -1;
  if (stream->memory) {
    CFDataAppendBytes(stream->memory.get(), bytes, count);
    return count;
  }
  const ssize_t written = uninterrupted(
      [&] { return ::write(stream->descriptor, bytes, static_cast<std::size_t>(count)); });
  if (written < 0) stream->fail(errno);
  return written;
}

Boolean CFWriteStreamCanAcceptBytes(CFWriteStreamRef ref) {
  return CFWriteStreamGetStatus(ref) == kCFStreamStatusOpen;
}

CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef ref) {
  const WriteStream* stream = own<WriteStream>(ref);
  return stream ? stream->status : kCFStreamStatusError;
}

CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef ref) {
  const WriteStream* stream = own<WriteStream>(ref);
  return stream ? stream->copy_error() : nullptr;
}

CFTypeRef CFWriteStreamCopyProperty(CFWriteStreamRef ref, CFStringRef name) {
  const WriteStream* stream = own<WriteStream>(ref);
  if (!stream || !stream->memory || !name || !CFEqual(name, kCFStreamPropertyDataWritten))
    return nullptr;
  return CFDataCreateCopy(nullptr, stream->memory.get());
}
