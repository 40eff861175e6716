// Any bytes as the server file of an earlier release: whole groups of keys come of it, and fields that were written in
// quotes arrive as they are.
#include "base/numbers.h"
#include "settings/server_import.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

namespace {

using Values = std::map<std::pair<std::string, std::string>, std::string>;

Values Import(const std::string& content) {
  FakeService service;
  service.files.files["/program/DNSIP.DAT"] = content;
  ImportServerFile();
  Require(service.files.files.empty());
  return service.profile.values;
}

std::string Key(std::size_t row, const char* suffix) { return "DNS_" + std::to_string(row) + suffix; }

void CheckGroups(const Values& values) {
  Require(values.size() % 4 == 0);
  const auto value = [&](std::size_t row, const char* suffix) { return values.at({"NAMESERVER", Key(row, suffix)}); };
  for (std::size_t row = 0; row < values.size() / 4; ++row) {
    Require(value(row, "_ENABLED") == "Yes" || value(row, "_ENABLED") == "No");
    Require(!value(row, "_WINNING").empty());
    value(row, "_NAME");
    value(row, "_DESC");
  }
}

// Behind the header, `fields` in groups of four; what the last group lacks repeats the last field.
Values Expected(const std::vector<std::string>& fields) {
  Values values;
  std::string field;
  for (std::size_t at = 1; at < fields.size();) {
    const auto next = [&] { return field = at < fields.size() ? fields[at++] : field; };
    const std::size_t row = at / 4;
    values[{"NAMESERVER", Key(row, "_NAME")}] = next();
    values[{"NAMESERVER", Key(row, "_DESC")}] = next();
    const std::size_t first = next().find_first_not_of(' ');
    const bool enabled = first != std::string::npos && field[first] == '1';
    values[{"NAMESERVER", Key(row, "_ENABLED")}] = enabled ? "Yes" : "No";
    values[{"NAMESERVER", Key(row, "_WINNING")}] = NumberText(ReadNumber(next()));
  }
  return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string content(data, size);
  CheckGroups(Import(content));

  std::vector<std::string> fields;
  std::string quoted;
  for (std::string_view rest = content; !rest.empty();) {
    fields.emplace_back(rest.substr(0, rest.find('"')));
    rest.remove_prefix(std::min(rest.size(), fields.back().size() + 1));
    quoted += '"' + fields.back() + "\" ,";
  }
  Require(Import(quoted) == Expected(fields));
  return 0;
}
