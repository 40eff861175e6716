#pragma once

#include <string>

namespace quenvar {

enum class BoxIcon { Critical, Question, Exclamation, Information };
enum class BoxButtons { Ok, OkCancel };
enum class BoxAnswer { Ok, Cancel };

class MessageBoxes {
 public:
  virtual ~MessageBoxes() = default;

  /// Shows a modal box with plain text and returns the user's answer. Sockets and timers are served while it is open.
  /// A box with this title and text that is open already is not opened a second time: the answer is then Cancel at
  /// once.
  virtual BoxAnswer Show(const std::string& text, const std::string& title, BoxIcon icon, BoxButtons buttons) = 0;
  /// Closes the open boxes with this title. Their answer is Cancel.
  virtual void Withdraw(const std::string& title) = 0;
};

}  // namespace quenvar
