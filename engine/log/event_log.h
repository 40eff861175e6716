// The event log: one line for each query, answer and notable event, kept in memory and shown on the log page.
#pragma once

#include <string>
#include <string_view>

namespace quenvar {

/// Shows the log. Called after every change, up to thousands of times a second: it takes the text from LogText when
/// it draws, not here.
class LogView {
 public:
  virtual ~LogView() = default;
  virtual void LogChanged() {}
};

/// Set once at start.
extern LogView* logView;

/// Appends the time of day, a blank, the message as it stands, carriage return and line feed. Before that, the oldest
/// lines are dropped from a log of more than 20000 characters.
void WriteLog(std::string_view message);

/// WriteLog for a failure: it goes to standard error too until ShowFailuresInLogOnly, so that a start that fails does
/// not end silently.
void WriteFailureToLog(const std::string& message);

/// The window has been shown: the user can read the log.
void ShowFailuresInLogOnly(bool logOnly = true);

/// Empties the log.
void ClearLog();

/// The whole log. Valid until the next line is written.
std::string_view LogText();

}  // namespace quenvar
