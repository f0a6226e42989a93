#include "config/settings.h"

#include "config/report.h"

namespace tabulon {

bool qvaFlag = false;
bool dbgFlag = false;
bool adsFull = false;
std::list<std::wstring> catList;

std::optional<std::string> reportDir;
std::optional<std::wstring> dateFmt;
wchar_t csvSep = 0;
int csvHdrs = 1;
std::wstring maxPathUnitName = L"UTF-8 encoded bytes";
std::wstring isoCodeName = L"8859-1";
int aclPerms = 2;
int textFormat = kTextStandard;
uint32_t pathFormDflt = kFlagAbsolute;
uint32_t namesDflt = kFlagFileInDir;

void ResetSettings() {
  qvaFlag = dbgFlag = adsFull = false;
  catList.clear();
  reportDir.reset();
  dateFmt.reset();
  csvSep = 0;
  csvHdrs = 1;
  maxPathUnitName = L"UTF-8 encoded bytes";
  isoCodeName = L"8859-1";
  aclPerms = 2;
  textFormat = kTextStandard;
  pathFormDflt = kFlagAbsolute;
  namesDflt = kFlagFileInDir;
}

}  // namespace tabulon
