// Reads the question and the resource records of a DNS message (RFC 1035, section 4), whatever bytes it is made of.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/query_name.h"

namespace quenvar {

/// The one question of a query or of its answer.
struct Question {
  std::size_t nameEnd;  ///< the offset behind its name
  std::uint16_t type;
  std::uint16_t klass;
  std::size_t end;  ///< the offset behind it
};

/// Empty when `message` is no standard query or answer, has more or fewer than one question, or when that is cut or has
/// a compressed name.
std::optional<Question> ReadQuestion(std::string_view message);

/// The identifier is the first thing in a message.
inline constexpr std::size_t kIdentifierBytes = 2;
/// 0 for a message that is too short to have one.
std::uint16_t Identifier(std::string_view message);
/// Of a message that has one.
void SetIdentifier(std::string& message, std::uint16_t identifier);

/// RFC 1035, section 4.1.1; `message` holds a whole header.
bool IsResponse(std::string_view message);
bool IsTruncated(std::string_view message);
/// The client leaves it to the server to find what it does not know itself (RFC 1035, section 4.1.1).
bool IsRecursionDesired(std::string_view message);
/// The client wants no validation by its server (RFC 4035, section 3.2.2).
bool IsCheckingDisabled(std::string_view message);
int ResponseCode(std::string_view message);

enum class Section { Answer, Authority, Additional };

/// Offsets into its message, all within it.
struct ResourceRecord {
  Section section;
  std::size_t nameAt;
  std::uint16_t type;
  std::size_t lifetimeAt;  ///< of the time-to-live, four bytes
  std::size_t dataAt;
  std::size_t dataSize;
};

/// Walks the records behind the question. The message must outlive it.
class RecordReader {
 public:
  explicit RecordReader(std::string_view message);

  /// The next record. Empty after the last one, and where the message cannot be read on.
  std::optional<ResourceRecord> Next();
  /// After Next has returned nothing: whether that was the end of all records that the header announces.
  bool Complete() const { return left_[0] + left_[1] + left_[2] == 0; }

 private:
  std::string_view message_;
  std::size_t at_;
  std::uint32_t left_[3];  ///< records still to come of each section
};

/// The seconds that an answer may be kept: the smallest time-to-live in it, and for a negative answer that of RFC 2308,
/// section 5; a day at most, and three hours for a negative answer. 0 for what is no answer to keep: a failure, one
/// without records, one that cannot be read to its end.
std::uint32_t Lifetime(std::string_view answer);

/// Reduces every time-to-live of an answer, of which a day at most counts, by `seconds`, at most to 0.
void ReduceLifetimes(std::string& answer, std::uint32_t seconds);

/// The bytes that every client takes in an answer over UDP (RFC 1035, section 4.2.1).
inline constexpr std::uint16_t kPlainAnswerBytes = 512;

/// What a query says of its sender beside its question.
struct AskerAbility {
  bool speaksEdns = false;                        ///< it carries an OPT record (RFC 6891)
  bool wantsSignatures = false;                   ///< the bit DO (RFC 3225)
  std::uint16_t answerBytes = kPlainAnswerBytes;  ///< the longest answer that it takes
  std::string_view clientCookie = {};             ///< eight bytes of the query (RFC 7873, section 4), or nothing
};

/// Empty when the records behind the question cannot be read, or are others than one OPT record of version 0: the
/// answer to such a query suits nobody else.
std::optional<AskerAbility> ReadAbility(std::string_view query);

/// Whether an answer carries an OPT record.
bool HasOpt(std::string_view answer);

/// Leaves of an answer its header and its question, and says that it was cut: the client then asks over TCP (RFC 2181,
/// section 9).
void CutToQuestion(std::string& answer, const Question& question);

/// Makes an answer fit for the client with this cookie, which may be empty: the cookie of any other client becomes
/// padding (RFC 7830) of the same length.
void BlankCookies(std::string& answer, std::string_view clientCookie);

}  // namespace quenvar
