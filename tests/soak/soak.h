// What the long tests share: their sizes, traffic of which every answer is checked, and looks at the program's memory
// and at its cache.
#pragma once

#include <array>
#include <map>
#include <random>
#include <set>

#include "program.h"

namespace quenvar::lab {

/// The part of a full size that is run: all of it, or as many percent as QUENVAR_SOAK_PERCENT says; at least 1.
int Size(int full);

/// Where a library is that LD_PRELOAD loads in front of the program.
std::string Preload(const std::string& name);

/// KiB of memory that the program has taken for itself.
int Memory(const Program& program);
int OpenDescriptors(const Program& program);

struct CacheContent {
  std::string fault;      ///< empty: the file is sound, all chains are whole, and every record belongs to one
  std::size_t names = 0;  ///< stored; each must contain ".test"
};
/// Looks at a copy, so that what a killed program has left is still there for the next one.
CacheContent ReadCache(const Home& home);

/// How traffic goes. All numbers are drawn anew for each query or answer.
struct Manners {
  int names = 5000;  ///< of each client, and as many that all of them ask for
  std::chrono::milliseconds longestDelay{10};
  int doubledPercent = 20;
  int lostPerMille = 0;  ///< queries that no server answers
};

/// The lines of options for tests that run with each set of answer rules.
inline const auto kModes = testing::Values("", "MATCHQUESTION=Yes\n");
inline std::string ModeName(const testing::TestParamInfo<std::string>& mode) {
  return mode.param.empty() ? "Plain" : "MatchQuestion";
}

/// A user who lists all ten name servers, and clients beside the one of the lab.
class Soak : public LabTest {
 protected:
  /// Further lines of options, such as "MATCHQUESTION=Yes\n".
  void UseOptions(const std::string& options);
  /// All clients together ask that many questions, with few different identifiers, at most 250. Returns when the name
  /// servers have sent all their answers.
  void AskAndServe(int count);
  /// The same, and then a fresh name: returns when the program has taken all answers, and the clients theirs.
  void AskAndAnswer(int count);
  /// The same again and again for a while. At its end many queries and answers are under way.
  void AskFor(std::chrono::milliseconds duration);
  /// That many requests fit into the program's table beside those that it holds.
  bool HasRoomFor(int requests);
  std::string Figures() const;
  int Random(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  std::string Noise(int size) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    for (char& byte : bytes) byte = static_cast<char>(Random(256));
    return bytes;
  }

  std::mt19937 random_{53};
  Manners manners_;
  int asked_ = 0;
  int answered_ = 0;
  std::set<std::string> silent_;  ///< serials of the queries that get no answer
  int wrong_ = 0;                 ///< answers that their client did not wait for, or with another content

 private:
  struct Asker {
    Client socket;
    std::map<std::string, int> awaited;  ///< how often, by identifier (where it counts) and question
  };

  void Ask();
  void ServeAndTakeAnswers();
  void Serve(const Datagram& query);
  void SendWhatIsDue();
  void Check(Asker& asker, const std::string& answer);
  std::string KeyOf(const std::string& message) const;

  bool matchesQuestion_ = false;
  std::array<Asker, 8> askers_;
  std::multimap<std::chrono::steady_clock::time_point, Datagram> later_;  ///< queries, by when they are answered
  std::set<std::string> unseen_;  ///< serials of the queries of this batch that no server has seen
  int rooms_ = 0;
};

}  // namespace quenvar::lab
