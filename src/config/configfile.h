// The configuration file: a text file of "[parameters]", "[classes]" and "[report]" sections that
// tells which reports to make and how. This module reads its lines and hands each to the module of
// its section. Every fault ends the run with its message, before any record is scanned.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "config/reportdefinition.h"

namespace tabulon {

// Longest physical line that is read in one piece, its line feed included: the rest of a longer one
// is the next line.
inline constexpr size_t kPhysicalLineBytes = 132;
// Longest line that continuations may add up to.
inline constexpr size_t kLogicalLineBytes = 519;
// Most lines in a row that hold nothing.
inline constexpr size_t kMostEmptyLines = 100'000;

// The lines of a configuration file.
class ConfigLines {
 public:
  // `stream` must outlive this.
  explicit ConfigLines(FILE* stream) : stream_(stream) {}

  // Reads the next line that holds anything: comments ('#' to the end) and trailing blanks removed,
  // control characters and bytes from 128 up made blanks, lines ending in '_' joined with the next
  // one. Returns its length; 0, with `line` empty, at the end of the file. A line that grows too
  // long or cannot be read ends the run, and so do empty lines that do not end.
  size_t ReadConfigLine(std::wstring& line);

 private:
  void ReadPhysicalLine(std::string& line);

  FILE* stream_;
  bool configEOF_ = false;  // nothing more is read
};

// Reads the whole file into a configuration that begins with the settings `options`, makes the
// report directory and completes the active reports; the others are left out. `kinds`: the kinds of
// reports there are.
Configuration ReadConfiguration(const char* path, const Scan& scan, ReportKinds kinds,
                                const Settings& options);
// The same from an open file.
Configuration ReadConfiguration(FILE* stream, const Scan& scan, ReportKinds kinds,
                                const Settings& options);

}  // namespace tabulon
