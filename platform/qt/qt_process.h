#pragma once

#include <QLockFile>
#include <functional>
#include <random>

#include "platform/message_box.h"
#include "platform/posix/secret_numbers.h"
#include "platform/process.h"
#include "platform/qt/show_requests.h"

namespace quenvar {

/// The process under Qt. A lock file beside the settings file marks the one copy that may run with these settings; the
/// lock of a copy that was killed does not count. A copy that may not run asks that one to show its window.
class QtProcess final : public Process {
 public:
  /// `releaseAll` closes the sockets and stops the timer; it is called before a run-time error is reported.
  QtProcess(Version version, const QString& lockPath, ShowRequests& showRequests, MessageBoxes& boxes,
            std::function<void()> releaseAll);

  Version ProgramVersion() override { return version_; }
  bool PreviousInstance() override;
  [[noreturn]] void EndWithRunTimeError(int number, const std::string& description) override;
  void Report(const std::string& line) override;
  void Randomize() override { generator_.seed(std::random_device{}()); }
  std::uint16_t SecretNumber() override { return secrets_.Next(); }
  double Random() override { return std::uniform_real_distribution<double>(0, 1)(generator_); }

 private:
  const Version version_;
  QLockFile lock_;
  ShowRequests& showRequests_;
  MessageBoxes& boxes_;
  const std::function<void()> releaseAll_;
  std::mt19937_64 generator_;
  SecretNumbers secrets_;
};

}  // namespace quenvar
