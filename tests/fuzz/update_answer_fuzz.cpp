// Any bytes as the answer of the update server: its lines are read as they were sent, and whatever file it names, the
// download stays within the program directory and away from the program's own files.
#include <memory>

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

// The digits of a version as text that sorts like the number that they make.
std::string SortKey(const std::string& version) {
  std::string digits;
  for (const char c : version)
    if (c >= '0' && c <= '9' && (c != '0' || !digits.empty())) digits += c;
  return std::string(1, static_cast<char>(digits.size())) + digits;
}

// Lines between which stand carriage return and line feed. Where there are not enough, the last one is repeated.
void CheckLines(const std::vector<std::string>& lines) {
  std::string answer = lines[0];
  for (std::size_t at = 1; at < lines.size(); ++at) answer += "\r\n" + lines[at];
  UpdateCheck check;
  check.Receive(answer, answer.size());
  const auto line = [&](std::size_t number) { return lines[std::min(number, lines.size()) - 1]; };
  Require(LatestVersion == line(2) && InfoPageUrl == line(3) && DownloadUrl == line(4));
  Require(UpdateFileName == line(5) && UpdateNote == line(6));
  std::string notes = line(8);
  for (std::size_t at = 8; at < lines.size(); ++at) notes += "\r\n" + lines[at];
  Require(ReleaseNotes == notes);
  if (LatestVersion.size() <= 15)
    Require(IsNewerVersion(LatestVersion, "2.0.7") == (SortKey(LatestVersion) > SortKey("2.0.7")));
  CheckPath(check.Download());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  const std::size_t pieceSize = input.Byte() + 1;
  const std::string answer = input.Rest();
  {
    UpdateCheck check;
    check.desktop.proxy = answer;
    check.Receive(answer, pieceSize);
    CheckPath(check.Download());
  }
  std::vector<std::string> lines(1);
  for (const char c : answer) {
    if (c == '\r' || c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  CheckLines(lines);
  return 0;
}
