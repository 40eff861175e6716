#include "update/update_check.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "base/numbers.h"
#include "base/program.h"
#include "base/text.h"
#include "platform/desktop.h"
#include "platform/files.h"
#include "platform/http.h"
#include "platform/message_box.h"
#include "platform/platform.h"
#include "update/proxy_text.h"

namespace quenvar {

std::string UpdateServer = QUENVAR_UPDATE_SERVER;
std::string ResponseText;
bool Downloading = false;
bool Checking = false;
std::string LatestVersion;
std::string InfoPageUrl;
std::string DownloadUrl;
std::string UpdateFileName;
std::string UpdateNote;
std::int32_t UpdateFileSize = 0;
std::string ReleaseNotes;

namespace {

constexpr const char* kInformationPath = "/dnsupdateinfo.asp";
constexpr const char* kHttp = "http";
constexpr const char* kAutoUpdate = "Auto-Update";
constexpr const char* kCancelUpdate = "Cancel update";
/// What an update may not replace begins like this.
constexpr const char* kOwnFiles[] = {"DNSCACHE.MDB", "TEMP.MDB", "DNSIP.DAT", "QUENVAR.HLP"};

// The dialog, as long as there is one; what belongs to an earlier one is not for it.
UpdateView* view = nullptr;
int checkNumber = 0;

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// What is said about a download ends it, and with it the question whether to cancel it.
void Inform(const std::string& text) {
  platform.boxes->Withdraw(kCancelUpdate);
  platform.boxes->Show(text, kAutoUpdate, BoxIcon::Information, BoxButtons::Ok);
}

void CloseDialog() {
  platform.boxes->Withdraw(kCancelUpdate);
  if (view != nullptr) view->CloseDialog();
}

// A proxy with a name is not used, and the request goes without one; that is intended. So is the empty server that a
// setting without the key gives.
void SetProxy(std::string setting) {
  const auto host = GetProxyFromRegistryString(setting, kHttp);
  if (!host) return;
  if (!std::all_of(host->begin(), host->end(), [](char c) { return IsDigit(c) || c == '.'; })) return;
  if (const auto port = GetProxyPortFromRegistryString(setting, kHttp)) platform.http->SetProxyPort(*port);
  platform.http->SetProxyServer(*host);
}

void RequestInformation(const std::string& proxySetting) {
  platform.http->SetProxyServer("");
  platform.http->SetProxyPort(0);
  SetProxy(proxySetting);
  platform.http->SetUrl(UpdateServer + kInformationPath);
  platform.http->SetLocalFile("");
  view->SetStatus("Connecting...");
  platform.http->Get();
}

void ShowFailure() {
  view->SetLabel1("Connection failed");
  // The blank stands before the colon here, and after it where a new version was found; that is intended.
  view->SetStatus("Your version :" + ProgramVersion);
  view->SetLabel4("Could not check for new version.");
  view->ShowLink("Please visit our website to check for the latest version:", QUENVAR_DOWNLOAD_PAGE);
  Checking = false;
  view->OfferClose();
}

void OnError(int, const std::string& description) {
  if (Downloading)
    Inform("Sorry, can not Auto-Update Quenvar. Please update manualy: " + description);
  else
    ShowFailure();
}

void OnConnected(int status, const std::string&) {
  if (Downloading) return;
  if (status != 0) return OnError(0, "");
  view->SetStatus("Checking for update...");
}

void OnTransfer(std::int64_t bytes, std::string_view text) {
  if (!Downloading)
    ResponseText += text;
  else if (UpdateFileSize != 0)
    view->ShowProgress(static_cast<double>(bytes) / UpdateFileSize * 100);
}

// A number that does not fit leaves the size unknown.
std::int32_t ReadSize(const std::string& line) {
  const double size = std::nearbyint(ReadNumber(line));
  return std::abs(size) <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(size) : 0;
}

void ReadAnswer() {
  NextLine(ResponseText);
  for (std::string* const line : {&LatestVersion, &InfoPageUrl, &DownloadUrl, &UpdateFileName, &UpdateNote})
    *line = NextLine(ResponseText);
  UpdateFileSize = ReadSize(NextLine(ResponseText));
  ReleaseNotes = ResponseText;
  Checking = false;
}

void ShowNewVersion() {
  view->SetLabel1("New version available");
  view->SetStatus("Your version: " + ProgramVersion);
  view->SetLabel4("Current Version: " + LatestVersion);
  view->ShowLink("Download latest Verion: ", InfoPageUrl);
  view->ShowUpdate(UpdateNote, ReleaseNotes);
}

void OnEndOfTransfer() {
  if (Downloading) return;
  ReadAnswer();
  view->OfferClose();
  if (IsNewerVersion(LatestVersion, ProgramVersion)) return ShowNewVersion();
  view->SetLabel1("There is no new version available!");
  view->SetStatus("");
}

std::string UpdatePath() { return AppPath + UpdateFileName; }

// Only a plain name stays within the program directory, and means the same file to everything that handles it.
bool MayBeStored() {
  const std::string& name = UpdateFileName;
  const auto forbidden = [](char c) { return c < ' ' || c > '~' || c == '/' || c == '\\' || c == ':'; };
  if (name.empty() || name == "." || name == ".." || std::any_of(name.begin(), name.end(), forbidden)) return false;
  const std::string folded = UpperCase(name);
  const auto isOwn = [&folded](const char* own) { return folded.starts_with(own); };
  if (std::any_of(std::begin(kOwnFiles), std::end(kOwnFiles), isOwn)) return false;
  return platform.files->MayReplace(UpdatePath());
}

void StartUpdate(bool stored) {
  if (!stored || !platform.desktop->StartProgram(UpdatePath())) Inform("Could not execute program to update Quenvar");
  CloseDialog();
}

void OnDisconnected() {
  if (!Downloading) return;
  Downloading = false;
  StartUpdate(true);
}

std::string Digits(const std::string& text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits), IsDigit);
  return digits;
}

}  // namespace

void StartUpdateCheck(UpdateView& dialog) {
  view = &dialog;
  Downloading = false;
  Checking = true;
  UpdateFileSize = 0;
  for (std::string* const text :
       {&ResponseText, &LatestVersion, &InfoPageUrl, &DownloadUrl, &UpdateFileName, &UpdateNote, &ReleaseNotes})
    text->clear();
  platform.http->SetEvents({OnConnected, OnTransfer, OnEndOfTransfer, OnError, OnDisconnected});
  platform.desktop->AskProxyServer([check = ++checkNumber](const std::string& setting) {
    if (view != nullptr && check == checkNumber) RequestInformation(setting);
  });
}

void DownloadUpdate() {
  view->ShowDownload("Downloading update file, please wait...");
  if (!MayBeStored()) return StartUpdate(false);
  platform.files->Delete(UpdatePath());
  Downloading = true;
  platform.http->SetLocalFile(UpdatePath());
  platform.http->SetUrl(DownloadUrl);
  platform.http->Get();
}

void CancelUpdate() {
  if (Downloading && platform.boxes->Show("Your are downloading the update of Quenvar. Sure you want to cancel?",
                                          kCancelUpdate, BoxIcon::Question, BoxButtons::OkCancel) != BoxAnswer::Ok)
    return;
  CloseDialog();
}

void EndUpdateCheck() {
  view = nullptr;
  Downloading = false;
  platform.http->Abort();
}

std::string NextLine(std::string& text) {
  const std::size_t end = text.find_first_of("\r\n");
  if (end == std::string::npos) return text;
  std::string line = text.substr(0, end);
  text.erase(0, end + 2);
  return line;
}

bool IsNewerVersion(const std::string& remote, const std::string& local) {
  return ReadNumber(Digits(remote)) > ReadNumber(Digits(local));
}

}  // namespace quenvar
