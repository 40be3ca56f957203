// OSUtils.mm - the Foundation answers of the operating-system queries:
// NSProcessInfo, NSLocale, NSScanner, NSBundle, NSWorkspace.
//
// Where GNUstep gives no Foundation answer, or a poorer one, the query takes
// the system's own (documented at each function): GNUstep has no
// operatingSystemVersion, its NSScanner loses digits of long numbers, and on
// Linux the operating system's name comes from os-release as in the Linux
// layer. AppKit queries need a window server: without an application object
// (NSApp) they give the "unavailable" answers. The screen queries are in
// HighDpiUtils.mm.
#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <errno.h>
#include <locale.h>
#include <stdlib.h>
#include <unistd.h>
#if defined(__APPLE__)
#include <xlocale.h>
#endif
#if __has_include(<sys/kdebug_signpost.h>)
#include <sys/kdebug_signpost.h>
#define TAVRIN_HAVE_KDEBUG_SIGNPOST 1
#endif

#include <cstdint>
#include <string>
#include <vector>

#include "common/utils/auto_release_pool.h"
#include "common/utils/internal/osutils_internal.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

namespace {

std::string Utf8(NSString* text) {
  if (text == nil || ![text canBeConvertedToEncoding:NSUTF8StringEncoding]) return std::string();
  const char* bytes = [text UTF8String];
  return bytes != nullptr ? std::string(bytes) : std::string();
}

NSString* PathText(const std::string& path) {
  if (path.empty()) return nil;
  return [[NSFileManager defaultManager] stringWithFileSystemRepresentation:path.data()
                                                                     length:path.size()];
}

// The workspace, when there is a window server to talk to.
NSWorkspace* Workspace() {
  return NSApp != nil ? [NSWorkspace sharedWorkspace] : nil;
}

}  // namespace

LayerDescription DescribeLayer() {
#if defined(GNUSTEP)
  return {"Foundation (GNUstep)",
          "GNUstep's search paths (~/Documents, ~/GNUstep/Library, the configured local library)",
          "the thread's NSRunLoop"};
#else
  return {"Foundation (Apple)", "Foundation's search paths (~/Documents, ~/Library, /Library)",
          "the thread's NSRunLoop"};
#endif
}

std::string OsVersionText() {
  const AutoReleasePool pool;
#if defined(GNUSTEP)
  // GNUstep has only the text form (the kernel release on Linux).
  return Utf8([[NSProcessInfo processInfo] operatingSystemVersionString]);
#else
  const NSOperatingSystemVersion v = [[NSProcessInfo processInfo] operatingSystemVersion];
  return std::to_string(v.majorVersion) + "." + std::to_string(v.minorVersion) + "." +
         std::to_string(v.patchVersion);
#endif
}

bool OsCodesFollowMacReleases() {
#if defined(__APPLE__)
  return true;
#else
  return false;
#endif
}

std::string OsName() {
#if defined(__APPLE__)
  return "macOS";
#else
  using tavrin::osutils::internal::ReadOsReleasePrettyName;
  if (auto name = ReadOsReleasePrettyName("/etc/os-release")) return *name;
  return ReadOsReleasePrettyName("/usr/lib/os-release").value_or("");
#endif
}

std::string UserDecimalSeparator() {
  const AutoReleasePool pool;
  NSLocale* locale = [NSLocale autoupdatingCurrentLocale];
  return Utf8([locale objectForKey:NSLocaleDecimalSeparator]);
}

std::string PreferredLanguage() {
  const AutoReleasePool pool;
  NSArray* languages = [NSLocale preferredLanguages];
  return [languages count] != 0 ? Utf8([languages objectAtIndex:0]) : std::string();
}

double ReadCNumber(const char* text) {
  if (text == nullptr) return 0;
#if defined(GNUSTEP)
  // GNUstep's scanner drops digits beyond about 17 and mis-rounds; the C
  // library reads the same text exactly.
  static const locale_t c_locale = ::newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return ::strtod_l(text, nullptr, c_locale);
#else
  const AutoReleasePool pool;
  NSString* string = [NSString stringWithUTF8String:text];
  if (string == nil) return 0;
  double value = 0;  // a non-localized scanner reads "." as the decimal point
  return [[NSScanner scannerWithString:string] scanDouble:&value] ? value : 0;
#endif
}

std::string UserFullName() {
  const AutoReleasePool pool;
  return Utf8(NSFullUserName());
}

std::string ExecutablePath() {
  const AutoReleasePool pool;
  NSBundle* bundle = [NSBundle mainBundle];
#if defined(GNUSTEP)
  // A GNUstep tool's main bundle is a made-up Resources folder: the
  // executable's own path is the real location.
  return Utf8([bundle executablePath]);
#else
  // The folder of an application bundle is where the bundle lies; any other
  // bundle is its own folder.
  NSString* path = [bundle bundlePath];
  if (path == nil) return std::string();
  if ([[path pathExtension] isEqualToString:@"app"]) return Utf8(path);
  NSString* name = [[bundle executablePath] lastPathComponent];
  return Utf8([path stringByAppendingPathComponent:name != nil ? name : @"executable"]);
#endif
}

bool OpenTarget(const std::string& target, bool isFile) {
  const AutoReleasePool pool;
  NSWorkspace* workspace = Workspace();
  if (workspace == nil || target.empty()) return false;
  NSURL* url = nil;
  if (isFile) {
    NSString* path = PathText(target);
    url = path != nil ? [NSURL fileURLWithPath:path] : nil;
  } else if (NSString* text = [NSString stringWithUTF8String:target.c_str()]) {
    url = [NSURL URLWithString:text];
  }
  return url != nil && [workspace openURL:url];
}

bool OpenFilePaths(const std::vector<std::string>& paths) {
  const AutoReleasePool pool;
  NSWorkspace* workspace = Workspace();
  if (workspace == nil || paths.empty()) return false;
  bool ok = true;
  for (const std::string& path : paths) {
    NSString* text = PathText(path);
    // Each with its default application.
    if (text == nil || ![workspace openFile:text]) ok = false;
  }
  return ok;
}

bool OpenFileWithApplication(const std::string& path, const std::string& application) {
  const AutoReleasePool pool;
  NSWorkspace* workspace = Workspace();
  NSString* file = PathText(path);
  if (workspace == nil || file == nil) return false;
  if (application.empty()) return [workspace openURL:[NSURL fileURLWithPath:file]];
  NSString* app = [NSString stringWithUTF8String:application.c_str()];
  return app != nil && [workspace openFile:file withApplication:app];
}

bool ShowInFileViewer(const std::string& path) {
  const AutoReleasePool pool;
  NSWorkspace* workspace = Workspace();
  NSString* file = PathText(path);
  if (workspace == nil || file == nil) return false;
#if defined(GNUSTEP)
  return [workspace selectFile:file inFileViewerRootedAtPath:@""];
#else
  [workspace
      activateFileViewerSelectingURLs:[NSArray arrayWithObject:[NSURL fileURLWithPath:file]]];
  return true;
#endif
}

void SleepMilliseconds(std::int64_t milliseconds) {
  // usleep takes less than a second at a time on some systems.
  while (milliseconds > 0) {
    const std::int64_t step = milliseconds < 1000 ? milliseconds : 999;
    ::usleep(static_cast<useconds_t>(step * 1000));
    milliseconds -= step;
  }
}

void ProfilerEvent(int event, std::uint32_t code, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                   std::uint32_t d) {
#if defined(TAVRIN_HAVE_KDEBUG_SIGNPOST)
  switch (event) {
    case 0:
      kdebug_signpost(code, a, b, c, d);
      break;
    case 1:
      kdebug_signpost_start(code, a, b, c, d);
      break;
    default:
      kdebug_signpost_end(code, a, b, c, d);
      break;
  }
#else
  (void)event, (void)code, (void)a, (void)b, (void)c, (void)d;  // no signposts here
#endif
}

}  // namespace tavrin::platform
