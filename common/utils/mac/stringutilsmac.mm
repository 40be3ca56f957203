// stringutilsmac.mm - localized lookup through the bundle: the branch of
// Localization that has no string-table file.
#import <Foundation/Foundation.h>

#include <string>

#include "common/utils/auto_release_pool.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

std::string LocalizedString(const std::string& bundle_id, const std::string& table,
                            const char* key) {
  if (key == nullptr || *key == '\0') return std::string();
  const AutoReleasePool pool;
  NSString* ns_key = [NSString stringWithUTF8String:key];
  if (ns_key == nil) return std::string();  // not UTF-8: no answer
  NSBundle* bundle = nil;
  if (bundle_id.empty()) {
    bundle = [NSBundle mainBundle];
  } else if (NSString* identifier = [NSString stringWithUTF8String:bundle_id.c_str()]) {
    bundle = [NSBundle bundleWithIdentifier:identifier];
  }
  NSString* ns_table = table.empty() ? nil : [NSString stringWithUTF8String:table.c_str()];
  // The key is its own default value: an untranslated key comes back
  // unchanged; no bundle at all gives nil, which is "".
  NSString* text = [bundle localizedStringForKey:ns_key value:ns_key table:ns_table];
  if (text == nil || ![text canBeConvertedToEncoding:NSUTF8StringEncoding]) return std::string();
  const char* bytes = [text UTF8String];
  return bytes != nullptr ? std::string(bytes) : std::string();
}

}  // namespace tavrin::platform
