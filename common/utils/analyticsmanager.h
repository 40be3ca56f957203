// analyticsmanager.h - AnalyticsManager, the process-wide forwarding point
// for usage events, and IAnalytics, the sink the application supplies.
//
// The manager holds a plain pointer to the sink: it never owns or deletes it.
// Set it at start-up and clear it at shut-down, on the main thread (the
// pointer is not guarded). Logging without a sink does nothing.
#pragma once

#include <utility>
#include <vector>

#include "common/utils/export.h"
#include "common/utils/ustring.h"
#include "common/utils/variant.h"

namespace tavrin::utils {

// IAnalytics - the application's analytics sink. Its destructor is protected
// and non-virtual because the manager never deletes a sink.
class TAVRIN_EXPORT IAnalytics {
 public:
  // LogEvent() - one usage event with its ordered parameters.
  virtual void LogEvent(const tavrin_ustring& name,
                        const std::vector<std::pair<tavrin_ustring, Variant>>& params) = 0;

 protected:
  ~IAnalytics() = default;
};

class TAVRIN_EXPORT AnalyticsManager {
 public:
  // Initialize() - stores `sink`, replacing any earlier one without notice.
  static void Initialize(IAnalytics* sink);
  // Terminate() - forgets the sink (does not delete it).
  static void Terminate();
  // Log() - passes both arguments unchanged to the sink's LogEvent; does
  // nothing when no sink is set.
  static void Log(const tavrin_ustring& event,
                  const std::vector<std::pair<tavrin_ustring, Variant>>& parameters);

 private:
  static IAnalytics* kAnalytics;
};

}  // namespace tavrin::utils
