// application.h - Application, the relay that turns the platform's
// application lifecycle events into notifications.
//
// Each posting handler sends its notification name on
// CNotificationCenter::Default() with this Application object as the untyped
// payload; the handlers without a notification do nothing. The application's
// shell (GTK, Qt or the Foundation layer) calls the handlers itself or
// derives from the class. The virtual order of the handlers is fixed.
//
// Three names are exactly as listeners expect even though they look like
// slips: DidUnhide posts "ApplicationDidHide" (the same as DidHide),
// WillUnhide posts "ApplicationillHide" and DidFinishLaunching posts
// "ApplicationFinishedLaunching". No notification with "Unhide" in its name
// exists.
#pragma once

#include "common/utils/export.h"

namespace tavrin {

class TAVRIN_EXPORT Application {
 public:
  Application();
  virtual ~Application();
  virtual void DidBecomeActive();            // "ApplicationDidBecomeActive"
  virtual void DidHide();                    // "ApplicationDidHide"
  virtual void DidFinishLaunching();         // "ApplicationFinishedLaunching"
  virtual void DidResignActive();            // "ApplicationDidResignActive"
  virtual void DidUnhide();                  // "ApplicationDidHide"
  virtual void DidUpdate();                  // nothing
  virtual void WillBecomeActive();           // "ApplicationWillBecomeActive"
  virtual void WillHide();                   // "ApplicationWillHide"
  virtual void WillFinishLaunching();        // "ApplicationWillFinishLaunching"
  virtual void WillResignActive();           // "ApplicationWillResignActive"
  virtual void WillUnhide();                 // "ApplicationillHide"
  virtual void WillUpdate();                 // nothing
  virtual void WillTerminate();              // "ApplicationWillTerminate"
  virtual void DidChangeScreenParameters();  // nothing

 private:
  void Post(const char* name);
};

}  // namespace tavrin
