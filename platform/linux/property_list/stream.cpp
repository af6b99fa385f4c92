// Property lists through streams.

#include <algorithm>

#include "platform/linux/core_foundation/error.hpp"
#include "platform/linux/core_foundation/object.hpp"

using namespace vesk::platform::cf;

namespace {

CFStringRef take_message(CFErrorRef error) {
  Owner<CFErrorRef> owned(error);
  return error ? CFErrorCopyDescription(error) : nullptr;
}

}  // namespace

CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                 CFIndex length, CFOptionFlags options,
                                                 CFPropertyListFormat* format, CFErrorRef* error) {
  Owner<CFMutableDataRef> data(CFDataCreateMutable(nullptr, 0));
  UInt8 part[4096];
  CFIndex count;
  do {
    const CFIndex have = CFDataGetLength(data.get());
    const auto size = static_cast<CFIndex>(sizeof part);
    const CFIndex wanted = length > 0 ? std::min(size, length - have) : size;
    count = wanted > 0 ? CFReadStreamRead(stream, part, wanted) : 0;
    if (count > 0) CFDataAppendBytes(data.get(), part, count);
  } while (count > 0);
  if (count < 0) {
    if (error) {
      *error = make_error(kCFErrorDomainCocoa, kCFPropertyListReadStreamError,
                          "the stream of a property list cannot be read");
    }
    return nullptr;
  }
  return CFPropertyListCreateWithData(allocator, data.get(), options, format, error);
}

CFIndex CFPropertyListWrite(CFPropertyListRef list, CFWriteStreamRef stream,
                            CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error) {
  Owner<CFDataRef> data(CFPropertyListCreateData(nullptr, list, format, options, error));
  if (!data) return 0;
  const CFIndex length = CFDataGetLength(data.get());
  for (CFIndex written = 0; written < length;) {
    const CFIndex count =
        CFWriteStreamWrite(stream, CFDataGetBytePtr(data.get()) + written, length - written);
    if (count <= 0) {
      if (error) {
        *error = make_error(kCFErrorDomainCocoa, kCFPropertyListWriteStreamError,
                            "the stream of a property list cannot be written");
      }
      return 0;
    }
    written += count;
  }
  return length;
}

CFPropertyListRef CFPropertyListCreateFromStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                 CFIndex length, CFOptionFlags options,
                                                 CFPropertyListFormat* format,
                                                 CFStringRef* message) {
  CFErrorRef error = nullptr;
  CFPropertyListRef list = CFPropertyListCreateWithStream(allocator, stream, length, options,
                                                          format, message ? &error : nullptr);
  if (message) *message = take_message(error);
  return list;
}

CFIndex CFPropertyListWriteToStream(CFPropertyListRef list, CFWriteStreamRef stream,
                                    CFPropertyListFormat format, CFStringRef* message) {
  CFErrorRef error = nullptr;
  const CFIndex count = CFPropertyListWrite(list, stream, format, 0, message ? &error : nullptr);
  if (message) *message = take_message(error);
  return count;
}
