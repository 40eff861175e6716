// Any bytes as a message: the walk stays within it and ends, and so does a change of what was walked over, also where
// names lead into the bytes that change.
#include "engine/message_reader.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  std::string message(data, size);
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
  Require(!ability || ability->clientCookie.empty() || ability->clientCookie.size() == 8);
  const std::string cookie(ability ? ability->clientCookie : "");
  BlankCookies(message, cookie);
  const auto blanked = ReadAbility(message);
  Require(!ability || (blanked && blanked->clientCookie == cookie));
  ReduceLifetimes(message, seconds);
  Require(message.size() == size);
  if (const auto question = ReadQuestion(message)) {
    CutToQuestion(message, *question);
    Require(IsTruncated(message) && RecordReader(message).Complete());
  }
  return 0;
}
