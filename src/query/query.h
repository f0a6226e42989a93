// The compiled form of a query: a list of tests joined by "[and]" and "[or]", where a parenthesised
// group is one element that holds a list of its own.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>

#include "detail/securityobjects.h"
#include "query/classes.h"

namespace tabulon {

// Object codes. Reports of one scan kind know some of them only; see filterObjects.
inline constexpr uint32_t kObjName = 0x1;
inline constexpr uint32_t kObjPath = 0x2;
inline constexpr uint32_t kObjTarget = 0x4;
inline constexpr uint32_t kObjSize = 0x8;
inline constexpr uint32_t kObjAds = 0x10;
inline constexpr uint32_t kObjAdate = 0x20;
inline constexpr uint32_t kObjMdate = 0x40;
inline constexpr uint32_t kObjCdate = 0x80;
inline constexpr uint32_t kObjAnyDate = kObjAdate | kObjMdate | kObjCdate;
inline constexpr uint32_t kObjOwner = 0x100;
inline constexpr uint32_t kObjGroup = 0x200;
inline constexpr uint32_t kObjDacl = 0x400;
inline constexpr uint32_t kObjSacl = 0x800;
inline constexpr uint32_t kObjAcl = kObjDacl | kObjSacl;
inline constexpr uint32_t kObjSecdesc = kObjAcl | kObjOwner | kObjGroup;
inline constexpr uint32_t kObjInode = 0x1000;
inline constexpr uint32_t kObjLinks = 0x2000;
inline constexpr uint32_t kObjUid = 0x4000;
inline constexpr uint32_t kObjGid = 0x8000;
inline constexpr uint32_t kObjAttrs = 0x10000;
inline constexpr uint32_t kObjType = 0x20000;
inline constexpr uint32_t kObjClass = 0x40000;
inline constexpr uint32_t kObjSdirCount = 0x80000;

// Scan restriction of a table row: bits of its code word (reports, objects).
inline constexpr uint32_t kCifsOnly = 0x80000000;
inline constexpr uint32_t kNfsOnly = 0x40000000;

// Comparison codes; the record's value is on the left.
enum Comparison : uint32_t {
  kGreater = 1,
  kGreaterOrEqual = 2,
  kLess = 3,
  kLessOrEqual = 4,
  kEqual = 5,
  kNotEqual = 6,
};

// How an element joins the next one of its list.
enum Connector { kNoConnector = 0, kTestComplete = 1, kAnd = 2, kOr = 3 };

// What an element waits for while it is being parsed.
enum ElementState { kWantObject = 1, kWantOperator = 2, kWantValue = 3, kComplete = 4 };

// Values of the object "type".
inline constexpr uint64_t kTypeFile = 1;
inline constexpr uint64_t kTypeDirectory = 2;

// One element. The pointers only look: the query owns all elements.
struct Filter {
  Filter* next = nullptr;                // following element of the same list
  Filter* sub = nullptr;                 // head of the list of a parenthesised group
  uint32_t object = 0;                   // object code
  uint32_t comparison = 0;               // Comparison
  int64_t dateValue = 0;                 // date objects: seconds
  uint64_t number = 0;                   // size, count, numeric id, attribute bits, or file type
  std::wstring pattern;                  // name-like objects: coded template
  const FileClass* fileClass = nullptr;  // "class"
  std::wstring text;                     // the value as written
  const SidObject* sid = nullptr;        // account found for an ACL object
  int state = kWantObject;
  int connector = kNoConnector;
  uint32_t operatorMask = 0;  // operators that the object accepts
};

// A compiled query. What its elements refer to (classes, accounts) must outlive it.
struct Query {
  std::list<Filter> elements;  // of all groups; they stay where they are when a query is moved
  Filter* head = nullptr;      // of the outermost list; null: every record passes

  // A new element, waiting for an object.
  Filter* Add() { return &elements.emplace_back(); }
  // Joins `other` to this query: a record must pass both.
  void And(Query other);
};

}  // namespace tabulon
