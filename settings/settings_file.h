// The settings file: options, name servers and counters as section/key text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

/// The three load operations. A number that does not fit its 16-bit counter ends the operation that met it; values
/// already loaded stay.
void LoadNameServers();
void LoadStatistics();
void LoadOptions();

/// What the file says of the option MatchQuestion, which is needed before the others.
bool ReadMatchQuestion();

/// The three save operations, each one replacement of the file. A file that cannot be written keeps its old content.
void SaveOptions();
void SaveNameServers();
void SaveStatistics();

/// All three, in the order above and as one replacement.
void SaveAllSettings();

/// 1 when the text is "YES" in upper case or begins with "Y" or "y", else 0. Blanks before it are not skipped.
std::int16_t ParseYesNo(std::string_view text);

/// "Yes" for any value but 0.
std::string YesNoText(std::int16_t value);

}  // namespace quenvar
