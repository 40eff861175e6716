// What writes /etc/resolv.conf on this machine, and what has to be done so that it names this machine first.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quenvar::resolver {

/// Said before it is done.
struct Step {
  std::string sentence;
  std::function<void()> act;
};

class Writer {
 public:
  virtual ~Writer() = default;

  /// The word for it in the record.
  virtual std::string Word() const = 0;
  virtual std::string Sentence() const = 0;
  /// The texts of the name servers that the machine uses now, as their writer has them.
  virtual std::vector<std::string> Servers() const = 0;
  /// What would have to be given up, in questions; the user has to agree.
  virtual std::vector<std::string> Doubts() const { return {}; }
  /// What cannot be had here, to be said before; empty where there is nothing.
  virtual std::string Limit() const { return ""; }
  /// Programs that may hold port 53 and let go of it in FreePort.
  virtual bool MayHoldPort(const std::string& /*program*/, const std::string& /*parent*/) const { return false; }
  /// So that port 53 is free; after each step, names are found.
  virtual std::vector<Step> FreePort() const { return {}; }
  /// So that 127.0.0.1 is asked first, and `servers` after it.
  virtual std::vector<Step> SwitchOver(const std::vector<std::string>& servers) const = 0;
  /// So that `servers` are asked and 127.0.0.1 is not, as far as this is the writer's affair; first part of going back.
  virtual std::vector<Step> SwitchBack() const = 0;
  /// So that all is as it was before; port 53 is free again where FreePort had to free it.
  virtual std::vector<Step> GiveBack() const { return {}; }
};

/// The writer of this machine, or the one with the word of the record. Throws Failure where it is none of the known.
std::unique_ptr<Writer> FindWriter();
std::unique_ptr<Writer> WriterOf(const std::string& word);

/// The texts behind "nameserver" of a file such as /etc/resolv.conf.
std::vector<std::string> NameserverTexts(const std::string& content);

/// `content` with these name servers in place of its own; glibc reads three.
std::string WithNameservers(const std::string& content, const std::vector<std::string>& servers);

}  // namespace quenvar::resolver
