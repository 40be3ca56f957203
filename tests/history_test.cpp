// Tests of tavrin::History: the walk, the discarding of entries ahead, the
// duplicate rule and the messages of invalid steps.
#include "common/utils/history.h"

#include <gtest/gtest.h>

using tavrin::History;
using tavrin::utils::tavrin_ustring;

namespace {

std::string StepBackMessage(History& h) {
  testing::internal::CaptureStderr();
  h.StepBack();
  return testing::internal::GetCapturedStderr();
}

std::string StepForwardMessage(History& h) {
  testing::internal::CaptureStderr();
  h.StepForward();
  return testing::internal::GetCapturedStderr();
}

TEST(HistoryTest, AddAfterSteppingBackDiscardsEntriesAhead) {
  History h;
  h.Add("A");
  h.Add("B");
  h.Add("C");
  EXPECT_EQ(h.StepBack(), "B");
  EXPECT_EQ(h.StepBack(), "A");
  EXPECT_FALSE(h.CanStepBack());
  h.Add("D");
  EXPECT_EQ(h.Current(), "D");
  EXPECT_EQ(h.StepBack(), "A");
  EXPECT_TRUE(h.CanStepForward());
  EXPECT_EQ(h.StepForward(), "D");
  EXPECT_FALSE(h.CanStepForward());  // A, D only: C and B are gone
}

TEST(HistoryTest, EqualCurrentEntryIsNotAddedAgain) {
  History h;
  h.Add("A");
  h.Add("A");
  EXPECT_FALSE(h.CanStepBack());  // one entry only
  h.Add("B");
  h.StepBack();
  EXPECT_EQ(h.Current(), "A");
  h.Add("A");  // equals the current entry: nothing changes, B stays ahead
  EXPECT_TRUE(h.CanStepForward());
  EXPECT_EQ(h.StepForward(), "B");
}

TEST(HistoryTest, ComparisonIsCaseSensitive) {
  History h;
  h.Add("a");
  h.Add("A");
  EXPECT_TRUE(h.CanStepBack());
}

TEST(HistoryTest, StepForwardOntoLastEntryBehavesLikeEnd) {
  History h;
  h.Add("A");
  h.Add("B");
  h.StepBack();
  EXPECT_EQ(h.StepForward(), "B");
  EXPECT_FALSE(h.CanStepForward());
  EXPECT_TRUE(h.CanStepBack());
  EXPECT_EQ(StepForwardMessage(h), "Invalid call to History::StepForward()\n");
  EXPECT_EQ(h.Current(), "B");
  h.Add("B");  // equal to the current entry
  EXPECT_EQ(h.StepBack(), "A");
  EXPECT_EQ(h.StepForward(), "B");
  h.Add("C");  // appended after B, nothing discarded
  EXPECT_EQ(h.StepBack(), "B");
  EXPECT_EQ(h.StepBack(), "A");
}

TEST(HistoryTest, SingleEntryCannotStep) {
  History h;
  h.Add("only");
  EXPECT_FALSE(h.CanStepBack());
  EXPECT_FALSE(h.CanStepForward());
  EXPECT_EQ(StepBackMessage(h), "Invalid call to History::StepBack()\n");
  EXPECT_EQ(StepForwardMessage(h), "Invalid call to History::StepForward()\n");
  EXPECT_EQ(h.Current(), "only");
}

TEST(HistoryTest, EmptyHistoryIsSafe) {
  History h;
  EXPECT_TRUE(h.IsEmpty());
  EXPECT_TRUE(h.Current().empty());
  EXPECT_EQ(StepBackMessage(h), "Invalid call to History::StepBack()\n");
  EXPECT_EQ(StepForwardMessage(h), "Invalid call to History::StepForward()\n");
  testing::internal::CaptureStderr();
  EXPECT_TRUE(h.StepBack().empty());
  EXPECT_TRUE(h.StepForward().empty());
  testing::internal::GetCapturedStderr();
}

TEST(HistoryTest, ClearEmptiesAndRestarts) {
  History h;
  h.Add("A");
  h.Add("B");
  h.StepBack();
  h.Clear();
  EXPECT_TRUE(h.IsEmpty());
  EXPECT_FALSE(h.CanStepForward());
  h.Add("C");
  EXPECT_EQ(h.Current(), "C");
  EXPECT_FALSE(h.CanStepBack());
}

TEST(HistoryTest, CopiesAreIndependent) {
  History h;
  h.Add("A");
  h.Add("B");
  h.StepBack();
  History copy = h;
  h.Add("X");
  EXPECT_EQ(copy.Current(), "A");
  EXPECT_EQ(copy.StepForward(), "B");
  EXPECT_EQ(h.Current(), "X");
  EXPECT_EQ(h.StepBack(), "A");
}

}  // namespace
