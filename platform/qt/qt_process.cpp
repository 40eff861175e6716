#include "platform/qt/qt_process.h"

#include <QDir>
#include <QFileInfo>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace quenvar {

namespace {

constexpr int kRunTimeErrorStatus = 1;

}  // namespace

QtProcess::QtProcess(Version version, const QString& lockPath, ShowRequests& showRequests, MessageBoxes& boxes,
                     std::function<void()> releaseAll)
    : version_(version),
      lock_(lockPath),
      showRequests_(showRequests),
      boxes_(boxes),
      releaseAll_(std::move(releaseAll)) {
  // A running copy holds the lock for months: its age says nothing.
  lock_.setStaleLockTime(0);
}

// Where no lock file can be made, nothing is known of another copy, and the taken port will tell.
bool QtProcess::PreviousInstance() {
  QDir().mkpath(QFileInfo(lock_.fileName()).path());
  if (lock_.tryLock()) {
    showRequests_.Listen();
    return false;
  }
  if (lock_.error() != QLockFile::LockFailedError) return false;
  if (!showRequests_.Send(qEnvironmentVariable("XDG_ACTIVATION_TOKEN").toStdString()))
    Report("Quenvar is already running, but cannot be asked to show its window.");
  return true;
}

void QtProcess::EndWithRunTimeError(int number, const std::string& description) {
  releaseAll_();
  lock_.unlock();
  const std::string report = "Run-time error '" + std::to_string(number) + "': " + description;
  Report(report);
  boxes_.Show(report, "Quenvar", BoxIcon::Critical, BoxButtons::Ok);
  std::_Exit(kRunTimeErrorStatus);
}

void QtProcess::Report(const std::string& line) {
  std::fprintf(stderr, "quenvar: %s\n", line.c_str());
  std::fflush(stderr);
}

}  // namespace quenvar
