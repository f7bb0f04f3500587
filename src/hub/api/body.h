#pragma once
// The body of an answer that is sent while it is being written: a list of items between a head and a tail.

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>

#include "platform/clock.h"
#include "platform/mutex.h"

namespace zov::hub {

/// Blocks of text on their way from several writers to one reader. What is unsent counts against the bound of
/// all bodies together (Limits::answerBytes); a writer that finds no room waits for readers. A body that
/// holds nothing may always take one block, so that large answers do not keep small ones away.
///
/// Any thread, but for the reader. `_mutex` is a leaf.
class Body {
 public:
  /// What a writer may still wait for room: by time, since he may be holding up others.
  using Patience = ZOVClock::Steady::duration;
  enum class Reading { Some, NoneYet, End, Cut };

  explicit Body(std::string head, const char* separator = ",")
      : _head(std::move(head)), _separator(separator) {}
  ~Body();
  Body(const Body&) = delete;
  Body& operator=(const Body&) = delete;

  /// Called after each change that the reader may wait for, with no lock held. Set before anyone writes.
  void onChange(std::function<void()> changed) { _changed = std::move(changed); }

  /// Adds items, which the separator stands between. False when the body has ended, or when there was no room
  /// for as long as the patience lasts: that cuts it.
  bool write(std::string items, Patience& patience);
  /// Ends the body with the tail; what comes later is refused.
  void finish(const std::string& tail);
  /// Ends the body where it is: its reader learns that something is missing.
  void cut();

  /// True when something has been written, or nothing will be.
  bool isReady() const;
  /// True when the body was cut before anything was written.
  bool failedAtOnce() const;
  /// The reader: copies what is next to be sent.
  Reading read(char* buffer, std::size_t most, std::size_t& length);
  /// The reader: true when he has taken less than that since the last call, although there was more.
  bool isTakenSlowly(std::size_t leastBytes);

  /// Unsent bytes of all bodies.
  static std::size_t unsentBytes();
  /// True when there is no room for more answers than those under way.
  static bool roomIsFull();

 private:
  struct Block {
    std::string text;
    std::size_t counted;  // of its bytes; those of the head, separators and the tail are not
  };

  bool hasEnded() const ZOV_REQUIRES(_mutex) { return _finished || _cut; }
  void release(std::size_t counted);

  std::string _head;
  const char* const _separator;
  std::function<void()> _changed;
  mutable Mutex _mutex;
  std::deque<Block> _blocks ZOV_GUARDED_BY(_mutex);
  std::size_t _offset ZOV_GUARDED_BY(_mutex) = 0;  // sent of the first block
  std::size_t _taken ZOV_GUARDED_BY(_mutex) = 0;   // by the reader, since isTakenSlowly
  bool _begun ZOV_GUARDED_BY(_mutex) = false;
  bool _finished ZOV_GUARDED_BY(_mutex) = false;
  bool _cut ZOV_GUARDED_BY(_mutex) = false;
  std::atomic<bool> _ended{false};    // of a writer that waits
  std::atomic<std::size_t> _held{0};  // bytes of _blocks, and of writers about to push
};

}  // namespace zov::hub
