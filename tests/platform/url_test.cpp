#include <Block.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/cf_text.hpp"

using vesk::tests::make;
using vesk::tests::taken;
using vesk::tests::text;

namespace {

TEST(Url, FileUrlsKeepEveryPath) {
  const struct {
    const char* path;
    bool is_directory;
    const char* url;  // null: none can be made
  } cases[] = {
      {"/a b/c#d?e%f.sf2", false, "file:///a%20b/c%23d%3Fe%25f.sf2"},
      {"/Klänge", true, "file:///Kl%C3%A4nge/"},
      {"/", true, "file:///"},
      {"/bad\xff", false, nullptr},
      {"", false, nullptr},
  };
  for (const auto& c : cases) {
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(c.path),
        static_cast<CFIndex>(std::string(c.path).size()), c.is_directory);
    ASSERT_EQ(url != nullptr, c.url != nullptr) << c.path;
    if (!url) continue;
    EXPECT_EQ(text(CFURLGetString(url)), c.url);
    UInt8 buffer[64];
    ASSERT_TRUE(CFURLGetFileSystemRepresentation(url, true, buffer, sizeof buffer));
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), c.path);
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(
        url, true, buffer, static_cast<CFIndex>(std::string(c.path).size())));
    EXPECT_EQ(CFURLHasDirectoryPath(url), c.is_directory);
    CFRelease(url);
  }
  CFURLRef relative =
      CFURLCreateWithFileSystemPath(nullptr, CFSTR("x"), kCFURLPOSIXPathStyle, false);
  EXPECT_EQ(taken(CFURLCopyFileSystemPath(relative, kCFURLPOSIXPathStyle)),
            (std::filesystem::current_path() / "x").string());
  CFRelease(relative);
}

TEST(Url, UrlsResolveAgainstABase) {
  const struct {
    const char* text;
    const char* resolved;  // null: no URL
  } cases[] = {
      {"g", "http://a/b/c/g"},
      {"../g", "http://a/b/g"},
      {"../../../g", "http://a/g"},
      {"/g", "http://a/g"},
      {"//h/x", "http://h/x"},
      {"?y", "http://a/b/c/d?y"},
      {"./g/.", "http://a/b/c/g/"},
      {"file:///t", "file:///t"},
      {"a b", nullptr},
      {"%zz", nullptr},
      {"a%2", nullptr},
  };
  CFURLRef base = CFURLCreateWithString(nullptr, CFSTR("http://a/b/c/d?q"), nullptr);
  for (const auto& c : cases) {
    CFStringRef string = make(c.text);
    CFURLRef url = CFURLCreateWithString(nullptr, string, base);
    CFRelease(string);
    ASSERT_EQ(url != nullptr, c.resolved != nullptr) << c.text;
    if (!url) continue;
    CFURLRef absolute = CFURLCopyAbsoluteURL(url);
    EXPECT_EQ(text(CFURLGetString(absolute)), c.resolved);
    CFRelease(absolute);
    CFRelease(url);
  }
  UInt8 buffer[32];
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(base, true, buffer, sizeof buffer));
  CFRelease(base);
}

TEST(Url, UrlPartsAreFoundAndChanged) {
  CFURLRef url =
      CFURLCreateWithFileSystemPath(nullptr, CFSTR("/a/b c.d.e"), kCFURLPOSIXPathStyle, false);
  EXPECT_EQ(taken(CFURLCopyLastPathComponent(url)), "b c.d.e");
  EXPECT_EQ(taken(CFURLCopyPathExtension(url)), "e");
  const auto changed = [](CFURLRef made) {
    const std::string result = text(CFURLGetString(made));
    CFRelease(made);
    return result;
  };
  EXPECT_EQ(changed(CFURLCreateCopyDeletingPathExtension(nullptr, url)), "file:///a/b%20c.d");
  EXPECT_EQ(changed(CFURLCreateCopyDeletingLastPathComponent(nullptr, url)), "file:///a/");
  EXPECT_EQ(changed(CFURLCreateCopyAppendingPathComponent(nullptr, url, CFSTR("é"), true)),
            "file:///a/b%20c.d.e/%C3%A9/");
  EXPECT_EQ(changed(CFURLCreateCopyAppendingPathExtension(nullptr, url, CFSTR("f"))),
            "file:///a/b%20c.d.e.f");
  CFErrorRef error = nullptr;
  EXPECT_FALSE(CFURLResourceIsReachable(url, &error));
  EXPECT_EQ(CFErrorGetCode(error), ENOENT);
  CFRelease(error);
  CFRelease(url);
}

TEST(Bundle, ABundleIsFoundByItsFolderAndItsIdentifier) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() /
      ("vesk_bundle_" + std::to_string(::getpid()) + "/Unit.component");
  std::filesystem::create_directories(folder / "Resources");
  std::ofstream(folder / "Resources/Info-gnustep.plist")
      << "<plist><dict><key>CFBundleIdentifier</key><string>test.unit</string>"
         "<key>NSExecutable</key><string>Unit</string></dict></plist>";
  std::ofstream(folder / "Resources/icon.png") << "x";

  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("test.unit")), nullptr);
  CFURLRef url = CFURLCreateFromFileSystemRepresentation(
      nullptr, reinterpret_cast<const UInt8*>(folder.c_str()),
      static_cast<CFIndex>(folder.native().size()), true);
  CFBundleRef bundle = CFBundleCreate(nullptr, url);
  ASSERT_NE(bundle, nullptr);
  EXPECT_EQ(text(CFBundleGetIdentifier(bundle)), "test.unit");
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("test.unit")), bundle);
  CFURLRef icon = CFBundleCopyResourceURL(bundle, CFSTR("icon"), CFSTR("png"), nullptr);
  EXPECT_EQ(taken(CFURLCopyFileSystemPath(icon, kCFURLPOSIXPathStyle)),
            (folder / "Resources/icon.png").string());
  CFRelease(icon);
  EXPECT_EQ(CFBundleCopyResourceURL(bundle, CFSTR("absent"), nullptr, nullptr), nullptr);
  EXPECT_FALSE(CFBundleLoadExecutable(bundle));  // it has no shared object yet

  // Once its shared object is loaded, a bundle is found though nobody holds it.
  Dl_info library;
  ASSERT_NE(::dladdr(reinterpret_cast<void*>(&_Block_copy), &library), 0);
  std::filesystem::copy_file(library.dli_fname, folder / "Unit");
  EXPECT_FALSE(CFBundleIsExecutableLoaded(bundle));
  EXPECT_NE(CFBundleGetFunctionPointerForName(bundle, CFSTR("_Block_copy")), nullptr);
  EXPECT_EQ(CFBundleGetFunctionPointerForName(bundle, CFSTR("absent")), nullptr);
  CFRelease(bundle);
  bundle = CFBundleGetBundleWithIdentifier(CFSTR("test.unit"));
  ASSERT_NE(bundle, nullptr);
  EXPECT_TRUE(CFBundleIsExecutableLoaded(bundle));
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("test.other")), nullptr);
  std::filesystem::remove_all(folder.parent_path());
  EXPECT_EQ(CFBundleCreate(nullptr, url), nullptr);
  CFRelease(url);
  EXPECT_NE(CFBundleGetFunctionPointerForName(CFBundleGetMainBundle(), CFSTR("CFRetain")), nullptr);
}

}  // namespace
