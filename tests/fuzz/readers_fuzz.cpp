// Any bytes as what others have written. The first byte says as what: a message, its name, an old server file, the
// proxy setting of the user, or the settings file.
#include <vector>

#include "base/query_name.h"
#include "engine/relay/message_reader.h"
#include "platform/posix/profile_text.h"
#include "settings/server_import.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/input.h"
#include "update/proxy_text.h"

using namespace quenvar;

namespace {

// The walk stays within the message and ends, and so does a change of what was walked over, also where names lead into
// the bytes that change.
void ReadMessage(std::string message) {
  const std::size_t size = message.size();
  RecordReader records(message);
  std::size_t walked = 0;
  while (const auto record = records.Next()) {
    Require(record->lifetimeAt > walked && record->lifetimeAt + 6 <= record->dataAt);
    walked = record->dataAt + record->dataSize;
    Require(walked <= size);
  }
  const std::uint32_t seconds = Lifetime(message);
  Require(seconds == 0 || records.Complete());
  const auto ability = ReadAbility(message);
  Require(!ability || (ability->speaksEdns == HasOpt(message) && ability->answerBytes >= kPlainAnswerBytes));
  const std::string cookie(ability ? ability->clientCookie : "");
  Require(cookie.empty() || cookie.size() == 8);
  BlankCookies(message, cookie);
  const auto blanked = ReadAbility(message);
  Require(!ability || (blanked && blanked->clientCookie == cookie));
  ReduceLifetimes(message, seconds);
  Require(message.size() == size);
  if (const auto question = ReadQuestion(message)) {
    CutToQuestion(message, *question);
    Require(IsTruncated(message) && RecordReader(message).Complete());
  }
}

// Only the end of a reverse name makes it an address.
void ReadName(const std::string& bytes) {
  // A copy with nothing behind it, so that reading too far is noticed.
  const std::vector<char> message(bytes.begin(), bytes.end());
  const std::string name = ParseQueryName({message.data(), message.size()});
  Require(name == kUnreadableName || 12 + name.size() + 2 <= message.size());
  for (const std::string& shown : {name, bytes, bytes + "in-addr.arpa"})
    Require((DisplayName(shown) == shown) != shown.ends_with("in-addr.arpa"));
}

// Whole groups of keys come of it, and it is taken over once.
void ReadServerFile(const std::string& content) {
  FakeService service;
  service.files.files["/program/DNSIP.DAT"] = content;
  ImportServerFile();
  Require(service.files.files.empty() && service.profile.values.size() % 4 == 0);
  for (const auto& [key, value] : service.profile.values) {
    Require(!key.second.ends_with("_ENABLED") || value == "Yes" || value == "No");
    Require(!key.second.ends_with("_WINNING") || !value.empty());
  }
}

// Host and port are pieces of it, and there is no port without a host.
void ReadProxy(Input input) {
  // Texts count only up to this position.
  constexpr std::size_t kLastPosition = 32767;
  const std::size_t blanks = input.Byte() == 255 ? kLastPosition - input.Byte() : 0;
  const std::string setting = std::string(blanks, ' ') + input.Rest();
  std::string changed = setting;
  const auto host = GetProxyFromRegistryString(setting, "http");
  const auto port = GetProxyPortFromRegistryString(changed, "http");
  Require(!host || setting.find(*host) != std::string::npos);
  Require(!port || (host && *port >= 0));
  Require(changed.starts_with(setting));
}

const char* const kSections[] = {"OPTIONS", "NAMESERVER"};
const char* const kKeys[] = {"SYSTRAY", "dns_0_name", "DNS_9_DESC"};

// As it is, but for line breaks.
std::string Readable(std::string value) {
  for (char& c : value) c = c == '\r' || c == '\n' || c == '\0' ? ' ' : c;
  return value;
}

std::string SetAndCheck(const std::string& content, Input& input) {
  const std::string section = kSections[input.Below(std::size(kSections))];
  const std::string key = kKeys[input.Below(std::size(kKeys))];
  const std::string value = input.Text();
  ProfileText old(content);
  Require(old.Text() == content);
  ProfileText text(content);
  text.Set(section, key, value);
  ProfileText read(text.Text());
  for (const std::string otherSection : kSections)
    for (const std::string otherKey : kKeys)
      Require(read.Find(otherSection, otherKey) ==
              (otherSection == section && otherKey == key ? Readable(value) : old.Find(otherSection, otherKey)));
  return text.Text();
}

// A value that is written comes back, and all others stay.
void ReadSettings(Input input) {
  Input changes = input;
  for (std::size_t left = input.Below(4); left > 0; --left) input.Below(1), input.Below(1), input.Text();
  std::string content = input.Rest();
  for (std::size_t left = changes.Below(4); left > 0; --left) content = SetAndCheck(content, changes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  const std::size_t what = input.Below(5);
  if (what == 0) ReadMessage(input.Rest());
  if (what == 1) ReadName(input.Rest());
  if (what == 2) ReadServerFile(input.Rest());
  if (what == 3) ReadProxy(input);
  if (what == 4) ReadSettings(input);
  return 0;
}
