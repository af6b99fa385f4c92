#import <CoreAudioKit/AUGenericView.h>
#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cmath>
#include <memory>

#import "platform/linux/core_audio_kit/panel_file_row.h"
#import "platform/linux/core_audio_kit/panel_menu.h"
#import "platform/linux/core_audio_kit/panel_row.h"

using namespace vesk::platform;

namespace {

/// Values are read this often: nothing announces a change that the host makes, or MIDI.
constexpr CFTimeInterval follow_interval_seconds = 0.033;
/// After so many looks at which nothing had moved the next ones are further apart.
constexpr int looks_until_calm = 30;
constexpr CFTimeInterval calm_interval_seconds = 0.1;
/// From so many parameters on they can be searched.
constexpr std::size_t fewest_to_search = 20;

// Points.
constexpr double header_height = 62;
constexpr double search_height = 34;
constexpr double list_edge = 6;
constexpr double tallest_panel = 560;
constexpr double least_with_files = 320;  ///< to choose in
constexpr double room_beside_panel = 80;  ///< on screen, for title bars and task bars

std::string lower(NSString* text) { return [[text lowercaseString] UTF8String]; }

}  // namespace

/// What a view holds. Objective-C of this runtime does not construct C++ members.
struct AUGenericViewState {
  AudioUnit unit = nullptr;
  AUGenericViewDisplayFlags flags = 0;
  bool with_expert = false;
  UnitTitle title;
  std::vector<Parameter> parameters;
  UInt32 list_size = 0;
  std::vector<VeskRow*> rows;           // the list holds them
  std::vector<VeskFileRow*> file_rows;  // the list holds them
  std::vector<FactoryPreset> presets;
  std::string present_preset;
  VeskScrollView* scroll = nil;
  VeskButton* preset_button = nil;
  VeskField* search = nil;
  VeskChoiceList* menu = nil;
  const void* focus = nullptr;  ///< the first responder when it was last looked at
  CFRunLoopTimerRef timer = nullptr;
  int still_looks = 0;
};

@interface AUGenericView (VeskPanel)
- (void)vesk_fill;
- (void)vesk_layOut;
- (void)vesk_fitWindow;
- (void)vesk_follow;
- (void)vesk_openPresets;
- (void)vesk_closeMenu;
@end

namespace {

void follow(CFRunLoopTimerRef, void* view) {
  @autoreleasepool {
    [static_cast<AUGenericView*>(view) vesk_follow];
  }
}

}  // namespace

/// The rows, from the top, or why there are none.
@interface VeskRowList : NSView {
 @public
  NSString* _message;  // a constant
}
@end

@implementation VeskRowList

- (void)drawRect:(NSRect)dirty {
  draw_line(NSMakeRect(margin, list_edge, panel_width - 2 * margin, row_height), _message,
            [NSFont systemFontOfSize:12], gray(0.6));
}

- (BOOL)isFlipped {
  return YES;
}

@end

@implementation AUGenericView

- (AUGenericView*)initWithAudioUnit:(AudioUnit)au {
  return [self initWithAudioUnit:au
                    displayFlags:AUViewTitleDisplayFlag | AUViewPropertiesDisplayFlag |
                                 AUViewParametersDisplayFlag];
}

- (AUGenericView*)initWithAudioUnit:(AudioUnit)inAudioUnit
                       displayFlags:(AUGenericViewDisplayFlags)inFlags {
  if (!inAudioUnit || !AudioComponentInstanceGetComponent(inAudioUnit)) {
    [self release];
    return nil;
  }
  self = [super initWithFrame:NSZeroRect];
  if (!self) return nil;
  _state = new AUGenericViewState;
  _state->unit = inAudioUnit;
  _state->flags = inFlags;
  _state->title = read_title(inAudioUnit);
  _state->scroll = [[[VeskScrollView alloc] initWithFrame:NSZeroRect] autorelease];
  [self addSubview:_state->scroll];
  [self vesk_fill];
  [self setFrameSize:NSMakeSize(panel_width, [self vesk_comfortableHeight])];
  // The timer does not hold the view: dealloc ends it.
  CFRunLoopTimerContext context{};
  context.info = self;
  _state->timer =
      CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent() + follow_interval_seconds,
                           follow_interval_seconds, 0, 0, follow, &context);
  CFRunLoopAddTimer(CFRunLoopGetMain(), _state->timer, kCFRunLoopCommonModes);
  return self;
}

- (void)dealloc {
  if (_state && _state->timer) {
    CFRunLoopTimerInvalidate(_state->timer);
    CFRelease(_state->timer);
  }
  for (VeskRow* row : _state ? _state->rows : std::vector<VeskRow*>()) [row retire];
  for (VeskFileRow* row : _state ? _state->file_rows : std::vector<VeskFileRow*>()) [row retire];
  delete _state;
  _state = nullptr;
  [super dealloc];
}

- (AudioUnit)audioUnit {
  return _state->unit;
}

- (BOOL)showsExpertParameters {
  return _state->with_expert;
}

- (void)setShowsExpertParameters:(BOOL)shows {
  if (_state->with_expert == static_cast<bool>(shows)) return;
  _state->with_expert = shows;
  [self vesk_fill];
  [self vesk_fitWindow];
}

/// Reads what the unit has and makes the rows for it. What was open, held or typed in before is
/// brought to its end.
- (void)vesk_fill {
  const AudioUnit unit = _state->unit;
  const double scrolled = NSMinY([_state->scroll documentVisibleRect]);
  [self vesk_closeMenu];
  [[self window] makeFirstResponder:self];
  for (VeskRow* row : _state->rows) {
    [row endGesture];
    [row retire];
  }
  for (VeskFileRow* row : _state->file_rows) [row retire];
  _state->rows.clear();
  _state->file_rows.clear();
  [_state->search removeFromSuperview];
  [_state->preset_button removeFromSuperview];
  _state->search = nil;
  _state->preset_button = nil;

  VeskRowList* list = [[[VeskRowList alloc] initWithFrame:NSZeroRect] autorelease];
  [_state->scroll setDocumentView:list];
  _state->list_size = parameter_list_size(unit);
  _state->parameters.clear();
  if (_state->flags & AUViewParametersDisplayFlag)
    _state->parameters = read_parameters(unit, _state->with_expert);
  [self resizeSubviewsWithOldSize:NSZeroSize];
  NSView* last = self;
  const auto follow_with = [&last](NSView* next) {
    [last setNextKeyView:next];
    last = next;
  };
  if (_state->flags & AUViewPropertiesDisplayFlag) _state->presets = read_factory_presets(unit);
  if (!_state->presets.empty()) {
    _state->preset_button =
        [[[VeskButton alloc] initWithFrame:NSMakeRect(292, 34, 190, 22)
                                  isSwitch:NO
                                    target:self
                                    action:@selector(vesk_openPresets)] autorelease];
    [self addSubview:_state->preset_button];
    follow_with(_state->preset_button);
  }
  if (_state->parameters.size() >= fewest_to_search) {
    const NSRect area = NSMakeRect(margin, [self vesk_headerHeight] - search_height + 2,
                                   panel_width - 2 * margin, 20);
    _state->search = [[[VeskField alloc] initWithFrame:area] autorelease];
    [_state->search setDelegate:(id)self];
    [self addSubview:_state->search];
    follow_with(_state->search);
  }
  if (_state->flags & AUViewPropertiesDisplayFlag) {
    for (const UnitFile& file : read_files(unit)) {
      VeskFileRow* row = [[[VeskFileRow alloc] initWithUnit:unit file:file] autorelease];
      [list addSubview:row];
      _state->file_rows.push_back(row);
      follow_with(row->_button);
    }
  }
  const std::string* group = nullptr;
  const auto add = [&](const Parameter* parameter, const std::string& name) {
    VeskRow* row = [[[VeskRow alloc] initWithUnit:unit parameter:parameter
                                             name:ns_text(name)] autorelease];
    [list addSubview:row];
    _state->rows.push_back(row);
    [row refresh];
    if (row->_control) follow_with(row->_control);
    if (row->_field) follow_with(row->_field);
  };
  for (const Parameter& parameter : _state->parameters) {
    if (!parameter.group.empty() && (!group || *group != parameter.group))
      add(nullptr, parameter.group);
    group = &parameter.group;
    add(&parameter, parameter.name);
  }
  follow_with(self);
  [self vesk_layOut];
  [_state->scroll scrollToY:scrolled];
  [self setNeedsDisplay:YES];
}

- (double)vesk_headerHeight {
  const bool titled = _state->flags & (AUViewTitleDisplayFlag | AUViewPropertiesDisplayFlag);
  const bool searched = _state->parameters.size() >= fewest_to_search;
  return (titled ? header_height : 2) + (searched ? search_height : 0);
}

/// Puts the rows that the search leaves below each other. A heading stays with a row of its group.
- (void)vesk_layOut {
  const std::string wanted = _state->search ? lower([_state->search stringValue]) : "";
  double y = list_edge;
  VeskRow* heading = nil;
  const auto place = [&y](NSView* row) {
    [row setFrameOrigin:NSMakePoint(0, y)];
    [row setHidden:NO];
    y += NSHeight([row frame]);
  };
  for (VeskFileRow* row : _state->file_rows) {
    [row setHidden:YES];
    if (lower(row->_label).find(wanted) != std::string::npos) place(row);
  }
  for (VeskRow* row : _state->rows) {
    [row setHidden:YES];
    if (!row->_parameter) {
      heading = row;
      continue;
    }
    const Parameter& parameter = *row->_parameter;
    if (!wanted.empty() && lower(ns_text(parameter.name)).find(wanted) == std::string::npos &&
        lower(ns_text(parameter.group)).find(wanted) == std::string::npos) {
      continue;
    }
    if (heading && ns_text(parameter.group).length > 0) place(heading);
    heading = nil;
    place(row);
  }
  VeskRowList* list = [_state->scroll documentView];
  const bool is_empty = y == list_edge;
  if (is_empty) y += row_height;
  list->_message = !is_empty        ? @""
                   : wanted.empty() ? @"No parameters, and no interface that can be shown here."
                                    : @"No parameter has this in its name.";
  [list setFrameSize:NSMakeSize(panel_width - 12, y + list_edge)];
  [_state->scroll tile];
  [list setNeedsDisplay:YES];
}

- (double)vesk_comfortableHeight {
  const double whole = [self vesk_headerHeight] + NSHeight([[_state->scroll documentView] frame]);
  const double screen = NSHeight([[NSScreen mainScreen] visibleFrame]) - room_beside_panel;
  const double least = _state->file_rows.empty() ? 0 : least_with_files;
  return std::min({std::max(whole, least), tallest_panel, std::max(screen, 200.0)});
}

/// As high as what there is to show, within reason; its upper edge stays where it is.
- (void)vesk_fitWindow {
  const double more = [self vesk_comfortableHeight] - NSHeight([self frame]);
  NSRect frame = [[self window] frame];
  frame.size.height += more;
  frame.origin.y -= more;
  [self vesk_limitWindow];
  if ([[self window] contentView] == self) [[self window] setFrame:frame display:YES];
}

- (void)vesk_limitWindow {
  NSWindow* window = [self window];
  if ([window contentView] != self) return;
  const double header = [self vesk_headerHeight];
  const double whole = header + NSHeight([[_state->scroll documentView] frame]);
  [window setContentMinSize:NSMakeSize(panel_width, std::min(whole, header + 3 * row_height))];
  [window setContentMaxSize:NSMakeSize(panel_width, std::max(whole, NSHeight([self frame])))];
}

- (void)viewDidMoveToWindow {
  NSWindow* window = [self window];
  if (!window) return;
  [window setAcceptsMouseMovedEvents:YES];
  [window setStyleMask:[window styleMask] | NSResizableWindowMask];
  [self vesk_limitWindow];
  [window setInitialFirstResponder:self];
  [window makeFirstResponder:self];
}

- (void)resizeSubviewsWithOldSize:(NSSize)old {
  const NSSize size = [self frame].size;
  const double header = [self vesk_headerHeight];
  [_state->scroll setFrame:NSMakeRect(0, header, size.width, std::max(size.height - header, 0.0))];
  [self vesk_closeMenu];
}

/// The window tells whether the unit may still be asked: it closes before the unit is disposed of,
/// while the view may live on.
- (void)vesk_follow {
  if (![[self window] isVisible]) return;
  bool has_moved = false;
  if (parameter_list_size(_state->unit) != _state->list_size) {
    [self vesk_fill];
    [self vesk_fitWindow];
  }
  id focus = [[self window] firstResponder];
  if (focus != _state->focus) {
    has_moved = true;
    [self setNeedsDisplay:YES];
    VeskRow* row = enclosing([VeskRow class], focus);
    if (row) [row scrollRectToVisible:[row bounds]];
  }
  _state->focus = focus;
  const NSRect visible = [_state->scroll documentVisibleRect];
  for (VeskRow* row : _state->rows)
    if (NSIntersectsRect([row frame], visible) && [row refresh]) has_moved = true;
  _state->still_looks = has_moved ? 0 : _state->still_looks + 1;
  if (_state->still_looks > looks_until_calm)
    CFRunLoopTimerSetNextFireDate(_state->timer,
                                  CFAbsoluteTimeGetCurrent() + calm_interval_seconds);
  if (!_state->preset_button) return;
  const std::string present = read_present_preset(_state->unit);
  NSString* title = present.empty() ? @"Presets" : ns_text(present);
  if (![[_state->preset_button title] isEqual:title]) [_state->preset_button setTitle:title];
}

- (void)vesk_openPresets {
  std::vector<std::string> names;
  for (const FactoryPreset& preset : _state->presets) names.push_back(preset.name);
  const auto selected =
      std::find(names.begin(), names.end(), read_present_preset(_state->unit)) - names.begin();
  [self vesk_openMenuFrom:_state->preset_button
                    names:names
                 selected:selected < static_cast<NSInteger>(names.size()) ? selected : -1
                   choose:[self](NSInteger item) {
                     choose_preset(_state->unit, _state->presets[static_cast<std::size_t>(item)]);
                     [self vesk_showFiles];
                     [self vesk_follow];
                   }];
}

- (void)vesk_showFiles {
  const std::vector<UnitFile> files = read_files(_state->unit);
  for (std::size_t i = 0; i < files.size() && i < _state->file_rows.size(); ++i)
    [_state->file_rows[i] show:files[i]];
}

- (void)vesk_openMenuFrom:(NSView*)button
                    names:(std::vector<std::string>)names
                 selected:(NSInteger)selected
                   choose:(std::function<void(NSInteger)>)choose {
  [self vesk_closeMenu];
  _state->menu = [VeskChoiceList openOver:self
                                     from:[button convertRect:[button bounds] toView:self]
                                    names:std::move(names)
                                 selected:selected
                                   choose:[self, button, choose](NSInteger item) {
                                     // It may go with the menu.
                                     const auto chosen = choose;
                                     NSView* opener = button;
                                     [self vesk_closeMenu];
                                     [[self window] makeFirstResponder:opener];
                                     if (item >= 0) chosen(item);
                                   }];
}

- (void)vesk_closeMenu {
  VeskChoiceList* menu = _state->menu;
  _state->menu = nil;
  [[menu retain] autorelease];
  [menu close];
}

- (BOOL)isFlipped {
  return YES;
}

- (BOOL)isOpaque {
  return YES;
}

- (BOOL)acceptsFirstMouse:(NSEvent*)event {
  return YES;
}

- (BOOL)acceptsFirstResponder {
  return YES;
}

- (void)drawRect:(NSRect)dirty {
  const double header = [self vesk_headerHeight];
  [gray(0.145) setFill];
  NSRectFill(dirty);
  [gray(0.115) setFill];
  NSRectFill(NSMakeRect(0, 0, panel_width, header));
  const double width = panel_width - 2 * margin;
  if (_state->flags & AUViewTitleDisplayFlag)
    draw_line(NSMakeRect(margin, 10, width, 24), ns_text(_state->title.name),
              [NSFont boldSystemFontOfSize:17], gray(0.97));
  NSFont* font = [NSFont systemFontOfSize:12];
  if (_state->flags & AUViewPropertiesDisplayFlag)
    draw_line(NSMakeRect(margin, 36, _state->preset_button ? 262 : width, 18),
              ns_text(_state->title.maker), font, gray(0.6));
  if (!_state->search) return;
  fill_rounded(NSInsetRect([_state->search frame], -6, -3), 5, gray(0.2));
  if ([[_state->search stringValue] length] > 0) return;
  const std::string hint = "Search " + std::to_string(_state->parameters.size()) + " parameters";
  draw_line(NSInsetRect([_state->search frame], 4, 0), ns_text(hint), font, gray(0.5));
}

/// While a menu is open, all that is not in it only closes it.
- (NSView*)hitTest:(NSPoint)point {
  NSView* hit = [super hitTest:point];
  return _state->menu && ![hit isDescendantOf:[[_state->menu enclosingScrollView] superview]] ? self
                                                                                              : hit;
}

- (void)mouseDown:(NSEvent*)event {
  [self vesk_closeMenu];
  [[self window] makeFirstResponder:self];
}

- (void)mouseDragged:(NSEvent*)event {
  [_state->menu trackPointer:event];
}

- (void)mouseUp:(NSEvent*)event {
  [_state->menu trackPointer:event];
}

- (void)scrollWheel:(NSEvent*)event {
}

/// What the control with the focus has no use for.
- (void)keyDown:(NSEvent*)event {
  const double at = NSMinY([_state->scroll documentVisibleRect]);
  const double page = NSHeight([_state->scroll bounds]) - row_height;
  switch (key_of(event)) {
    case NSUpArrowFunctionKey:
      return [_state->scroll scrollToY:at - row_height];
    case NSDownArrowFunctionKey:
      return [_state->scroll scrollToY:at + row_height];
    case NSPageUpFunctionKey:
      return [_state->scroll scrollToY:at - page];
    case NSPageDownFunctionKey:
      return [_state->scroll scrollToY:at + page];
    case NSHomeFunctionKey:
      return [_state->scroll scrollToY:0];
    case NSEndFunctionKey:
      return [_state->scroll scrollToY:[_state->scroll longestScroll]];
    case 0x1b:
      [[self window] makeFirstResponder:self];
      return;
    default:
      [super keyDown:event];
  }
}

- (void)controlTextDidChange:(NSNotification*)notification {
  [self vesk_layOut];
  [_state->scroll scrollToY:0];
}

- (BOOL)control:(NSControl*)control textView:(NSTextView*)view doCommandBySelector:(SEL)selector {
  if (!is_escape(selector)) return NO;
  [view setString:@""];
  [_state->search setStringValue:@""];
  [self vesk_layOut];
  return YES;
}

@end
