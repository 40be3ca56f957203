// filelogger.cpp - the process-wide file logger.
#include "common/utils/filelogger.h"

#include <ctime>
#include <string>

#include "common/utils/fileutils.h"
#include "common/utils/internal/diagnostics_internal.h"
#include "common/utils/platform.h"
#include "common/utils/tavrintime.h"

using tavrin::utils::tavrin_ustring;

template class tavrin::utils::Singleton<CFileLogger>;

namespace {

void AppendText(const tavrin_ustring& path, const tavrin_ustring& text) {
  if (path.empty()) return;
  // Dropped silently when the file cannot be opened.
  tavrin::platform::AppendToFile(path.utf8(), text.utf8());
}

}  // namespace

namespace tavrin::utils::internal {

void WriteLogText(const tavrin_ustring& text) {
  AppendText(CFileLogger::Get()->GetFile(), text);
}

}  // namespace tavrin::utils::internal

CFileLogger::CFileLogger() = default;

CFileLogger::~CFileLogger() {
  // Only the process that initialised the logger deletes its file; a forked
  // child that exits just forgets the path.
  if (!path_.empty() && owner_pid_ == tavrin::platform::CurrentProcessId())
    tavrin::utils::RemoveFileIfExists(path_);
  path_ = tavrin_ustring();
}

bool CFileLogger::Initialize(const tavrin_ustring& prefix) {
  CFileLogger* self = Get();
  if (!self->path_.empty()) return false;
  tavrin_ustring folder;
  tavrin::utils::GetTempPath(folder);
  // Without a private temporary folder there is nowhere safe to log.
  if (folder.empty()) return false;
  std::string stamp = tavrin::utils::Time(std::time(nullptr)).Format("%Y-%m-%d-%H:%M:%S");
  tavrin_ustring name = prefix;
  name += tavrin_ustring("-");
  name += tavrin_ustring(stamp.c_str());
  name += tavrin_ustring(".log");
  self->path_ = tavrin::utils::AppendToPath(folder, name);
  self->owner_pid_ = tavrin::platform::CurrentProcessId();
  return !self->path_.empty();
}

void CFileLogger::Terminate() {
  CFileLogger* self = Get();
  if (!self->path_.empty() && self->owner_pid_ == tavrin::platform::CurrentProcessId())
    tavrin::utils::RemoveFileIfExists(self->path_);
  self->path_ = tavrin_ustring();
}

bool CFileLogger::IsInitialized() const {
  return !path_.empty();
}

tavrin_ustring CFileLogger::GetFile() const {
  return path_;
}

tavrin_ustring CFileLogger::GetLogFile() {
  return Get()->GetFile();
}

void CFileLogger::WriteLog(tavrin_ustring format, ...) {
  va_list args;
  va_start(args, format);
  WriteLog(format, args);
  va_end(args);
}

void CFileLogger::WriteLog(const tavrin_ustring& format, va_list args) {
  if (path_.empty()) return;
  tavrin_ustring text;
  text.FormatV(format, args);
  AppendText(path_, text);
}

void CFileLogger::WriteLogArguments(tavrin_ustring format, ...) {
  va_list args;
  va_start(args, format);
  WriteLog(format, args);
  va_end(args);
}

void CFileLogger::Write(tavrin_ustring format, ...) {
  va_list args;
  va_start(args, format);
  Get()->WriteLog(format, args);
  va_end(args);
}

void CFileLogger::Write(const tavrin_ustring& format, va_list args) {
  Get()->WriteLog(format, args);
}

bool CFileLogger::CopyLogTo(const tavrin_ustring& directory) {
  tavrin_ustring log = GetLogFile();
  if (log.empty()) return false;
  tavrin_ustring target =
      tavrin::utils::AppendToPath(directory, tavrin::utils::GetFileName(log, true));
  return tavrin::utils::CopyFile(log, target, true);
}
