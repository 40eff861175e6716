#include "ui/context_buttons.h"

#include <utility>

#include "cache/answer_cache.h"
#include "engine/log/event_log.h"
#include "engine/program/shutdown.h"
#include "engine/program/window_state.h"
#include "settings/server_list.h"
#include "settings/statistics.h"
#include "ui/parts/context_help.h"
#include "ui/parts/hints.h"
#include "ui/parts/keyboard_order.h"
#include "ui/parts/layout.h"

namespace quenvar {

namespace {

constexpr std::array<int, 7> kLefts = {120, 1080, 2040, 3000, 4920, 5880, 6840};
constexpr int kTop = 4440;
constexpr int kSide = 795;
constexpr int kContextButtons = 4;

}  // namespace

ContextButtonBar::ContextButtonBar(QWidget* client, std::function<void()> openUpdate,
                                   const std::function<void()>& afterAction)
    : openUpdate_(std::move(openUpdate)) {
  for (std::size_t index = 0; index < buttons_.size(); ++index) {
    auto* const button = buttons_[index] = new PictureButton(client);
    button->setObjectName("b" + QString::number(index + 1));
    button->setGeometry(TwipsRect(kLefts[index], kTop, kSide, kSide));
    SetPageTag(button, kEveryPage);
    SetHint(button, [button] { ShowControlHint(button); });
    QObject::connect(button, &QToolButton::clicked, [button, afterAction] {
      button->Act();
      afterAction();
    });
  }
  Button(5).SetUp("H&elp!", "help", &ContextHelp);
  Button(6).SetUp("&Hide", "hide", &ToggleWindow);
  Button(7).SetUp("E&xit", "exit", &ConfirmAndQuit);
  HideContextButtons(1);
}

void ContextButtonBar::HideContextButtons(int first) {
  for (int number = first; number <= kContextButtons; ++number) Button(number).hide();
}

// A button that stays is not hidden in between: it would lose the keyboard focus.
void ContextButtonBar::ShowFor(std::int16_t page) {
  HideContextButtons(page == kSystemPage ? 3 : 2);
  switch (page) {
    case kSystemPage:
      Button(1).SetUp("&Clear", "IClear", &ClearStatistics);
      Button(2).SetUp("&Reset", "IMuell", &ConfirmAndDeleteCache);
      Button(2).show();
      break;
    case kServerPage:
      Button(1).SetUp("&Clear", "IRefresh", &ResetServerStatistics);
      break;
    case kLogPage:
      Button(1).SetUp("&Clear", "IClear", &ClearLog);
      break;
    case kAboutPage:
      Button(1).SetUp("Update", "IAdd", openUpdate_);
      break;
    default:
      return HideContextButtons(1);
  }
  Button(1).show();
}

}  // namespace quenvar
