// The [classes] sections: named sets of file extensions, "name = ext,ext,...".
#pragma once

#include <string_view>

namespace tabulon {

// Adds the class of one line to classList. Each item of `value` is an extension, with or without
// its dot, or a template with '*' or '?'; blanks around items belong to them, and an empty item
// stands for names that end in a dot. A name that exists already (letter case ignored) ends the
// run.
void ClassLine(std::wstring_view name, std::wstring_view value);

}  // namespace tabulon
