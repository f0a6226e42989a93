// The process locale, and wide text in its multibyte encoding.
#pragma once

#include <string>
#include <string_view>

namespace tabulon {

// Sets the user's locale, which names and messages follow. Where that leaves plain ASCII without
// anyone having asked for it (cron, containers), text is UTF-8, so that names survive.
void ChooseLocale();

// Appends `text` as bytes of the process locale; a unit that the encoding cannot hold becomes '?'.
void AppendLocaleBytes(std::string& out, std::wstring_view text);

}  // namespace tabulon
