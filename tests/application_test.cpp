// Tests of tavrin::Application: the exact notification names each lifecycle
// handler posts on the default centre, with the object as payload.
#include "common/utils/application.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/utils/notificationcenter.h"

namespace {

const char* const kAllNames[] = {
    "ApplicationDidBecomeActive",     "ApplicationDidHide",          "ApplicationFinishedLaunching",
    "ApplicationDidResignActive",     "ApplicationWillBecomeActive", "ApplicationWillHide",
    "ApplicationWillFinishLaunching", "ApplicationWillResignActive", "ApplicationillHide",
    "ApplicationWillTerminate",       "ApplicationDidUnhide",        "ApplicationWillUnhide",
    "ApplicationDidFinishLaunching"};

class Listener : public tavrin::IObserver {
 public:
  Listener() {
    for (const char* n : kAllNames) CNotificationCenter::Default().AddObserver(n, this);
  }
  ~Listener() override { CNotificationCenter::Default().RemoveObserver(this); }
  using IObserver::OnNotification;
  void OnNotification(const char* name, void* data) override {
    names.push_back(name);
    payloads.push_back(data);
  }
  std::vector<std::string> names;
  std::vector<void*> payloads;
};

std::vector<std::string> Posted(void (tavrin::Application::*handler)()) {
  Listener listener;
  tavrin::Application app;
  (app.*handler)();
  for (void* p : listener.payloads) EXPECT_EQ(p, static_cast<void*>(&app));
  return listener.names;
}

using V = std::vector<std::string>;

TEST(ApplicationTest, HandlersPostTheirExactNames) {
  using A = tavrin::Application;
  EXPECT_EQ(Posted(&A::DidBecomeActive), V{"ApplicationDidBecomeActive"});
  EXPECT_EQ(Posted(&A::DidHide), V{"ApplicationDidHide"});
  EXPECT_EQ(Posted(&A::DidFinishLaunching), V{"ApplicationFinishedLaunching"});
  EXPECT_EQ(Posted(&A::DidResignActive), V{"ApplicationDidResignActive"});
  EXPECT_EQ(Posted(&A::WillBecomeActive), V{"ApplicationWillBecomeActive"});
  EXPECT_EQ(Posted(&A::WillHide), V{"ApplicationWillHide"});
  EXPECT_EQ(Posted(&A::WillFinishLaunching), V{"ApplicationWillFinishLaunching"});
  EXPECT_EQ(Posted(&A::WillResignActive), V{"ApplicationWillResignActive"});
  EXPECT_EQ(Posted(&A::WillTerminate), V{"ApplicationWillTerminate"});
}

TEST(ApplicationTest, UnhideHandlersPostTheNamesListenersExpect) {
  using A = tavrin::Application;
  EXPECT_EQ(Posted(&A::DidUnhide), V{"ApplicationDidHide"});
  EXPECT_EQ(Posted(&A::WillUnhide), V{"ApplicationillHide"});
}

TEST(ApplicationTest, SilentHandlersPostNothing) {
  using A = tavrin::Application;
  EXPECT_TRUE(Posted(&A::DidUpdate).empty());
  EXPECT_TRUE(Posted(&A::WillUpdate).empty());
  EXPECT_TRUE(Posted(&A::DidChangeScreenParameters).empty());
}

TEST(ApplicationTest, DerivedShellOverridesOneHandler) {
  struct Shell : tavrin::Application {
    int hides = 0;
    void DidHide() override { ++hides; }
  } shell;
  Listener listener;
  tavrin::Application& base = shell;
  base.DidHide();
  base.WillHide();
  EXPECT_EQ(shell.hides, 1);
  EXPECT_EQ(listener.names, V{"ApplicationWillHide"});
}

}  // namespace
