// Tests of the feature switches: the update algebra, the default manager, the
// dump, the request parser and the toggle scope.
#include "common/utils/featureswitchmanager.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/test_support.h"

namespace {

using tavrin::utils::FeatureSet;
using tavrin::utils::FeatureSwitchesToggle;
using tavrin::utils::FeatureSwitchManager;
using tavrin::utils::IsFeatureEnabled;
using tavrin::utils::ParseFeaturesFromString;

// Every test starts and ends without a default manager.
class FeatureSwitchManagerTest : public ::testing::Test {
 protected:
  void SetUp() override { FeatureSwitchManager::ShutDownDefaultManager(); }
  void TearDown() override { FeatureSwitchManager::ShutDownDefaultManager(); }
};

// --- One manager ----------------------------------------------------------------

TEST_F(FeatureSwitchManagerTest, ConstructorEnablesSupportedRequests) {
  FeatureSwitchManager m({"alpha", "beta"}, {"alpha", "beta", "gamma"});
  EXPECT_TRUE(m.IsFeatureEnabled("alpha"));
  EXPECT_TRUE(m.IsFeatureEnabled("beta"));
  EXPECT_FALSE(m.IsFeatureEnabled("gamma"));
  EXPECT_FALSE(m.IsFeatureEnabled("Alpha"));  // byte-exact
  EXPECT_FALSE(m.IsFeatureEnabled(""));
  EXPECT_TRUE(m.IsValid());
}

TEST_F(FeatureSwitchManagerTest, UnsupportedRequestInvalidatesButOthersStillCount) {
  FeatureSwitchManager m({}, {"a", "b"});
  EXPECT_FALSE(m.UpdateFeatureSwitches({"a", "zz", "b"}, {}));
  EXPECT_TRUE(m.IsFeatureEnabled("a"));
  EXPECT_TRUE(m.IsFeatureEnabled("b"));
  EXPECT_FALSE(m.IsFeatureEnabled("zz"));
  EXPECT_FALSE(m.IsValid());
  // The next clean update is valid again: the flag describes the last one.
  EXPECT_TRUE(m.UpdateFeatureSwitches({"a"}, {}));
}

TEST_F(FeatureSwitchManagerTest, NegationInTheSameRequestWins) {
  FeatureSwitchManager m({}, {"x", "y"});
  EXPECT_TRUE(m.UpdateFeatureSwitches({"x", "!x", "y"}, {}));
  EXPECT_FALSE(m.IsFeatureEnabled("x"));
  EXPECT_TRUE(m.IsFeatureEnabled("y"));
  EXPECT_EQ(m.Negations(), FeatureSet({"!x"}));
}

TEST_F(FeatureSwitchManagerTest, LaterNegationTurnsOffAndKeepsVetoing) {
  FeatureSwitchManager m({"x", "y"}, {"x", "y"});
  ASSERT_TRUE(m.IsFeatureEnabled("x"));
  EXPECT_TRUE(m.UpdateFeatureSwitches({"!x"}, {}));
  EXPECT_FALSE(m.IsFeatureEnabled("x"));
  EXPECT_TRUE(m.IsFeatureEnabled("y"));  // untouched names stay on
  // The veto is remembered: asking for x again later changes nothing, and a
  // vetoed unsupported name is not reported either.
  EXPECT_TRUE(m.UpdateFeatureSwitches({"x"}, {}));
  EXPECT_FALSE(m.IsFeatureEnabled("x"));
  EXPECT_TRUE(m.UpdateFeatureSwitches({"!q", "q"}, {}));
  EXPECT_FALSE(m.IsFeatureEnabled("q"));
}

TEST_F(FeatureSwitchManagerTest, NegationWinsForNamesSortingBeforeTheMark) {
  // " a" (space) sorts before "! a": a single sorted walk would meet the name
  // before its veto.
  FeatureSwitchManager m({" a", "! a", "\tb"}, {" a", "\tb"});
  EXPECT_FALSE(m.IsFeatureEnabled(" a"));
  EXPECT_TRUE(m.IsFeatureEnabled("\tb"));
  EXPECT_TRUE(m.IsValid());
}

TEST_F(FeatureSwitchManagerTest, CommentsAreIgnored) {
  FeatureSwitchManager m({"# note", "#x", "#", "x"}, {"x"});
  EXPECT_TRUE(m.IsValid());
  EXPECT_TRUE(m.IsFeatureEnabled("x"));
  EXPECT_FALSE(m.IsFeatureEnabled("#x"));
  EXPECT_EQ(m.EnabledFeatures(), FeatureSet({"x"}));
  EXPECT_TRUE(m.Negations().empty());
}

TEST_F(FeatureSwitchManagerTest, EmptyEntryIsAnUnsupportedName) {
  FeatureSwitchManager m({}, {"a"});
  EXPECT_FALSE(m.UpdateFeatureSwitches({""}, {}));
  EXPECT_FALSE(m.IsFeatureEnabled(""));
  // Supported, it is an ordinary switch; "!" vetoes it.
  EXPECT_TRUE(m.UpdateFeatureSwitches({""}, {""}));
  EXPECT_TRUE(m.IsFeatureEnabled(""));
  EXPECT_TRUE(m.UpdateFeatureSwitches({"!"}, {}));
  EXPECT_FALSE(m.IsFeatureEnabled(""));
}

TEST_F(FeatureSwitchManagerTest, SupportedSetOnlyGrows) {
  FeatureSwitchManager m({}, {"a"});
  EXPECT_TRUE(m.UpdateFeatureSwitches({}, {"b"}));
  EXPECT_EQ(m.SupportedFeatures(), FeatureSet({"a", "b"}));
  // A name unsupported when requested is dropped; supporting it later does
  // not bring it back, requesting it again does.
  EXPECT_FALSE(m.UpdateFeatureSwitches({"c"}, {}));
  EXPECT_TRUE(m.UpdateFeatureSwitches({}, {"c"}));
  EXPECT_FALSE(m.IsFeatureEnabled("c"));
  EXPECT_TRUE(m.UpdateFeatureSwitches({"c"}, {}));
  EXPECT_TRUE(m.IsFeatureEnabled("c"));
}

TEST_F(FeatureSwitchManagerTest, RequestAndSupportInOneUpdate) {
  FeatureSwitchManager m({"n"}, {});
  EXPECT_FALSE(m.IsValid());
  EXPECT_TRUE(m.UpdateFeatureSwitches({"n"}, {"n"}));
  EXPECT_TRUE(m.IsFeatureEnabled("n"));
}

// Model of the algebra stated over the whole history instead of update by
// update: after updates 1..k, a name is on when no "!" entry for it was
// ever requested and some update i requested it while it was supported by
// updates 1..i; update k is valid when each name it requests is vetoed or
// supported by updates 1..k.
TEST_F(FeatureSwitchManagerTest, RandomUpdatesAgreeWithHistoryModel) {
  const std::uint32_t seed = tavrin::test::TestSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const std::vector<std::string> names = {"a", "b", "c", "d", " e", "", "f1"};
  auto pick = [&](int percent) {
    FeatureSet s;
    for (const std::string& n : names) {
      const unsigned roll = rng() % 100;
      if (roll < static_cast<unsigned>(percent)) s.insert(n);
      if (roll >= 97) s.insert("!" + n);
      if (roll == 50) s.insert("#" + n);
    }
    return s;
  };
  for (int round = 0; round < 200; ++round) {
    std::vector<FeatureSet> requests, supports;
    std::unique_ptr<FeatureSwitchManager> m;
    const int updates = 1 + static_cast<int>(rng() % 6);
    for (int k = 0; k < updates; ++k) {
      requests.push_back(pick(30));
      supports.push_back(pick(25));
      bool valid;
      if (k == 0) {
        m = std::make_unique<FeatureSwitchManager>(requests[0], supports[0]);
        valid = m->IsValid();
      } else {
        valid = m->UpdateFeatureSwitches(requests[k], supports[k]);
      }
      FeatureSet vetoes, supported_so_far;
      for (int i = 0; i <= k; ++i) {
        for (const std::string& e : requests[i])
          if (!e.empty() && e[0] == '!') vetoes.insert(e.substr(1));
        supported_so_far.insert(supports[i].begin(), supports[i].end());
      }
      bool expected_valid = true;
      for (const std::string& e : requests[k]) {
        if (!e.empty() && (e[0] == '!' || e[0] == '#')) continue;
        if (!vetoes.count(e) && !supported_so_far.count(e)) expected_valid = false;
      }
      EXPECT_EQ(valid, expected_valid) << "round " << round << " update " << k;
      for (const std::string& n : names) {
        bool expected = false;
        FeatureSet supported_then;
        for (int i = 0; i <= k; ++i) {
          supported_then.insert(supports[i].begin(), supports[i].end());
          if (requests[i].count(n) && supported_then.count(n)) expected = true;
        }
        if (vetoes.count(n)) expected = false;
        EXPECT_EQ(m->IsFeatureEnabled(n), expected)
            << "round " << round << " update " << k << " name '" << n << "'";
      }
      EXPECT_EQ(m->SupportedFeatures(), supported_so_far);
    }
  }
}

// --- The dump ---------------------------------------------------------------------

TEST_F(FeatureSwitchManagerTest, ToStringExactText) {
  FeatureSwitchManager m({"b", "!c", "#c"}, {"b", "a"});
  EXPECT_EQ(m.ToString(),
            "\nAll Supported Feature Switches:\n==========\na\nb\n"
            "\nFeatures Enabled for this Launch:\n==========\nb\n\n");
  FeatureSwitchManager empty({}, {});
  EXPECT_EQ(empty.ToString(),
            "\nAll Supported Feature Switches:\n==========\n"
            "\nFeatures Enabled for this Launch:\n==========\n\n");
}

// --- The default manager ------------------------------------------------------------

TEST_F(FeatureSwitchManagerTest, NoDefaultManagerMeansEverythingOff) {
  EXPECT_EQ(FeatureSwitchManager::Default(), nullptr);
  EXPECT_FALSE(IsFeatureEnabled("anything"));
  EXPECT_FALSE(IsFeatureEnabled(nullptr));
}

TEST_F(FeatureSwitchManagerTest, DefaultManagerAccumulatesAcrossInitializations) {
  EXPECT_TRUE(FeatureSwitchManager::InitializeDefaultManager({"a"}, {"a", "b"}));
  FeatureSwitchManager* first = FeatureSwitchManager::Default();
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(IsFeatureEnabled("a"));
  EXPECT_FALSE(IsFeatureEnabled(nullptr));
  // A second call updates the same manager.
  EXPECT_FALSE(FeatureSwitchManager::InitializeDefaultManager({"b", "nope"}, {}));
  EXPECT_EQ(FeatureSwitchManager::Default(), first);
  EXPECT_TRUE(IsFeatureEnabled("a"));
  EXPECT_TRUE(IsFeatureEnabled("b"));
  EXPECT_FALSE(IsFeatureEnabled("nope"));
  EXPECT_TRUE(FeatureSwitchManager::InitializeDefaultManager({"!a"}, {}));
  EXPECT_FALSE(IsFeatureEnabled("a"));
  FeatureSwitchManager::ShutDownDefaultManager();
  EXPECT_EQ(FeatureSwitchManager::Default(), nullptr);
  EXPECT_FALSE(IsFeatureEnabled("b"));
}

TEST_F(FeatureSwitchManagerTest, FirstInitializationReportsUnsupportedNames) {
  EXPECT_FALSE(FeatureSwitchManager::InitializeDefaultManager({"a", "zz"}, {"a"}));
  EXPECT_TRUE(IsFeatureEnabled("a"));
  EXPECT_FALSE(IsFeatureEnabled("zz"));
}

// --- Parsing request text -------------------------------------------------------------

TEST_F(FeatureSwitchManagerTest, ParseTrimsLinesOfAnyLineEnd) {
  EXPECT_EQ(ParseFeaturesFromString("  alpha \r\n\tbeta\r\n!gamma  \r\n"),
            FeatureSet({"alpha", "beta", "!gamma"}));
  EXPECT_EQ(ParseFeaturesFromString("a\rb\n\n\nc"), FeatureSet({"a", "b", "c"}));
  EXPECT_EQ(ParseFeaturesFromString("x\nx\n x\n"), FeatureSet({"x"}));
}

TEST_F(FeatureSwitchManagerTest, ParseDropsBlankLinesAndKeepsComments) {
  EXPECT_EQ(ParseFeaturesFromString("a\n   \n\t\t\nb\n \r\n"), FeatureSet({"a", "b"}));
  EXPECT_EQ(ParseFeaturesFromString("# comment line\na"), FeatureSet({"# comment line", "a"}));
  EXPECT_TRUE(ParseFeaturesFromString("").empty());
  EXPECT_TRUE(ParseFeaturesFromString("\r\n \n").empty());
  // Inner blanks stay: a line is one entry.
  EXPECT_EQ(ParseFeaturesFromString(" two words "), FeatureSet({"two words"}));
}

TEST_F(FeatureSwitchManagerTest, ParseKeepsUtf8AndRejectsInvalidText) {
  EXPECT_EQ(ParseFeaturesFromString("caf\xC3\xA9\n"), FeatureSet({"caf\xC3\xA9"}));
  EXPECT_TRUE(ParseFeaturesFromString("ok\n\xFF\xFE bad\n").empty());
}

TEST_F(FeatureSwitchManagerTest, ParsedFileFeedsTheDefaultManager) {
  const std::string text =
      "# switches for this launch\r\n"
      "fast-open\r\n"
      "   \r\n"
      "new-ui\r\n"
      "!new-ui\r\n"
      "beta-export\r\n";
  EXPECT_TRUE(FeatureSwitchManager::InitializeDefaultManager(
      ParseFeaturesFromString(text), {"fast-open", "new-ui", "beta-export"}));
  EXPECT_TRUE(IsFeatureEnabled("fast-open"));
  EXPECT_TRUE(IsFeatureEnabled("beta-export"));
  EXPECT_FALSE(IsFeatureEnabled("new-ui"));
}

// --- Toggles ------------------------------------------------------------------------------

TEST_F(FeatureSwitchManagerTest, ToggleWithoutManagerLeavesNone) {
  {
    FeatureSwitchesToggle toggle({"t"});
    ASSERT_NE(FeatureSwitchManager::Default(), nullptr);
    EXPECT_TRUE(IsFeatureEnabled("t"));
    EXPECT_TRUE(FeatureSwitchManager::Default()->IsValid());
  }
  EXPECT_EQ(FeatureSwitchManager::Default(), nullptr);
  EXPECT_FALSE(IsFeatureEnabled("t"));
}

TEST_F(FeatureSwitchManagerTest, ToggleRestoresTheEarlierState) {
  ASSERT_TRUE(FeatureSwitchManager::InitializeDefaultManager({"a", "!b"}, {"a", "b", "c"}));
  {
    FeatureSwitchesToggle toggle({"c", "t"}, {"t"});
    EXPECT_TRUE(IsFeatureEnabled("a"));
    EXPECT_TRUE(IsFeatureEnabled("c"));
    EXPECT_TRUE(IsFeatureEnabled("t"));
    // The saved veto still holds inside the toggle.
    EXPECT_FALSE(IsFeatureEnabled("b"));
  }
  FeatureSwitchManager* m = FeatureSwitchManager::Default();
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->EnabledFeatures(), FeatureSet({"a"}));
  EXPECT_EQ(m->SupportedFeatures(), FeatureSet({"a", "b", "c"}));
  EXPECT_EQ(m->Negations(), FeatureSet({"!b"}));
  EXPECT_FALSE(IsFeatureEnabled("t"));
  EXPECT_FALSE(IsFeatureEnabled("c"));
}

TEST_F(FeatureSwitchManagerTest, ToggleCanVetoForItsScope) {
  ASSERT_TRUE(FeatureSwitchManager::InitializeDefaultManager({"a"}, {"a"}));
  {
    FeatureSwitchesToggle toggle({"!a"}, {});
    EXPECT_FALSE(IsFeatureEnabled("a"));
  }
  EXPECT_TRUE(IsFeatureEnabled("a"));
}

TEST_F(FeatureSwitchManagerTest, NestedTogglesUnwindInOrder) {
  ASSERT_TRUE(FeatureSwitchManager::InitializeDefaultManager({"base"}, {"base"}));
  {
    FeatureSwitchesToggle outer({"one"});
    EXPECT_TRUE(IsFeatureEnabled("one"));
    {
      FeatureSwitchesToggle inner({"two"});
      EXPECT_TRUE(IsFeatureEnabled("base"));
      EXPECT_TRUE(IsFeatureEnabled("one"));
      EXPECT_TRUE(IsFeatureEnabled("two"));
    }
    EXPECT_TRUE(IsFeatureEnabled("one"));
    EXPECT_FALSE(IsFeatureEnabled("two"));
  }
  EXPECT_TRUE(IsFeatureEnabled("base"));
  EXPECT_FALSE(IsFeatureEnabled("one"));
  EXPECT_EQ(FeatureSwitchManager::Default()->SupportedFeatures(), FeatureSet({"base"}));
}

TEST_F(FeatureSwitchManagerTest, ToggleOverEmptyManagerLeavesNone) {
  ASSERT_TRUE(FeatureSwitchManager::InitializeDefaultManager({}, {}));
  ASSERT_NE(FeatureSwitchManager::Default(), nullptr);
  { FeatureSwitchesToggle toggle({"t"}); }
  EXPECT_EQ(FeatureSwitchManager::Default(), nullptr);
}

TEST_F(FeatureSwitchManagerTest, ToggleOfUnsupportedNameLeavesItOff) {
  {
    FeatureSwitchesToggle toggle({"wanted"}, {"other"});
    EXPECT_FALSE(IsFeatureEnabled("wanted"));
    EXPECT_FALSE(FeatureSwitchManager::Default()->IsValid());
  }
  // The saved state was empty: nothing is left behind.
  EXPECT_EQ(FeatureSwitchManager::Default(), nullptr);
}

// --- The tavrin tool ------------------------------------------------------------------------

TEST_F(FeatureSwitchManagerTest, ToolPrintsDumpAndUnsupportedNames) {
  const std::string tool = tavrin::test::ToolPath();
  if (tool.empty()) GTEST_SKIP() << "the tavrin tool is not built";
  const std::string dir = tavrin::test::FreshDir("features-tool");
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/req.txt", "# c\r\nb\r\n !a \r\na\r\nzz\r\n"));
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/sup.txt", "# known\na\nb\nc\n"));
  std::string out;
  EXPECT_EQ(
      tavrin::test::RunShell(
          "'" + tool + "' features '" + dir + "/req.txt' --supported '" + dir + "/sup.txt'", &out),
      1);
  EXPECT_EQ(out,
            "\nAll Supported Feature Switches:\n==========\na\nb\nc\n"
            "\nFeatures Enabled for this Launch:\n==========\nb\n\n"
            "Requested but Not Supported:\n==========\nzz\n");
  // Without a supported list every requested name is supported.
  ASSERT_TRUE(tavrin::test::WriteFile(dir + "/ok.txt", "x\ny\n!y\n"));
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' features - < '" + dir + "/ok.txt'", &out), 0);
  EXPECT_EQ(out,
            "\nAll Supported Feature Switches:\n==========\nx\ny\n"
            "\nFeatures Enabled for this Launch:\n==========\nx\n\n"
            "Requested but Not Supported:\n==========\n");
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' features 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' features a b 2>/dev/null"), 2);
  EXPECT_EQ(tavrin::test::RunShell("'" + tool + "' features '" + dir + "/missing' 2>/dev/null"), 1);
}

}  // namespace
