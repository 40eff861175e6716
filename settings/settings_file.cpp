#include "settings/settings_file.h"

#include <optional>

#include "base/numbers.h"
#include "base/text.h"
#include "platform/platform.h"
#include "platform/profile.h"
#include "settings/options.h"
#include "settings/server_list.h"
#include "settings/statistics.h"

namespace quenvar {

namespace {

// Buffer sizes, terminator included, that bound how much of a value is read.
constexpr std::size_t kServerBuffer = 80;
constexpr std::size_t kShortBuffer = 20;

// Reads values into a buffer that only ever shrinks: from the second value on, no more characters are kept than the
// first one had. This is intended; after a reset, when WTIME is "0", the counters reload as their first digits.
class ShrinkingReader {
 public:
  std::string Read(const std::string& section, const std::string& key, const std::string& missing) {
    std::string value = platform.profile->GetString(section, key, missing, kShortBuffer);
    if (!kept_) kept_ = value.size();
    value.resize(std::min(value.size(), *kept_));
    return value;
  }

 private:
  std::optional<std::size_t> kept_;
};

// One save: what is written while it lives reaches the file in one step.
class SaveGroup {
 public:
  SaveGroup() { platform.profile->BeginSave(); }
  ~SaveGroup() { platform.profile->CommitSave(); }
  SaveGroup(const SaveGroup&) = delete;
  SaveGroup& operator=(const SaveGroup&) = delete;
};

// False when the number does not fit, and the counter then is as it was.
bool ReadCounter(const std::string& text, std::int16_t& counter) {
  const std::optional<std::int16_t> value = RoundHalfEven(ReadNumber(text));
  if (value) counter = *value;
  return value.has_value();
}

std::string ReadStatistic(ShrinkingReader& reader, const char* key) { return reader.Read("STATISTICS", key, "0"); }

std::string ServerKey(std::size_t row, const char* suffix) { return "DNS_" + std::to_string(row) + suffix; }

std::string ReadServer(std::size_t row, const char* suffix, const char* missing) {
  return platform.profile->GetString("NAMESERVER", ServerKey(row, suffix), missing, kServerBuffer);
}

// Each description is judged by itself: one that an earlier release or a program of the user has written need not be
// UTF-8. The characters count, not their bytes, and none is cut.
std::string ReadDescription(std::size_t row) {
  const std::string key = ServerKey(row, "_DESC");
  const std::string text = ToUtf8(platform.profile->GetString("NAMESERVER", key, "", std::string::npos));
  return std::string(FirstCharacters(text, kServerBuffer - 1));
}

void WriteServer(std::size_t row, const char* suffix, const std::string& value) {
  platform.profile->WriteString("NAMESERVER", ServerKey(row, suffix), value);
}

void WriteStatistic(const char* key, double value) {
  platform.profile->WriteString("STATISTICS", key, NumberText(value));
}

}  // namespace

void LoadNameServers() {
  if (!ReadCounter(platform.profile->GetString("N_SERVERS", "NDNS", "0", kServerBuffer), TotalWinning)) return;
  for (std::size_t row = 0; row < kServerRows; ++row) {
    ServerAddress[row] = ReadServer(row, "_NAME", "");
    ServerDescription[row] = ReadDescription(row);
    ServerEnabled[row] = ParseYesNo(ReadServer(row, "_ENABLED", "No")) == 1 ? kTrue : kFalse;
    if (!ReadCounter(ReadServer(row, "_WINNING", "0"), ServerWinning[row])) return;
  }
}

void LoadOptions() {
  ShrinkingReader reader;
  SetCheck2(ParseYesNo(reader.Read("OPTIONS", "SYSTRAY", "No")));
  SetCheck3(ParseYesNo(reader.Read("OPTIONS", "NOCACHE", "No")));
  MatchQuestion = ReadMatchQuestion() ? kTrue : kFalse;
}

bool ReadMatchQuestion() {
  return ParseYesNo(platform.profile->GetString("OPTIONS", "MATCHQUESTION", "No", kShortBuffer)) == 1;
}

void LoadStatistics() {
  ShrinkingReader reader;
  WTIME = ReadNumber(ReadStatistic(reader, "WTIME"));
  if (!ReadCounter(ReadStatistic(reader, "ADNS"), ADNS)) return;
  if (!ReadCounter(ReadStatistic(reader, "ACACHE"), ACACHE)) return;
  // Intended: the key of the lost requests loads the time gained, and the lost requests begin at 0 on every start.
  WTIME = ReadNumber(ReadStatistic(reader, "NOTANSWERED"));
  ReadCounter(ReadStatistic(reader, "TOTALQ"), TOTALQ);
}

void SaveOptions() {
  const SaveGroup save;
  platform.profile->WriteString("OPTIONS", "SYSTRAY", YesNoText(Check2));
  platform.profile->WriteString("OPTIONS", "NOCACHE", YesNoText(Check3));
}

void SaveNameServers() {
  const SaveGroup save;
  platform.profile->WriteString("N_SERVERS", "NDNS", NumberText(TotalWinning));
  for (std::size_t row = 0; row < kServerRows; ++row) {
    WriteServer(row, "_NAME", ServerAddress[row]);
    WriteServer(row, "_DESC", ServerDescription[row]);
    WriteServer(row, "_ENABLED", YesNoText(ServerEnabled[row]));
    WriteServer(row, "_WINNING", NumberText(ServerWinning[row]));
  }
}

void SaveStatistics() {
  const SaveGroup save;
  WriteStatistic("WTIME", WTIME);
  WriteStatistic("ADNS", ADNS);
  WriteStatistic("ACACHE", ACACHE);
  WriteStatistic("NOTANSWERED", NOTANSWERED);
  // Requests in flight will not be answered after a restart, so they do not count as received.
  WriteStatistic("TOTALQ", TOTALQ - CountWaiting());
}

void SaveAllSettings() {
  const SaveGroup save;
  SaveOptions();
  SaveNameServers();
  SaveStatistics();
}

std::int16_t ParseYesNo(std::string_view text) { return !text.empty() && (text[0] == 'Y' || text[0] == 'y') ? 1 : 0; }

std::string YesNoText(std::int16_t value) { return value != 0 ? "Yes" : "No"; }

}  // namespace quenvar
