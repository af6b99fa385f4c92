#include <Block.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/cf_text.hpp"
#include "tests/support/scratch_folder.hpp"

using vesk::tests::own;
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
      {"/no UTF-8 \xff", false, "file:///no%20UTF-8%20%FF"},
      {"", false, nullptr},
  };
  for (const auto& c : cases) {
    const auto size = static_cast<CFIndex>(std::strlen(c.path));
    const auto url = own(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(c.path), size, c.is_directory));
    ASSERT_EQ(url != nullptr, c.url != nullptr) << c.path;
    if (!url) continue;
    EXPECT_EQ(text(CFURLGetString(url.get())), c.url);
    UInt8 buffer[64];
    ASSERT_TRUE(CFURLGetFileSystemRepresentation(url.get(), true, buffer, sizeof buffer));
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), c.path);
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), true, buffer, size));
    EXPECT_EQ(CFURLHasDirectoryPath(url.get()), c.is_directory);
  }
  const auto relative =
      own(CFURLCreateWithFileSystemPath(nullptr, CFSTR("x"), kCFURLPOSIXPathStyle, false));
  EXPECT_EQ(taken(CFURLCopyFileSystemPath(relative.get(), kCFURLPOSIXPathStyle)),
            (std::filesystem::current_path() / "x").string());
}

TEST(Url, PartsAreFoundAndChanged) {
  const struct {
    CFStringRef path;
    const char* last;
    const char* parent;
    const char* child;
  } cases[] = {
      {CFSTR("/a/b c"), "b c", "file:///a/", "file:///a/b%20c/%C3%A9/"},
      {CFSTR("/a"), "a", "file:///", "file:///a/%C3%A9/"},
      {CFSTR("/"), "/", "file:///", "file:///%C3%A9/"},
  };
  for (const auto& c : cases) {
    const auto url =
        own(CFURLCreateWithFileSystemPath(nullptr, c.path, kCFURLPOSIXPathStyle, false));
    EXPECT_EQ(taken(CFURLCopyLastPathComponent(url.get())), c.last);
    const auto parent = own(CFURLCreateCopyDeletingLastPathComponent(nullptr, url.get()));
    EXPECT_EQ(text(CFURLGetString(parent.get())), c.parent);
    const auto child =
        own(CFURLCreateCopyAppendingPathComponent(nullptr, url.get(), CFSTR("é"), true));
    EXPECT_EQ(text(CFURLGetString(child.get())), c.child);
  }
}

std::string path_of(CFURLRef url) {
  const std::string path =
      url ? taken(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)) : "(null)";
  if (url) CFRelease(url);
  return path;
}

TEST(Bundle, ALoadedBundleIsFoundByItsIdentifier) {
  const vesk::tests::ScratchFolder scratch;
  const std::filesystem::path folder = scratch / "Unit.component";
  std::filesystem::create_directories(folder / "Resources/images");
  std::ofstream(folder / "Resources/Info-gnustep.plist")
      << "<plist><dict><key>CFBundleIdentifier</key><string>test.unit</string></dict></plist>";
  std::ofstream(folder / "Resources/images/icon.png") << "x";
  Dl_info library;
  ASSERT_NE(::dladdr(reinterpret_cast<void*>(&_Block_copy), &library), 0);
  std::filesystem::copy_file(library.dli_fname, folder / "Unit");

  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("test.unit")), nullptr);
  ASSERT_NE(::dlopen((folder / "Unit").c_str(), RTLD_NOW | RTLD_LOCAL), nullptr);
  CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR("test.unit"));
  ASSERT_NE(bundle, nullptr);
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("test.unit")), bundle);
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("test.other")), nullptr);

  EXPECT_EQ(path_of(CFBundleCopyBundleURL(bundle)), folder.string());
  EXPECT_EQ(path_of(CFBundleCopyResourcesDirectoryURL(bundle)), (folder / "Resources").string());
  const auto resource = [bundle](CFStringRef name, CFStringRef type, CFStringRef subfolder) {
    return path_of(CFBundleCopyResourceURL(bundle, name, type, subfolder));
  };
  const std::string icon = (folder / "Resources/images/icon.png").string();
  EXPECT_EQ(resource(CFSTR("icon"), CFSTR("png"), CFSTR("images")), icon);
  EXPECT_EQ(resource(CFSTR("images/icon.png"), nullptr, nullptr), icon);
  EXPECT_EQ(resource(CFSTR("images"), nullptr, nullptr), (folder / "Resources/images").string());
  EXPECT_EQ(resource(CFSTR("icon"), CFSTR("png"), nullptr), "(null)");
}

TEST(Bundle, TheMainBundleIsTheProgramsFolder) {
  EXPECT_EQ(path_of(CFBundleCopyBundleURL(CFBundleGetMainBundle())),
            std::filesystem::read_symlink("/proc/self/exe").parent_path().string());
}

}  // namespace
