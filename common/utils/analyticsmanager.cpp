// analyticsmanager.cpp - the forwarding point for usage events.
#include "common/utils/analyticsmanager.h"

namespace tavrin::utils {

IAnalytics* AnalyticsManager::kAnalytics = nullptr;

void AnalyticsManager::Initialize(IAnalytics* sink) {
  kAnalytics = sink;
}

void AnalyticsManager::Terminate() {
  kAnalytics = nullptr;
}

void AnalyticsManager::Log(const tavrin_ustring& event,
                           const std::vector<std::pair<tavrin_ustring, Variant>>& parameters) {
  if (kAnalytics) kAnalytics->LogEvent(event, parameters);
}

}  // namespace tavrin::utils
