#include "tools/mkdtl/names.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace tabulon {
namespace {

constexpr std::string_view kKnownExtensions[] = {
    "pdf",  "jpg",  "docx", "txt", "xlsx", "log",  "png", "xml", "html", "c",   "h",    "py",
    "js",   "json", "tmp",  "doc", "zip",  "csv",  "gz",  "mp4", "bak",  "dll", "cpp",  "xls",
    "pptx", "mp3",  "gif",  "tif", "sql",  "java", "o",   "so",  "cfg",  "ini", "tar",  "md",
    "css",  "exe",  "dat",  "db",  "bmp",  "wav",  "mov", "msg", "pst",  "iso", "vmdk", "ps1",
    "sh",   "yaml", "conf", "svg", "eml",  "avi",  "rtf", "odt", "mdb",  "psd", "dwg",  "7z"};

constexpr std::string_view kWords[] = {
    "report",  "budget",  "invoice", "summary", "draft",    "final",   "meeting", "notes",
    "project", "plan",    "review",  "archive", "backup",   "export",  "import",  "data",
    "image",   "scan",    "photo",   "design",  "contract", "offer",   "order",   "client",
    "update",  "release", "build",   "test",    "config",   "session", "access",  "error",
    "status",  "monthly", "annual",  "quarter", "old",      "new",     "copy",    "master",
    "index",   "table",   "results", "sample",  "survey",   "payroll", "audit",   "policy"};

// Names in other languages: the first half needs two bytes a character outside ASCII, the rest
// three.
constexpr std::string_view kForeignWords[] = {
    "résumé", "übersicht", "données", "año",  "çizim",  "отчёт", "αρχείο", "größe",
    "報告書", "会議",      "項目",    "사진", "รายงาน", "数据",  "図面",   "資料"};

constexpr std::string_view kDirectoryWords[] = {
    "home",    "projects", "archive", "shared", "finance", "legal",  "media", "source",
    "include", "lib",      "docs",    "images", "backup",  "export", "2021",  "2022",
    "2023",    "2024",     "clients", "drafts", "tools",   "cache",  "build", "release"};

constexpr std::string_view kPeople[] = {"anna",  "ben",   "carla", "david", "elena",
                                        "felix", "grace", "hugo",  "irene", "jonas"};
constexpr std::string_view kGroups[] = {"staff", "finance", "legal", "media", "build"};

constexpr char kSeparators[] = {'_', '-', ' '};
constexpr uint32_t kLongestName = 40;
constexpr uint32_t kShortestName = 8;

// Made-up extensions: consonant, vowel, consonant.
std::string MadeExtension(uint32_t n) {
  constexpr std::string_view kConsonants = "bcdfgklmnprstvxz";
  constexpr std::string_view kVowels = "aeiou";
  const size_t size = kConsonants.size();
  return {kConsonants[n % size], kVowels[n / size % kVowels.size()],
          kConsonants[n / (size * kVowels.size()) % size]};
}

void AppendNumber(std::string& out, uint32_t number, size_t width) {
  const std::string digits = std::to_string(number);
  out.append(width - std::min(width, digits.size()), '0');
  out += digits;
}

// Appends the first `limit` characters of a UTF-8 text at most; returns how many.
uint32_t AppendCharacters(std::string& out, std::string_view text, uint32_t limit) {
  uint32_t characters = 0;
  for (const char byte : text) {
    const bool begins = (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
    if (begins && characters == limit) break;
    characters += begins ? 1 : 0;
    out += byte;
  }
  return characters;
}

}  // namespace

NameMaker::NameMaker() {
  std::set<std::string> taken;
  for (const std::string_view known : kKnownExtensions) {
    taken.emplace(known);
    extensions_.emplace_back(".").append(known);
  }
  // A step that shares no factor with the number of combinations visits each of them once.
  for (uint32_t n = 0; extensions_.size() < kExtensions; n += 37) {
    const std::string made = MadeExtension(n);
    if (taken.insert(made).second) extensions_.emplace_back(".").append(made);
  }
}

uint32_t NameMaker::DrawExtension(Random& random) const {
  return random.PerMille(30) ? kNoExtension : random.Skewed(kExtensions);
}

void NameMaker::FileName(Random& random, uint32_t extension, uint32_t number,
                         std::string& out) const {
  out.clear();
  const std::string_view ending =
      extension == kNoExtension ? std::string_view() : extensions_[extension];
  const uint32_t digits = number < 100 ? 2 : number < 10000 ? 4 : 8;
  const auto fixed = static_cast<uint32_t>(ending.size()) + digits;
  const uint32_t wanted = std::max(random.Between(kShortestName, kLongestName), fixed);
  uint32_t room = wanted - fixed;
  if (random.PerMille(10)) room -= AppendCharacters(out, Pick(random, kForeignWords), room);
  while (room > 0) {
    room -= AppendCharacters(out, Pick(random, kWords), room);
    if (room > 0) {
      out += Pick(random, kSeparators);
      --room;
    }
  }
  AppendNumber(out, number, digits);
  out += ending;
}

void NameMaker::ShortName(Random& random, uint32_t number, std::string& out) const {
  constexpr std::string_view kShortExtensions[] = {".DOC", ".XLS", ".TXT", ".PDF"};
  out.clear();
  for (const char letter : Pick(random, kWords).substr(0, 3)) {
    out += static_cast<char>(letter - 'a' + 'A');
  }
  out += 'X';
  AppendNumber(out, number, 2);
  out += "~1";
  out += Pick(random, kShortExtensions);
}

void NameMaker::DirectoryName(Random& random, uint32_t number, std::string& out) const {
  constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  out = Pick(random, kDirectoryWords);
  out += '-';
  for (uint32_t rest = number; rest > 0; rest /= 36) out += kDigits[rest % 36];
}

std::string UserName(uint32_t n) {
  const uint32_t people = std::size(kPeople);
  return std::string(kPeople[n % people]) + "." + static_cast<char>('a' + n / people % 26);
}

std::string GroupName(uint32_t n) {
  const uint32_t groups = std::size(kGroups);
  return std::string(kGroups[n % groups]) + std::to_string(n / groups + 1);
}

}  // namespace tabulon
