// The little of the DNS message form (RFC 1035, section 4) that the measuring programs write.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>

namespace bench {

/// A question for the address of `label`.test, which must have 1 to 63 characters.
std::string Query(std::uint16_t identifier, const std::string& label);

/// The answer to a query of ours: its bytes, marked as an answer, with one address record
/// that may be kept for an hour.
std::string AnswerTo(const std::string& query, const in_addr& address);

/// Reads dotted decimal text. Ends the program with a message when it is none.
sockaddr_in AddressOrExit(const char* text, std::uint16_t port);

}  // namespace bench
