// featureswitchmanager.h - named on/off switches that turn features on for
// one launch of the application.
//
// The application declares the switches it supports and passes the ones
// requested for this launch (typically parsed from a text file with
// ParseFeaturesFromString); code anywhere then asks IsFeatureEnabled(name).
// One process-wide default manager holds the state; FeatureSwitchesToggle
// replaces it for the life of a scope and puts it back afterwards.
//
// Unit-wide rules:
// - Switch names are 8-bit strings compared byte by byte (case-sensitive) and
//   kept in sorted sets (FeatureSet).
// - A request entry is a name (turn that switch on), "!" and a name (keep that
//   switch off, even when it is requested too: the veto always wins, also
//   against names requested in earlier updates), or a comment starting with
//   "#" (ignored).
// - Nothing is forgotten: supported switches and vetoes only accumulate while
//   a manager lives; enabled switches stay enabled unless a later veto turns
//   them off.
// - No locking: set the default manager up at start-up, on the main thread,
//   before other threads ask.
#pragma once

#include <memory>
#include <set>
#include <string>

#include "common/utils/export.h"

namespace tavrin::utils {

// A sorted set of switch names or request entries.
using FeatureSet = std::set<std::string>;

// FeatureSwitchManager
//
// The state of the switches of one launch: the supported names, the enabled
// names, the vetoes ("!name" entries) seen so far and whether the last update
// named only supported switches.
class TAVRIN_EXPORT FeatureSwitchManager {
 public:
  // Starts with everything empty and runs UpdateFeatureSwitches(requested,
  // supported); its result is available through the next update only (use
  // InitializeDefaultManager to get it for the default manager).
  FeatureSwitchManager(const FeatureSet& requested, const FeatureSet& supported);

  // UpdateFeatureSwitches()
  //
  // Adds `supported` to the supported set, then rebuilds the enabled set from
  // the currently enabled names together with `requested`: "#" entries are
  // skipped, "!" entries are recorded as vetoes first, and every other entry
  // is enabled unless vetoed (now or earlier). Returns false when an entry
  // that is not vetoed names a switch that is not supported (that entry is
  // skipped; the others still count); an empty entry "" is such a name.
  bool UpdateFeatureSwitches(const FeatureSet& requested, const FeatureSet& supported);

  // IsFeatureEnabled() - whether `name` is enabled (byte-exact).
  bool IsFeatureEnabled(const std::string& name) const;

  // ToString()
  //
  // The dump: "\nAll Supported Feature Switches:\n==========\n", each
  // supported name and "\n" in sorted order, "\nFeatures Enabled for this
  // Launch:\n==========\n", each enabled name and "\n", and a final "\n".
  // Vetoes and the valid flag are not shown.
  std::string ToString() const;

  // The sets and the flag, for callers that report on them (the dump shows
  // only the first two).
  const FeatureSet& SupportedFeatures() const { return supported_; }
  const FeatureSet& EnabledFeatures() const { return enabled_; }
  const FeatureSet& Negations() const { return negations_; }
  bool IsValid() const { return valid_; }

  // InitializeDefaultManager()
  //
  // Updates the default manager with the two sets when one exists, else
  // makes one from them and installs it. Returns the update's valid flag
  // (false when a request named an unsupported switch).
  static bool InitializeDefaultManager(const FeatureSet& requested, const FeatureSet& supported);

  // ShutDownDefaultManager() - destroys the default manager, leaving none.
  static void ShutDownDefaultManager();

  // Default() - the default manager, or null when there is none.
  static FeatureSwitchManager* Default();

 private:
  FeatureSet supported_;
  FeatureSet enabled_;
  FeatureSet negations_;  // entries with their "!", never cleared
  bool valid_ = true;
};

// IsFeatureEnabled()
//
// Whether the default manager has the switch `name` (zero-terminated bytes)
// enabled. False when there is no default manager or `name` is null.
TAVRIN_EXPORT bool IsFeatureEnabled(const char* name);

// ParseFeaturesFromString()
//
// The request entries of `text` (UTF-8): one entry per line, lines separated
// by "\r" and "\n" in any mix, each trimmed of leading and trailing white
// space. Empty lines and lines of only white space give no entry; duplicates
// collapse. Text that is not valid UTF-8 gives an empty set.
TAVRIN_EXPORT FeatureSet ParseFeaturesFromString(const std::string& text);

// FeatureSwitchesToggle
//
// A scope that runs with extra switches on. The constructor saves the
// default manager's state (its enabled names plus vetoes as requests, its
// supported names), destroys it and installs a new default manager with the
// saved state plus `requested` and `supported`. The destructor destroys that
// manager and rebuilds the saved state; when the saved state was empty (no
// manager, or an empty one) no default manager is left. The one-set form
// supports exactly what it requests. Toggles nest when they end in reverse
// order of creation.
class TAVRIN_EXPORT FeatureSwitchesToggle {
 public:
  explicit FeatureSwitchesToggle(const FeatureSet& requested);
  FeatureSwitchesToggle(const FeatureSet& requested, const FeatureSet& supported);
  ~FeatureSwitchesToggle();
  FeatureSwitchesToggle(const FeatureSwitchesToggle&) = delete;
  FeatureSwitchesToggle& operator=(const FeatureSwitchesToggle&) = delete;

 private:
  FeatureSet saved_requests_;
  FeatureSet saved_supported_;
};

}  // namespace tavrin::utils
