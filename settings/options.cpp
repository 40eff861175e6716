#include "settings/options.h"

#include "engine/log/event_log.h"

namespace quenvar {

namespace {

OptionsView noView;

void ShowOptions() { optionsView->ShowOptions(Check2 != 0, Check3 != 0); }

}  // namespace

OptionsView* optionsView = &noView;

std::int16_t Check2 = 0;
std::int16_t Check3 = 0;
Boolean16 NoCache = kFalse;
Boolean16 MatchQuestion = kFalse;

void SetCheck2(std::int16_t value) {
  Check2 = value;
  ShowOptions();
}

void SetCheck3(std::int16_t value) {
  Check3 = value;
  NoCache = value == 1 ? kTrue : kFalse;
  ShowOptions();
}

void ClickCheck2(bool ticked) { Check2 = ticked ? 1 : 0; }

void ClickCheck3(bool ticked) {
  Check3 = ticked ? 1 : 0;
  NoCache = ticked ? kTrue : kFalse;
  WriteLog(ticked ? " * Cache disabled" : " * Cache enabled");
}

}  // namespace quenvar
