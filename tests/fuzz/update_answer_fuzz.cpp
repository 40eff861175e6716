// Any bytes as the answer of the update server: whatever file it names, the download stays within the program directory
// and away from the program's own files.
#include "base/text.h"
#include "platform/desktop.h"
#include "platform/http.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"
#include "update/update_check.h"

using namespace quenvar;

namespace {

struct FakeHttp : HttpClient {
  void SetEvents(const Events& given) override { events = given; }
  void SetProxyPort(std::int32_t) override {}
  void SetProxyServer(const std::string&) override {}
  void SetUrl(const std::string&) override {}
  void SetLocalFile(const std::string& path) override { localFile = path; }
  void Get() override {}
  void Abort() override {}

  Events events{};
  std::string localFile;
};

struct FakeDesktop : Desktop {
  void AskProxyServer(std::function<void(const std::string& setting)> answer) override { answer(proxy); }
  bool StartProgram(const std::string& path) override {
    started = path;
    return true;
  }

  std::string proxy;
  std::string started;
};

struct Dialog : UpdateView {
  void ShowUpdate(const std::string&, const std::string&) override { offered = true; }
  void OfferClose() override { ++ends; }
  void CloseDialog() override { closed = true; }

  bool offered = false;
  bool closed = false;
  int ends = 0;
};

struct UpdateCheck : FakeService {
  UpdateCheck() {
    ProgramVersion = "2.0.7";
    platform.http = &http;
    platform.desktop = &desktop;
    files.files = {{"/program/DNSCACHE.MDB", ""}, {"/program/Quenvar.hlp", ""}, {"/file", ""}};
  }
  ~UpdateCheck() { EndUpdateCheck(); }

  void Receive(std::string_view answer, std::size_t pieceSize) {
    StartUpdateCheck(dialog);
    http.events.connected(0, "");
    for (; !answer.empty(); answer.remove_prefix(std::min(answer.size(), pieceSize)))
      http.events.transfer(0, answer.substr(0, pieceSize));
    http.events.endOfTransfer();
    Require(dialog.ends == 1 && !Checking && dialog.offered == IsNewerVersion(LatestVersion, "2.0.7"));
  }

  // Returns where the update was stored; empty when it was not.
  std::string Download() {
    DownloadUpdate();
    if (Downloading) {
      http.events.transfer(1000, "");
      http.events.disconnected();
    }
    Require(dialog.closed && !Downloading && files.files.size() == 3 && desktop.started == http.localFile);
    return http.localFile;
  }

  FakeHttp http;
  FakeDesktop desktop;
  Dialog dialog;
};

void CheckPath(const std::string& path) {
  if (path.empty()) return;
  const std::string name = path.substr(std::string("/program/").size());
  Require(path.starts_with("/program/") && name.find_first_of(std::string("/\\:\0\r\n", 6)) == std::string::npos);
  Require(name != "" && name != "." && name != "..");
  // Also not the files that a database has beside it.
  for (const std::string own : {"DNSCACHE.MDB", "TEMP.MDB", "DNSIP.DAT", "QUENVAR.HLP"})
    Require(!EqualWithoutCase(name.substr(0, own.size()), own));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  const std::size_t pieceSize = input.Byte() + 1;
  const std::string answer = input.Rest();
  UpdateCheck check;
  check.desktop.proxy = answer;
  check.Receive(answer, pieceSize);
  CheckPath(check.Download());
  return 0;
}
