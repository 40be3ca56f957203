// device_info-mac.mm - manufacturer and model of the machine: Apple's
// "hw.model" from sysctlbyname where it exists; elsewhere (GNUstep on Linux)
// the firmware's DMI fields, as the Linux layer reads them.
#include <sys/types.h>
#if defined(__APPLE__)
#include <sys/sysctl.h>
#endif

#include <string>
#include <vector>

#include "common/utils/internal/osutils_internal.h"
#include "common/utils/platform.h"

namespace tavrin::platform {

std::string DeviceManufacturer() {
#if defined(__APPLE__)
  return "Apple Inc.";
#else
  return tavrin::osutils::internal::ReadDmiField("/sys/class/dmi/id", "sys_vendor");
#endif
}

std::string DeviceModel() {
#if defined(__APPLE__)
  std::size_t size = 0;
  if (::sysctlbyname("hw.model", nullptr, &size, nullptr, 0) != 0 || size == 0) return {};
  std::vector<char> buffer(size + 1, '\0');  // one zero byte more than asked
  if (::sysctlbyname("hw.model", buffer.data(), &size, nullptr, 0) != 0) return {};
  return std::string(buffer.data());
#else
  return tavrin::osutils::internal::ReadDmiField("/sys/class/dmi/id", "product_name");
#endif
}

}  // namespace tavrin::platform
