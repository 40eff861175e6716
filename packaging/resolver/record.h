// What the machine was before: on the disk before each change, so that every end of this program can be undone.
#pragma once

#include <string>

namespace quenvar::resolver {

inline constexpr const char* kResolvConf = "/etc/resolv.conf";
inline constexpr const char* kRecordFolder = "/var/lib/quenvar";

/// True from the first change of `on` until `off` has undone the last one. Known to root alone; false for others.
bool HasRecord();

/// Writes down how /etc/resolv.conf is made, and what `writer` makes it. Does nothing when there is a record already.
void BeginRecord(const std::string& writer);

/// A note of the record, such as WRITER; empty where there is none.
std::string Noted(const std::string& key);
void Note(const std::string& key, const std::string& value);

/// The content of /etc/resolv.conf as recorded; empty for a link.
std::string RecordedContent();

/// What was put in its place.
std::string WrittenContent();
void NoteWritten(const std::string& content);

/// Puts /etc/resolv.conf in place as recorded: link or file, content, mode and owner. One step at every moment.
void RestoreResolvConf();

/// Undone: takes the record away.
void EndRecord();

/// Replaces /etc/resolv.conf by a link, or by a file with the mode and the owner of the recorded one.
void LinkResolvConf(const std::string& target);
void WriteResolvConf(const std::string& content);

/// The target of a link; empty for anything else.
std::string LinkTarget(const std::string& path);

/// A file of our own, with its folder; nothing else ever stands there.
void WriteOwnFile(const std::string& path, const std::string& content);
void RemoveOwnFile(const std::string& path);

}  // namespace quenvar::resolver
