// Which page of the main window is shown, and whether the window is hidden in the tray.
#pragma once

#include <cstdint>

namespace quenvar {

inline constexpr std::int16_t kSystemPage = 0;
inline constexpr std::int16_t kServerPage = 1;
inline constexpr std::int16_t kLogPage = 2;
inline constexpr std::int16_t kAboutPage = 3;
/// Matches no page, so that everything that depends on a page rests while the window is hidden.
inline constexpr std::int16_t kNoPage = 4;

extern std::int16_t CurrentPage;
extern std::int16_t SavedPage;  ///< the page to come back to while the window is hidden
extern bool WindowHidden;
extern bool WindowWasShown;  ///< the window has been shown at least once

/// The user has turned to a page.
void SetCurrentPage(std::int16_t page);

/// Shows the window for the first time, or leaves it hidden in the tray.
void ShowWindowAtStart();
void StayHiddenAtStart();

/// Hides the main window in the tray when it is shown, and shows it on the page it was on when it is hidden.
void ToggleWindow();

/// Shows the window if it is hidden, and brings it to the front. Nothing happens as long as the start goes on.
void ShowMainWindow();

}  // namespace quenvar
