// tavrinassert.h - the assertion hook: failed-assertion messages handed to the
// application.
//
// The library never stops, prints or throws on a failed assertion. It builds
// one message, "<file>:<line>: failed assertion '<expression>'", and hands
// its UTF-8 form to the hook the application installed; without a hook a
// failed assertion has no effect at all. Percent signs inside the file or
// expression text are copied, never interpreted.
#pragma once

#include "common/utils/export.h"

namespace tavrin::utils {

// IAssertLogger
//
// Supplied by the application. LogAssertion receives each message as
// zero-terminated UTF-8. The library never deletes a hook (the destructor is
// protected and not virtual).
class TAVRIN_EXPORT IAssertLogger {
 public:
  virtual void LogAssertion(const char* utf8) = 0;

 protected:
  ~IAssertLogger() = default;
};

// IAssertShowMore
//
// An empty interface kept for applications that pass one; the library calls
// nothing on it and stores nothing of it.
class TAVRIN_EXPORT IAssertShowMore {
 public:
  virtual ~IAssertShowMore() = 0;
};

// AssertFailed()
//
// Builds "<file>:<line>: failed assertion '<expression>'" from zero-terminated
// UTF-8 texts (null counts as "") and calls the hook's LogAssertion with it.
// No hook: nothing happens.
TAVRIN_EXPORT void AssertFailed(const char* file, unsigned int line, const char* expression);

// SetLoggerHook()
//
// Installs `hook` (null removes it). The hook is not owned and must outlive
// its installation. Install it before other threads assert.
TAVRIN_EXPORT void SetLoggerHook(IAssertLogger* hook);

// SetShowMoreHook()
//
// Accepted and ignored.
TAVRIN_EXPORT void SetShowMoreHook(IAssertShowMore* hook);

}  // namespace tavrin::utils
