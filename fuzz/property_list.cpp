// Presets and states: what is read of either form can be written, and reads back as the same.
#include "platform/linux/property_list/property_list.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include "fuzz/input.hpp"
#include "platform/linux/core_foundation/object.hpp"

using namespace vesk::platform::cf;
using vesk::fuzz::expect;
using List = Owner<CFPropertyListRef>;
using Data = Owner<CFDataRef>;

namespace {

List read(const Data& bytes, CFOptionFlags options = kCFPropertyListImmutable) {
  CFErrorRef error = nullptr;
  List list(CFPropertyListCreateWithData(nullptr, bytes.get(), options, nullptr, &error));
  expect(!list == (error != nullptr));
  const Owner<CFErrorRef> owned(error);
  return list;
}

Data write(const List& list) {
  return Data(
      CFPropertyListCreateData(nullptr, list.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
}

bool are_equal(const Data& first, const Data& second) {
  return first && second ? CFEqual(first.get(), second.get()) : !first && !second;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto bytes = decode_base64(text)) expect(decode_base64(encode_base64(*bytes)) == bytes);
  const Data bytes(make_data(text));
  const List list = read(bytes), changing = read(bytes, kCFPropertyListMutableContainers);
  expect(list ? changing && are_equal(write(list), write(changing)) : !changing);
  if (!list) return 0;
  const Data written = write(list);
  // The binary form holds texts and dates that XML cannot spell.
  if (!written) return expect(text.starts_with("bplist")), 0;
  const List again = read(written);
  expect(again && are_equal(written, write(again)));
  // Not-a-number equals nothing, and dates lose what is less than a second.
  const std::string_view xml(reinterpret_cast<const char*>(CFDataGetBytePtr(written.get())),
                             static_cast<std::size_t>(CFDataGetLength(written.get())));
  if (xml.find("<real>nan") == xml.npos && xml.find("<date>") == xml.npos)
    expect(CFEqual(list.get(), again.get()));
  return 0;
}
