// application.cpp - lifecycle events relayed as notifications.
#include "common/utils/application.h"

#include "common/utils/notificationcenter.h"

namespace tavrin {

Application::Application() = default;
Application::~Application() = default;

void Application::Post(const char* name) {
  CNotificationCenter::Default().SendNotification(name, static_cast<void*>(this));
}

void Application::DidBecomeActive() {
  Post("ApplicationDidBecomeActive");
}
void Application::DidHide() {
  Post("ApplicationDidHide");
}
void Application::DidFinishLaunching() {
  Post("ApplicationFinishedLaunching");
}
void Application::DidResignActive() {
  Post("ApplicationDidResignActive");
}
void Application::DidUnhide() {
  Post("ApplicationDidHide");
}
void Application::DidUpdate() {}
void Application::WillBecomeActive() {
  Post("ApplicationWillBecomeActive");
}
void Application::WillHide() {
  Post("ApplicationWillHide");
}
void Application::WillFinishLaunching() {
  Post("ApplicationWillFinishLaunching");
}
void Application::WillResignActive() {
  Post("ApplicationWillResignActive");
}
void Application::WillUnhide() {
  Post("ApplicationillHide");
}
void Application::WillUpdate() {}
void Application::WillTerminate() {
  Post("ApplicationWillTerminate");
}
void Application::DidChangeScreenParameters() {}

}  // namespace tavrin
