// The one-time import of the server file that an earlier release left behind.
#pragma once

namespace quenvar {

/// Takes the servers of "DNSIP.DAT" in the program directory over into the settings file and deletes it. Does nothing
/// where there is no such file. Where the settings file cannot be written, the old file stays for the next start.
void ImportServerFile();

}  // namespace quenvar
