// The texts that the logs take from the system: stamped file names and error messages.
#pragma once

#include <string>
#include <string_view>

namespace tabulon {

// Expands every "%d" or "%D" of a file name to the local date and time, "YYMMDD.hhmmss". The letter
// of the token is kept behind the stamp ("list%d.txt" gives "list261115.101809d.txt"), and the
// year 2000 prints as "100": both on purpose.
std::string MakeFilename(std::string_view pattern);

// The C library's text for a system error number, each byte one unit, sign-extended.
// Valid until the next call.
const wchar_t* PosixErrMsg(int errnum);

}  // namespace tabulon
