#pragma once

/// Property lists as bytes, for tests.

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/cf_text.hpp"

namespace vesk::tests {

using Encoded = std::string;

/// The list in `bytes`, or null with the error's code and text.
inline Owned<CFPropertyListRef> read(const Encoded& bytes, CFIndex* code = nullptr,
                                     std::string* message = nullptr,
                                     CFOptionFlags options = kCFPropertyListImmutable,
                                     CFPropertyListFormat* format = nullptr) {
  const auto data = own(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                     static_cast<CFIndex>(bytes.size())));
  CFErrorRef error = nullptr;
  auto list = own(CFPropertyListCreateWithData(nullptr, data.get(), options, format, &error));
  EXPECT_EQ(list == nullptr, error != nullptr);
  if (!error) return list;
  if (code) *code = CFErrorGetCode(error);
  if (message) *message = taken(CFErrorCopyDescription(error));
  CFRelease(error);
  return list;
}

/// The list as XML.
inline Encoded write(CFPropertyListRef list) {
  const auto data =
      own(CFPropertyListCreateData(nullptr, list, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!data) return "(null)";
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
          static_cast<std::size_t>(CFDataGetLength(data.get()))};
}
inline Encoded write(const Owned<CFPropertyListRef>& list) {
  return write(list.get());
}

inline Encoded document(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "</plist>\n";
}

inline const std::string sample_body =
    "<dict>\n"
    "\t<key>array</key>\n"
    "\t<array>\n\t\t<true/>\n\t\t<false/>\n\t\t<array/>\n\t\t<dict/>\n\t</array>\n"
    "\t<key>big</key>\n\t<integer>18446744073709551615</integer>\n"
    "\t<key>code</key>\n\t<integer>-1734964077</integer>\n"
    "\t<key>data</key>\n\t<data>\n\tAAEC/w==\n\t</data>\n"
    "\t<key>date</key>\n\t<date>1999-12-31T23:59:59Z</date>\n"
    "\t<key>empty</key>\n\t<data>\n\t</data>\n"
    "\t<key>real</key>\n\t<real>0.30000000000000004</real>\n"
    "\t<key>text &amp; more</key>\n\t<string>a&lt;b&gt;\tK\xc3\xa4se &#13;\n</string>\n"
    "</dict>\n";

}  // namespace vesk::tests
