#include "engine/log/event_log.h"

#include "platform/clock.h"
#include "platform/platform.h"
#include "platform/process.h"

namespace quenvar {

namespace {

constexpr std::size_t kLongestLog = 20000;

LogView noView;
bool failuresAreSeen = false;

// The text of the log. Dropping characters at the front only moves a mark, so that a full log costs a line no more than
// an empty one; the dropped ones go when they have become as many as the log may hold.
class LogBuffer {
 public:
  std::string_view Text() const { return std::string_view(characters_).substr(dropped_); }

  void DropFront(std::size_t count) {
    dropped_ += count;
    if (dropped_ < kLongestLog) return;
    characters_.erase(0, dropped_);
    dropped_ = 0;
  }

  void Append(std::string_view text) { characters_.append(text); }

  void Clear() {
    characters_.clear();
    dropped_ = 0;
  }

 private:
  std::string characters_;
  std::size_t dropped_ = 0;
};

LogBuffer log;

// Drops whole lines at the front. The scan does not go back to the front after a cut; this is intended.
void TrimLog() {
  std::size_t position = 0;
  while (log.Text().size() > kLongestLog) {
    const std::size_t lineFeed = log.Text().find('\n', position);
    if (lineFeed == std::string_view::npos) return;
    position = lineFeed + 1;
    log.DropFront(position);
  }
}

}  // namespace

LogView* logView = &noView;

void WriteLog(std::string_view message) {
  const std::string& time = platform.clock->TimeOfDay();
  TrimLog();
  log.Append(time);
  log.Append(" ");
  log.Append(message);
  log.Append("\r\n");
  logView->LogChanged();
}

void WriteFailureToLog(const std::string& message) {
  WriteLog(message);
  if (!failuresAreSeen) platform.process->Report(message);
}

void ShowFailuresInLogOnly(bool logOnly) { failuresAreSeen = logOnly; }

void ClearLog() {
  log.Clear();
  logView->LogChanged();
}

std::string_view LogText() { return log.Text(); }

}  // namespace quenvar
