// featureswitchmanager.cpp - the switch algebra, the default manager and the
// toggle scope.
#include "common/utils/featureswitchmanager.h"

#include <utility>
#include <vector>

#include "common/utils/ustring.h"

namespace tavrin::utils {
namespace {

// The process-wide default manager; empty until InitializeDefaultManager.
std::unique_ptr<FeatureSwitchManager>& DefaultSlot() {
  static std::unique_ptr<FeatureSwitchManager> slot;
  return slot;
}

}  // namespace

FeatureSwitchManager::FeatureSwitchManager(const FeatureSet& requested,
                                           const FeatureSet& supported) {
  UpdateFeatureSwitches(requested, supported);
}

bool FeatureSwitchManager::UpdateFeatureSwitches(const FeatureSet& requested,
                                                 const FeatureSet& supported) {
  supported_.insert(supported.begin(), supported.end());

  // Enabled names stay enabled unless vetoed: they go through the same walk
  // as the new requests.
  FeatureSet work = std::move(enabled_);
  work.insert(requested.begin(), requested.end());
  enabled_.clear();
  valid_ = true;

  // Vetoes first, so that a veto wins over a name whatever their byte order
  // (names below "!" - space, tab, control bytes - included).
  for (const std::string& entry : work)
    if (!entry.empty() && entry[0] == '!') negations_.insert(entry);

  for (const std::string& entry : work) {
    if (!entry.empty() && (entry[0] == '!' || entry[0] == '#')) continue;
    if (negations_.count("!" + entry) != 0) continue;
    if (supported_.count(entry) != 0) {
      enabled_.insert(entry);
    } else {
      valid_ = false;
    }
  }
  return valid_;
}

bool FeatureSwitchManager::IsFeatureEnabled(const std::string& name) const {
  return enabled_.count(name) != 0;
}

std::string FeatureSwitchManager::ToString() const {
  std::string out = "\nAll Supported Feature Switches:\n==========\n";
  for (const std::string& name : supported_) {
    out += name;
    out += '\n';
  }
  out += "\nFeatures Enabled for this Launch:\n==========\n";
  for (const std::string& name : enabled_) {
    out += name;
    out += '\n';
  }
  out += '\n';
  return out;
}

bool FeatureSwitchManager::InitializeDefaultManager(const FeatureSet& requested,
                                                    const FeatureSet& supported) {
  std::unique_ptr<FeatureSwitchManager>& slot = DefaultSlot();
  if (slot) return slot->UpdateFeatureSwitches(requested, supported);
  slot = std::make_unique<FeatureSwitchManager>(requested, supported);
  return slot->valid_;
}

void FeatureSwitchManager::ShutDownDefaultManager() {
  DefaultSlot().reset();
}

FeatureSwitchManager* FeatureSwitchManager::Default() {
  return DefaultSlot().get();
}

bool IsFeatureEnabled(const char* name) {
  if (name == nullptr) return false;
  const FeatureSwitchManager* manager = FeatureSwitchManager::Default();
  return manager != nullptr && manager->IsFeatureEnabled(name);
}

FeatureSet ParseFeaturesFromString(const std::string& text) {
  FeatureSet entries;
  const tavrin_ustring wide(text);
  static const tavrin_ustring kLineBreaks("\r\n");
  for (tavrin_ustring& line : wide.TokenizeToVector(kLineBreaks)) {
    line.trim();
    if (line.empty()) continue;  // a line of only blanks is not a request
    entries.insert(line.utf8());
  }
  return entries;
}

FeatureSwitchesToggle::FeatureSwitchesToggle(const FeatureSet& requested)
    : FeatureSwitchesToggle(requested, requested) {}

FeatureSwitchesToggle::FeatureSwitchesToggle(const FeatureSet& requested,
                                             const FeatureSet& supported) {
  if (const FeatureSwitchManager* current = FeatureSwitchManager::Default()) {
    saved_requests_ = current->EnabledFeatures();
    saved_requests_.insert(current->Negations().begin(), current->Negations().end());
    saved_supported_ = current->SupportedFeatures();
    FeatureSwitchManager::ShutDownDefaultManager();
  }
  FeatureSet new_requests = saved_requests_;
  new_requests.insert(requested.begin(), requested.end());
  FeatureSet new_supported = saved_supported_;
  new_supported.insert(supported.begin(), supported.end());
  FeatureSwitchManager::InitializeDefaultManager(new_requests, new_supported);
}

FeatureSwitchesToggle::~FeatureSwitchesToggle() {
  try {
    FeatureSwitchManager::ShutDownDefaultManager();
    if (!saved_requests_.empty() || !saved_supported_.empty())
      FeatureSwitchManager::InitializeDefaultManager(saved_requests_, saved_supported_);
  } catch (...) {
    // Out of memory while rebuilding: leave no manager rather than throw from
    // a destructor.
    FeatureSwitchManager::ShutDownDefaultManager();
  }
}

}  // namespace tavrin::utils
