// Any bytes as the server file of an earlier release: whole groups of keys come of it, and it is taken over once.
#include "settings/server_import.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  FakeService service;
  service.files.files["/program/DNSIP.DAT"] = std::string(data, size);
  ImportServerFile();
  Require(service.files.files.empty());
  const auto& values = service.profile.values;
  Require(values.size() % 4 == 0);
  for (std::size_t row = 0; row < values.size() / 4; ++row) {
    const auto value = [&](const char* key) { return values.at({"NAMESERVER", "DNS_" + std::to_string(row) + key}); };
    Require(value("_ENABLED") == "Yes" || value("_ENABLED") == "No");
    Require(!value("_WINNING").empty() && value("_NAME").size() + value("_DESC").size() <= 2 * size);
  }
  return 0;
}
