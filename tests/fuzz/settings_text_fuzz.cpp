// Any bytes as the settings file: a value that is written comes back, and all others stay.
#include "platform/posix/profile_text.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

namespace {

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  Input changes = input;
  for (std::size_t left = input.Below(4); left > 0; --left) input.Below(1), input.Below(1), input.Text();
  std::string content = input.Rest();
  for (std::size_t left = changes.Below(4); left > 0; --left) content = SetAndCheck(content, changes);
  return 0;
}
