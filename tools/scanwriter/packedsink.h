// The compressed form of a detail file: one zlib stream (RFC 1950) of the plain file, whose two
// header bytes are always 0x78 0x01, since readers know a compressed file by them.
//
// A thread of its own compresses, so that the plain file is made meanwhile and never needed on
// disk. The blocks at the start of a detail file, which are complete only at its end, become a
// block of the stream that is stored as it is (RFC 1951, 3.2.4) and written last.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

// Half a percent larger than at level 9, in an eighth of the time.
inline constexpr int kPackLevel = 6;

class PackedSink : public DtlSink {
 public:
  // What is compressed goes to `packed`, which is used by the thread until Finish.
  explicit PackedSink(DtlSink& packed, int level = kPackLevel);
  ~PackedSink() override;
  PackedSink(const PackedSink&) = delete;
  PackedSink& operator=(const PackedSink&) = delete;

  // Bytes of the plain file. Waits while the thread has some megabytes to do.
  bool Append(std::string_view bytes) override;
  // Only within the first kHeadSize bytes of the plain file; else false with errno EINVAL.
  bool Overwrite(uint64_t offset, std::string_view bytes) override;
  // Ends the stream. False with errno set when `packed` has failed.
  bool Finish();

  // The blocks of a detail file.
  static constexpr size_t kHeadSize = kHeaderSize + kRootSize + kVersionSize;

 private:
  bool PutHead();
  void Run(int level);
  int Compress(int level);
  bool Take(std::string& bytes, bool& last);
  void Hand(std::string bytes, bool last);

  DtlSink& packed_;
  std::string head_;
  bool headPut_ = false;
  uint64_t restSize_ = 0;        // bytes of the plain file after its head
  unsigned long restCheck_ = 1;  // their Adler-32; the thread's until it ends

  std::mutex mutex_;  // guards what follows
  std::condition_variable change_;
  std::deque<std::string> waiting_;
  bool last_ = false;     // nothing will be added to waiting_
  bool dropped_ = false;  // nothing more is wanted
  int error_ = 0;         // errno of `packed`
  std::jthread thread_;
};

}  // namespace tabulon
