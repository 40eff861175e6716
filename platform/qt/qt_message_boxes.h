#pragma once

#include <set>
#include <utility>

#include "platform/message_box.h"

class QWidget;

namespace quenvar {

/// Message boxes of Qt. Their texts are plain text, whatever they contain.
class QtMessageBoxes final : public MessageBoxes {
 public:
  BoxAnswer Show(const std::string& text, const std::string& title, BoxIcon icon, BoxButtons buttons) override;

 private:
  std::set<std::pair<std::string, std::string>> open_;
};

}  // namespace quenvar
