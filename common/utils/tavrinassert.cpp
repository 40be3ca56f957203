// tavrinassert.cpp - the assertion hook.
#include "common/utils/tavrinassert.h"

#include <atomic>
#include <string>

#include "common/utils/ustring.h"

namespace tavrin::utils {
namespace {

std::atomic<IAssertLogger*> s_logger_hook{nullptr};

}  // namespace

IAssertShowMore::~IAssertShowMore() = default;

void AssertFailed(const char* file, unsigned int line, const char* expression) {
  IAssertLogger* hook = s_logger_hook.load();
  if (!hook) return;
  // The same text as formatting "%S:%u: failed assertion '%S'" with the two
  // UTF-8 arguments: each is decoded as UTF-8 (invalid text inserts nothing)
  // and a "%" inside it is copied, never interpreted.
  tavrin_ustring message(file ? file : "");
  message += tavrin_ustring(":");
  message += tavrin_ustring(std::to_string(line).c_str());
  message += tavrin_ustring(": failed assertion '");
  message += tavrin_ustring(expression ? expression : "");
  message += tavrin_ustring("'");
  hook->LogAssertion(message.utf8().c_str());
}

void SetLoggerHook(IAssertLogger* hook) {
  s_logger_hook.store(hook);
}

void SetShowMoreHook(IAssertShowMore* /*hook*/) {}

}  // namespace tavrin::utils
