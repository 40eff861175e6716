// The two options of the main window, and the one that only the settings file has.
#pragma once

#include <cstdint>

#include "base/numbers.h"

namespace quenvar {

/// The check boxes of the two options, moved when the options are loaded.
class OptionsView {
 public:
  virtual ~OptionsView() = default;
  virtual void ShowOptions(bool /*check2*/, bool /*check3*/) {}
};

/// Set once at start.
extern OptionsView* optionsView;

/// The values of the check boxes "Startup in System Tray" and "Disable Cache": 1 when ticked, else 0.
extern std::int16_t Check2;
extern std::int16_t Check3;
/// The cache is neither read nor written, and no time is gained by it.
extern Boolean16 NoCache;
/// Requests and answers are told apart by the whole question (engine/relay/match_question.h). Read at start.
extern Boolean16 MatchQuestion;

/// Takes the loaded values over and moves the check boxes.
void SetCheck2(std::int16_t value);
void SetCheck3(std::int16_t value);

/// The user has clicked the check box, which now is `ticked`. The options reach the file with the next save.
void ClickCheck2(bool ticked);
void ClickCheck3(bool ticked);

}  // namespace quenvar
