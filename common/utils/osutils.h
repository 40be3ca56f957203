// osutils.h - questions about the operating system, the user, the screen and
// the process, and handing URLs and files to the desktop.
//
// Every raw answer comes from the platform layer through a replaceable hook
// declared here, so tests and other platforms can feed raw answers while the
// library's rules stay under test.
#pragma once

#include "common/utils/export.h"

namespace tavrin::osutils {

// IsMainThread()
//
// Whether the calling thread is the main thread. The main thread is,
// deliberately, whichever thread first calls this function: the first call
// records that thread (once, thread-safely) and every later call compares
// with it. An application calls it once from its main thread early at
// start-up.
TAVRIN_EXPORT bool IsMainThread();

}  // namespace tavrin::osutils
