// Passwords: read from files, as command lines are for all to see; and wiped.
#pragma once

#include <string>

#include "platform/secure.h"

namespace necctl {

// A record of the FTP configuration, whose password is wiped at its end.
template <class Record>
struct WithPassword : Record {
    WithPassword() = default;
    ~WithPassword() { FrameUtil::ClearPasswd(this->password); }
    WithPassword(const WithPassword&) = delete;
    WithPassword& operator=(const WithPassword&) = delete;
};

// What the help says of a password file.
inline constexpr const char* passwordFileHelp =
    "File that holds the password, with or without a line end behind it; - for standard input. On the command line "
    "itself all users of the machine would see it";

// Replaces `password` by the content of `file`, of standard input for "-", without one line end (LF or CR LF) at its
// end. No other copy of it is left. Throws Failure when the file cannot be read, or holds more octets than the FTP
// configuration takes.
void readPassword(const std::string& file, std::string& password);

}  // namespace necctl
