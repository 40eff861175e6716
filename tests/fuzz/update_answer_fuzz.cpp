// Any bytes as the answer of the update server, and as the proxy setting of the user: whatever file the answer names,
// the download stays within the program directory and away from the program's own files.
#include "base/text.h"
#include "platform/desktop.h"
#include "platform/http.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"
#include "update/update_check.h"

using namespace quenvar;

namespace {

struct FakeWeb : HttpClient, Desktop, UpdateView {
  void SetEvents(const Events& given) override { events = given; }
  void SetProxyPort(std::int32_t) override {}
  void SetProxyServer(const std::string&) override {}
  void SetUrl(const std::string&) override {}
  void SetLocalFile(const std::string& path) override { localFile = path; }
  void Get() override {}
  void Abort() override {}
  void AskProxyServer(std::function<void(const std::string& setting)> tell) override { tell(answer); }
  bool StartProgram(const std::string& path) override {
    Require(path == localFile);
    return true;
  }
  void CloseDialog() override { closed = true; }

  Events events{};
  std::string answer;
  std::string localFile;
  bool closed = false;
};

bool IsPlain(const std::string& name) {
  // Also not the files that a database has beside it.
  for (const std::string own : {"DNSCACHE.MDB", "TEMP.MDB", "DNSIP.DAT", "QUENVAR.HLP"})
    if (EqualWithoutCase(name.substr(0, own.size()), own)) return false;
  return name.find_first_of(std::string("/\\:\0\r\n", 6)) == std::string::npos && name != "." && name != "..";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  const std::size_t pieceSize = input.Byte() + 1;
  FakeService service;
  FakeWeb web;
  web.answer = input.Rest();
  platform.http = &web;
  platform.desktop = &web;
  service.files.files = {{"/program/DNSCACHE.MDB", ""}, {"/program/Quenvar.hlp", ""}, {"/file", ""}};
  StartUpdateCheck(web);
  for (std::string_view rest = web.answer; !rest.empty(); rest.remove_prefix(std::min(rest.size(), pieceSize)))
    web.events.transfer(0, rest.substr(0, pieceSize));
  web.events.endOfTransfer();
  Require(!Checking);
  DownloadUpdate();
  if (Downloading) web.events.disconnected();
  Require(web.closed && !Downloading && service.files.files.size() == 3);
  const std::string folder = "/program/";
  Require(web.localFile.empty() || (web.localFile.size() > folder.size() && web.localFile.starts_with(folder) &&
                                    IsPlain(web.localFile.substr(folder.size()))));
  EndUpdateCheck();
  return 0;
}
