// DNS messages of a test, put together from their parts (RFC 1035, section 4).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

using RecordType = std::uint16_t;
inline constexpr RecordType kA = 1, kNs = 2, kCname = 5, kSoa = 6, kMx = 15, kTxt = 16, kAaaa = 28, kOpt = 41,
                            kAny = 255;

inline std::string Bytes16(std::uint32_t value) {
  return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}

inline std::string Bytes32(std::uint32_t value) { return Bytes16(value >> 16) + Bytes16(value); }

/// The name on the wire; a "\1" in `name` stands for a point within a label.
inline std::string WireName(std::string_view name) {
  std::string wire;
  while (!name.empty()) {
    std::string label(name.substr(0, name.find('.')));
    name.remove_prefix(std::min(name.size(), label.size() + 1));
    for (char& c : label) c = c == '\1' ? '.' : c;
    wire.append(1, static_cast<char>(label.size())).append(label);
  }
  return wire + '\0';
}

inline std::string QueryFor(const std::string& name, RecordType type = kA, std::uint16_t identifier = 1) {
  return Bytes16(identifier) + "\1" + std::string("\0\0\1\0\0\0\0\0\0", 9) + WireName(name) + Bytes16(type) +
         Bytes16(1);
}

/// The query with an OPT record (RFC 6891): `flags` as in its time-to-live, of which 0x8000 is DO.
inline std::string WithOpt(std::string query, std::uint32_t answerBytes, std::uint32_t flags = 0,
                           const std::string& options = "") {
  query[11] = 1;
  return query + '\0' + Bytes16(kOpt) + Bytes16(answerBytes) + Bytes32(flags) +
         Bytes16(static_cast<std::uint32_t>(options.size())) + options;
}

inline std::string Cookie(const std::string& bytes) {
  return Bytes16(10) + Bytes16(static_cast<std::uint32_t>(bytes.size())) + bytes;
}

/// A record that belongs to the question's name, which it points to.
inline std::string Record(RecordType type, std::uint32_t lifetime, const std::string& data = "data") {
  return "\xC0\x0C" + Bytes16(type) + Bytes16(1) + Bytes32(lifetime) +
         Bytes16(static_cast<std::uint32_t>(data.size())) + data;
}

inline std::string SoaRecord(std::uint32_t lifetime, std::uint32_t minimum) {
  return Record(kSoa, lifetime, std::string(18, '\0') + Bytes32(minimum));
}

/// An answer with as many records in its sections as the three digits of `counts` say. `code`: the fourth byte.
inline std::string ReplyTo(const std::string& query, std::string_view counts = "000", const std::string& records = "",
                           int code = 0) {
  std::string reply = query;
  reply[2] = static_cast<char>(0x80 | reply[2]);
  reply[3] = static_cast<char>(code);
  for (std::size_t section = 0; section < 3; ++section)
    reply[7 + 2 * section] = static_cast<char>(counts[section] - '0');
  return reply + records;
}

}  // namespace quenvar
