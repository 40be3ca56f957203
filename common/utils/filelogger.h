// filelogger.h - the process-wide file logger and the Singleton template it
// is built on.
//
// CFileLogger appends formatted messages to one file per run of the
// application in the private temporary folder (GetTempPath), named
// "<prefix>-<YYYY-MM-DD-HH_MM_SS>.log" (the path is joined with AppendToPath,
// which turns the time's colons into "_"). Every message is opened, written
// with one write on a file opened for appending, and closed again, so each is
// on disk when the call returns, messages of concurrent writers never tear,
// and the file can be copied at any time (CopyLogTo). There is no time stamp,
// no line end added, no size limit and no rotation. The file is deleted by
// Terminate and when the process ends - only by the process that called
// Initialize, never by a forked child.
//
// Formats are the library's printf-style UTF-16 formats (tavrin_ustring::
// Format). Messages before Initialize and after Terminate are dropped.
#pragma once

#include <cstdarg>
#include <cstdlib>

#include "common/utils/export.h"
#include "common/utils/ustring.h"

namespace tavrin::utils {

// Singleton<T>
//
// Owns the one instance of T. Get() creates it on first use (not safe
// against two threads making the first call at once: call it early on the
// main thread) and registers Destroy() to run at process exit. Destroy()
// deletes the instance through its virtual destructor; the destructor sets
// the pointer back to null, so Get() may create a new one afterwards.
template <class T>
class TAVRIN_EXPORT Singleton {
 public:
  static T* Get();
  static void Destroy();
  virtual ~Singleton();

 protected:
  Singleton() = default;
  static T* s_instance;
};

template <class T>
T* Singleton<T>::s_instance = nullptr;

template <class T>
T* Singleton<T>::Get() {
  static bool registered = false;
  if (!s_instance) {
    s_instance = new T();
    if (!registered) {
      registered = true;
      std::atexit(&Singleton<T>::Destroy);
    }
  }
  return s_instance;
}

template <class T>
void Singleton<T>::Destroy() {
  if (s_instance) delete s_instance;  // ~Singleton clears s_instance
  s_instance = nullptr;
}

template <class T>
Singleton<T>::~Singleton() {
  s_instance = nullptr;
}

}  // namespace tavrin::utils

class TAVRIN_EXPORT CFileLogger;
extern template class tavrin::utils::Singleton<CFileLogger>;

// CFileLogger
//
// Static operations reach the one instance through Get(); calling them
// through an instance works too.
class TAVRIN_EXPORT CFileLogger : public tavrin::utils::Singleton<CFileLogger> {
 public:
  // Initialize()
  //
  // Sets the path to AppendToPath(GetTempPath(), prefix + "-" + local time
  // "%Y-%m-%d-%H:%M:%S" + ".log"); the file is created by the first message.
  // False, with nothing changed, when the logger is already initialised or
  // there is no private temporary folder. The name has one-second
  // resolution.
  static bool Initialize(const tavrin::utils::tavrin_ustring& prefix);

  // Terminate()
  //
  // Deletes the file (when it exists and this process initialised the
  // logger) and clears the path, so Initialize may be called again.
  static void Terminate();

  // Whether a path is set.
  bool IsInitialized() const;
  // The path; "" when not initialised.
  tavrin::utils::tavrin_ustring GetFile() const;
  // The singleton's path.
  static tavrin::utils::tavrin_ustring GetLogFile();

  // WriteLog(), Write()
  //
  // Format one message and append its UTF-8 form to the file. Nothing happens
  // when the logger is not initialised; a file that cannot be opened drops
  // the message silently. Write is WriteLog on the singleton. The template
  // forms take any argument list (Write("n=%d\n", 0) included) and pass it on
  // as variable arguments; the va_list forms are chosen only for a real
  // va_list.
  void WriteLog(tavrin::utils::tavrin_ustring format, ...);
  void WriteLog(const tavrin::utils::tavrin_ustring& format, va_list args);
  template <class... Args>
  void WriteLog(tavrin::utils::tavrin_ustring format, Args... args) {
    WriteLogArguments(format, args...);
  }
  static void Write(tavrin::utils::tavrin_ustring format, ...);
  static void Write(const tavrin::utils::tavrin_ustring& format, va_list args);
  template <class... Args>
  static void Write(tavrin::utils::tavrin_ustring format, Args... args) {
    Get()->WriteLogArguments(format, args...);
  }

  // CopyLogTo()
  //
  // Copies the file into `directory` under its own name, never overwriting
  // (CopyFile with failIfExists); a missing folder is created. False when the
  // logger is not initialised, nothing was written yet, or a file of that
  // name is already there.
  static bool CopyLogTo(const tavrin::utils::tavrin_ustring& directory);

  ~CFileLogger() override;

 private:
  friend class tavrin::utils::Singleton<CFileLogger>;
  CFileLogger();

  // The variable-argument path of the template forms.
  void WriteLogArguments(tavrin::utils::tavrin_ustring format, ...);

  tavrin::utils::tavrin_ustring path_;
  long owner_pid_ = 0;  // the process that called Initialize
};
