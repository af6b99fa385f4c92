#pragma once

#import <AppKit/AppKit.h>

#include <string>

#include "platform/linux/core_audio_kit/panel_layout.hpp"

namespace vesk::platform {

/// The panel's colours and shapes. All of it draws into the focused view, which is flipped.
namespace paint {

NSRect rect_of(const Area& area);

void background(NSRect rect);
void header_edge(const PanelLayout& layout);
void title(const Area& area, const std::string& text);
void maker(const Area& area, const std::string& text);
void heading(const Area& area, const std::string& text);
void name(const Area& area, const std::string& text);
void value(const Area& area, const std::string& text);

void slider(const PanelLayout& layout, const PanelLayout::Row& row, double position, bool held);
void meter(const PanelLayout& layout, const PanelLayout::Row& row, double position);
void toggle(const Area& area, bool on);
/// A closed menu: its present choice and the mark that it opens.
void field(const Area& area, const std::string& text, bool open);
void scroll_bar(const PanelLayout& layout);

void menu_frame(const Area& area);
void menu_item(const Area& area, const std::string& text, bool selected, bool under_pointer);

}  // namespace paint
}  // namespace vesk::platform
