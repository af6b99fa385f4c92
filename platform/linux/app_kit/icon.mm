#import "platform/linux/app_kit/icon.hpp"

#include <algorithm>
#include <cmath>

namespace vesk::platform {

// Made of numbers: the first window asks for it, and drawing it would take a window.
NSImage* make_icon() {
  constexpr int edge = 48;
  constexpr double middle = edge / 2;
  constexpr double radius = 22;
  constexpr double pointer_x = 0.55;  // the pointer's direction, and its reach from 0 to 1
  constexpr double pointer_y = -0.84;
  constexpr double pointer_width = 3.5;
  NSBitmapImageRep* bitmap =
      [[[NSBitmapImageRep alloc] initWithBitmapDataPlanes:nullptr
                                               pixelsWide:edge
                                               pixelsHigh:edge
                                            bitsPerSample:8
                                          samplesPerPixel:4
                                                 hasAlpha:YES
                                                 isPlanar:NO
                                           colorSpaceName:NSCalibratedRGBColorSpace
                                              bytesPerRow:4 * edge
                                             bitsPerPixel:32] autorelease];
  unsigned char* sample = [bitmap bitmapData];
  for (int pixel = 0; pixel < edge * edge; ++pixel) {
    const double x = pixel % edge + 0.5 - middle;
    const double y = pixel / edge + 0.5 - middle;
    const double disc = std::clamp(radius - std::hypot(x, y) + 0.5, 0.0, 1.0);
    const double along = std::clamp(x * pointer_x + y * pointer_y, 0.0, radius - 6);
    const double beside = std::hypot(x - along * pointer_x, y - along * pointer_y);
    const double pointer = std::clamp(pointer_width - beside + 0.5, 0.0, 1.0);
    for (const double lit : {90.0, 168.0, 237.0})
      *sample++ = static_cast<unsigned char>(disc * std::lerp(52.0, lit, pointer));
    *sample++ = static_cast<unsigned char>(disc * 255);
  }
  NSImage* image = [[NSImage alloc] initWithSize:NSMakeSize(edge, edge)];
  [image addRepresentation:bitmap];
  return image;
}

}  // namespace vesk::platform
