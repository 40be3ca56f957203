// CommandInvokerMac.mm - named actions up the responder chain: the action
// name of a CommandInvokerAction is a selector sent through the application
// object's sendAction:to:from: with nil target and sender.
#import <AppKit/AppKit.h>

#include "common/utils/auto_release_pool.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

bool SendCommandAction(const char* action) {
  const AutoReleasePool pool;
  // Without an application object (a tool, a test) there is no responder
  // chain: the caller hands the name to the application's dispatcher.
  if (NSApp == nil) return false;
  NSString* name = [NSString stringWithUTF8String:action];
  SEL selector = name != nil && [name length] != 0 ? NSSelectorFromString(name) : nullptr;
  // A null selector does nothing, and the chain still had its say.
  if (selector != nullptr) [NSApp sendAction:selector to:nil from:nil];
  return true;
}

}  // namespace tavrin::platform
