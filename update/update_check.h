// The check for a newer version: what is asked, how the answer is read, and the download of the update program.
#pragma once

#include <cstdint>
#include <string>

namespace quenvar {

/// The dialog of the check, by its controls. Texts are bytes; the dialog turns them into what the screen shows.
class UpdateView {
 public:
  virtual ~UpdateView() = default;

  virtual void SetLabel1(const std::string& /*headline*/) {}
  virtual void SetStatus(const std::string& /*text*/) {}
  virtual void SetLabel4(const std::string& /*secondLine*/) {}
  /// Shows Label2 and, in Label3, a page to click on.
  virtual void ShowLink(const std::string& /*caption*/, const std::string& /*address*/) {}
  /// Shows note and release notes and offers the update, in the tall layout.
  virtual void ShowUpdate(const std::string& /*note*/, const std::string& /*releaseNotes*/) {}
  /// The button "&Cancel" becomes "&Close".
  virtual void OfferClose() {}
  /// Takes the offer back, and shows the progress in the place of the release notes.
  virtual void ShowDownload(const std::string& /*note*/) {}
  /// Percent; may pass 100.
  virtual void ShowProgress(double /*percent*/) {}
  virtual void CloseDialog() {}
};

/// The update server, as it was set at build time: scheme and host.
extern std::string UpdateServer;

/// The answer of the update server, and how far the check is.
extern std::string ResponseText;     ///< the answer so far; once it is read, what was left of it
extern bool Downloading;             ///< from "Get Update" until the connection closes
extern bool Checking;                ///< no answer and no failure yet
extern std::string LatestVersion;    ///< line 2
extern std::string InfoPageUrl;      ///< line 3: a page about the new version
extern std::string DownloadUrl;      ///< line 4: the update program
extern std::string UpdateFileName;   ///< line 5: the name under which it is stored and started
extern std::string UpdateNote;       ///< line 6
extern std::int32_t UpdateFileSize;  ///< line 7: bytes
extern std::string ReleaseNotes;     ///< the rest

/// The dialog has come up: asks the server.
void StartUpdateCheck(UpdateView& dialog);

/// "Get Update".
void DownloadUpdate();

/// "&Cancel" or "&Close": closes the dialog, during a download when the user says so.
void CancelUpdate();

/// The dialog is gone, in whatever way: abandons what is under way.
void EndUpdateCheck();

/// Takes the first line off `text` and returns it. The end of a line counts as two characters, whatever they are; that
/// is intended. The last line is not taken off: it is returned by every further call.
std::string NextLine(std::string& text);

/// True when the digits of `remote`, read as one number, are the greater number.
bool IsNewerVersion(const std::string& remote, const std::string& local);

}  // namespace quenvar
