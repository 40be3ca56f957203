// featureswitch_fuzz.cpp - feature-switch request text on arbitrary bytes.
// The input is "requests\0supported" (two request texts). Aborts when a
// parsed entry has surrounding white space or a line break, when an enabled
// switch is unsupported or vetoed, when a requested, supported, unvetoed name
// is not enabled, or when the valid flag disagrees with the entries.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/utils/featureswitchmanager.h"

namespace {

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
#if defined(TAVRIN_FUZZING)
  if (size > (1u << 16)) return 0;
#endif
  using tavrin::utils::FeatureSet;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t cut = input.find('\0');
  const FeatureSet requests = tavrin::utils::ParseFeaturesFromString(input.substr(0, cut));
  const FeatureSet supported = tavrin::utils::ParseFeaturesFromString(
      cut == std::string::npos ? std::string() : input.substr(cut + 1));
  for (const FeatureSet* set : {&requests, &supported}) {
    for (const std::string& e : *set) {
      if (e.empty() || IsBlank(e.front()) || IsBlank(e.back())) std::abort();
      if (e.find_first_of("\r\n") != std::string::npos) std::abort();
    }
  }
  tavrin::utils::FeatureSwitchManager manager({}, supported);
  const bool valid = manager.UpdateFeatureSwitches(requests, {});
  bool expected_valid = true;
  for (const std::string& e : requests) {
    if (e[0] == '#' || e[0] == '!') continue;
    const bool vetoed = requests.count("!" + e) != 0;
    const bool on = supported.count(e) != 0 && !vetoed;
    if (manager.IsFeatureEnabled(e) != on) std::abort();
    if (!vetoed && supported.count(e) == 0) expected_valid = false;
  }
  if (valid != expected_valid) std::abort();
  for (const std::string& e : manager.EnabledFeatures())
    if (supported.count(e) == 0 || requests.count("!" + e) != 0) std::abort();
  return 0;
}
