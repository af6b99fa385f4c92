#import "platform/linux/core_audio_kit/panel_file_row.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

using namespace vesk::platform;

namespace {

namespace fs = std::filesystem;

/// More than this nobody looks through, and each takes a look at the disk.
constexpr std::size_t most_entries = 5000;

struct Entry {
  bool is_file;
  std::string name;
  bool operator<(const Entry& other) const {
    return std::tie(is_file, name) < std::tie(other.is_file, other.name);
  }
};

/// What a folder has, folders first; hidden ones are left out.
std::vector<Entry> entries_of(const fs::path& folder) {
  std::vector<Entry> entries;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename();
    std::error_code unknown;
    if (name[0] != '.' && entries.size() < most_entries)
      entries.push_back({!at->is_directory(unknown), name});
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

fs::path first_folder(const fs::path& present) {
  std::error_code unknown;
  if (fs::is_directory(present.parent_path(), unknown)) return present.parent_path();
  const char* home = std::getenv("HOME");
  return home && *home ? home : "/";
}

}  // namespace

@implementation VeskFileRow

- (id)initWithUnit:(AudioUnit)unit file:(const UnitFile&)file {
  self = [super initWithFrame:NSMakeRect(0, 0, panel_width, row_height)];
  _unit = unit;
  _key = [ns_text(file.key) retain];
  _label = [ns_text(file.label) retain];
  const NSRect area = NSMakeRect(control_x, 4, panel_width - control_x - margin, 20);
  _button = [[[VeskButton alloc] initWithFrame:area
                                      isSwitch:NO
                                        target:self
                                        action:@selector(choose:)] autorelease];
  [self addSubview:_button];
  [self show:file];
  return self;
}

- (void)dealloc {
  [_key release];
  [_label release];
  [_path release];
  [super dealloc];
}

- (void)retire {
  [_button setTarget:nil];
}

- (BOOL)isFlipped {
  return YES;
}

- (void)drawRect:(NSRect)dirty {
  draw_line(NSMakeRect(margin, 0, control_x - margin - 8, row_height), _label,
            [NSFont systemFontOfSize:12], gray(0.9));
}

- (void)show:(const UnitFile&)file {
  [_path release];
  _path = [ns_text(file.path) retain];
  const std::string name = fs::path(file.path).filename();
  [_button setTitle:name.empty() ? @"No file" : ns_text(name)];
}

- (void)choose:(id)sender {
  [self openFolder:first_folder([_path UTF8String])];
}

- (void)openFolder:(fs::path)folder {
  const std::vector<Entry> entries = entries_of(folder);
  const bool has_parent = folder.has_relative_path();
  std::vector<std::string> names{has_parent ? "../  from " + folder.filename().string() : "/"};
  NSInteger selected = 0;
  for (const Entry& entry : entries) {
    if ((folder / entry.name).string() == [_path UTF8String])
      selected = static_cast<NSInteger>(names.size());
    names.push_back(entry.is_file ? entry.name : entry.name + "/");
  }
  [enclosing([AUGenericView class], self)
      vesk_openMenuFrom:_button
                  names:std::move(names)
               selected:selected
                 choose:[self, folder, entries](NSInteger item) {
                   if (item == 0) return [self openFolder:folder.parent_path()];
                   const Entry& entry = entries[static_cast<std::size_t>(item - 1)];
                   if (!entry.is_file) return [self openFolder:folder / entry.name];
                   [self take:folder / entry.name];
                 }];
}

- (void)take:(fs::path)file {
  const OSStatus status = set_file(_unit, [_key UTF8String], file);
  [enclosing([AUGenericView class], self) vesk_showFiles];
  if (status != noErr) [_button setTitle:ns_text(file.filename().string() + ": not taken")];
}

@end
