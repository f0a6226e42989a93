// The configuration file: a text file of "[parameters]", "[classes]" and "[report]" sections that
// tells which reports to make and how. This module reads its lines and hands them to the sections'
// own rooms; every fault ends the run with its message, before any record is scanned.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "detail/scan.h"

namespace tabulon {

// Longest physical line that is read in one piece, its line feed included: the rest of a longer one
// is the next line.
inline constexpr size_t kPhysicalLineBytes = 132;
// Longest line that continuations may add up to.
inline constexpr size_t kLogicalLineBytes = 519;
// Most lines in a row that hold nothing.
inline constexpr size_t kMostEmptyLines = 100'000;

// Set to 1 at the end of the file; ReadConfigLine then reads no more. Set back by tests only.
extern int configEOF;

// Reads the next line that holds anything: comments ('#' to the end) and trailing blanks removed,
// control characters and bytes from 128 up made blanks, lines ending in '_' joined with the next
// one. Returns its length; 0, with `line` empty, at the end of the file. A line that grows too long
// or cannot be read ends the run, and so do empty lines that do not end.
size_t ReadConfigLine(FILE* stream, std::wstring& line);

// Reads and applies the whole file, makes the report directory and completes the active reports of
// `reportList`. REQUIRES: the command line is parsed.
void ProcessConfigFile(const char* path, const Scan& scan);

}  // namespace tabulon
