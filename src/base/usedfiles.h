// The files of a run, so that none is written over another one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tabulon {

// What a run does with a file.
enum class FileUse {
  kRead,
  kLogged,  // list log or error log; both may go to one file
  kWritten,
};

struct UsedFile {
  FileUse use;
  std::wstring_view role;  // in messages: a constant
  std::string path;
};
using UsedFiles = std::vector<UsedFile>;

// Ends the run, with a message that names both, when two of them are one regular file and that
// would cost its contents. Names, links and paths do not matter: files that are there are compared
// by device and inode, those that are not by their directory's and their name.
void RefuseSameFiles(const UsedFiles& files);

// Whether two open descriptors refer to the same regular file.
bool IsSameFile(int a, int b);

}  // namespace tabulon
