// HighDpiUtils.mm - pixels per inch of a screen: NSScreen's device
// description, key NSDeviceResolution, (horizontal + vertical) / 2 truncated.
// Without an application object (NSApp) there is no window server to ask and
// the answer is 0 ("unknown"); the scale factor then stays 1.0.
#import <AppKit/AppKit.h>

#include "common/utils/auto_release_pool.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

namespace {

int ResolutionOf(NSScreen* screen) {
  if (screen == nil) return 0;
  NSValue* value = [[screen deviceDescription] objectForKey:NSDeviceResolution];
  if (value == nil) return 0;
  const NSSize size = [value sizeValue];
  const double ppi = (size.width + size.height) / 2;
  return ppi > 0 && ppi < 1e9 ? static_cast<int>(ppi) : 0;
}

}  // namespace

int ScreenPixelsPerInch() {
  const AutoReleasePool pool;
  return NSApp != nil ? ResolutionOf([NSScreen mainScreen]) : 0;
}

int WindowPixelsPerInch(void* window) {
  if (window == nullptr || NSApp == nil) return 0;
  const AutoReleasePool pool;
  id object = static_cast<id>(window);
  if (![object isKindOfClass:[NSWindow class]]) return 0;
  return ResolutionOf([static_cast<NSWindow*>(object) screen]);
}

}  // namespace tavrin::platform
