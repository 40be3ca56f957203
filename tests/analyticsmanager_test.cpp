// Tests of AnalyticsManager: forwarding to the sink, replacement, and the
// silent no-sink cases.
#include "common/utils/analyticsmanager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using tavrin::utils::AnalyticsManager;
using tavrin::utils::IAnalytics;
using tavrin::utils::tavrin_ustring;
using tavrin::utils::Variant;

namespace {

class Sink : public IAnalytics {
 public:
  void LogEvent(const tavrin_ustring& name,
                const std::vector<std::pair<tavrin_ustring, Variant>>& params) override {
    names.push_back(name.utf8());
    last = &params;
    count = params.size();
  }
  std::vector<std::string> names;
  const std::vector<std::pair<tavrin_ustring, Variant>>* last = nullptr;
  std::size_t count = 0;
};

TEST(AnalyticsManagerTest, LogWithoutSinkDoesNothing) {
  AnalyticsManager::Terminate();
  AnalyticsManager::Log("ignored", {});
  Sink sink;
  AnalyticsManager::Initialize(&sink);
  AnalyticsManager::Terminate();
  AnalyticsManager::Log("after terminate", {});
  EXPECT_TRUE(sink.names.empty());
}

TEST(AnalyticsManagerTest, ForwardsArgumentsUnchanged) {
  Sink sink;
  AnalyticsManager::Initialize(&sink);
  std::vector<std::pair<tavrin_ustring, Variant>> params;
  params.emplace_back(tavrin_ustring("tool"), Variant(3));
  params.emplace_back(tavrin_ustring("mode"), Variant(tavrin_ustring("fast")));
  AnalyticsManager::Log("ToolUsed", params);
  ASSERT_EQ(sink.names, std::vector<std::string>{"ToolUsed"});
  EXPECT_EQ(sink.last, &params);  // the same list, not a copy
  EXPECT_EQ(sink.count, 2u);
  AnalyticsManager::Terminate();
}

TEST(AnalyticsManagerTest, InitializeReplacesTheSink) {
  Sink first, second;
  AnalyticsManager::Initialize(&first);
  AnalyticsManager::Initialize(&second);
  AnalyticsManager::Log("e", {});
  EXPECT_TRUE(first.names.empty());
  EXPECT_EQ(second.names.size(), 1u);
  AnalyticsManager::Terminate();
}

}  // namespace
