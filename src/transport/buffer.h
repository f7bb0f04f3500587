#pragma once
// ZOVBuffer: the body of one message, written by appending and read by a cursor; the string's own bytes are
// the body. All numbers are big-endian. Lives for one send or one receive, in one thread.
//
// Bodies come from peers, so every reader tests the length: a reader that would pass the end marks the buffer
// as damaged, puts the cursor at the end and gives 0 or an empty text, and so does every reader after it.

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "runtime/collectable.h"
#include "runtime/return_code.h"

class ZOVSocketConnection;

class ZOVBuffer : public ZOVCollectableString {
 public:
  enum _FieldType { EndOfFields = 0, NumericField = 1, StringField = 2 };
  /// A numeric field as it stands in a body.
  struct NumericFieldBytes {
    std::uint32_t type, key;
    std::uint64_t value;
  };
  static_assert(sizeof(NumericFieldBytes) == 16);
  static constexpr std::size_t StringFieldHead = 12;  ///< bytes of a string field ahead of its text

  ZOVBuffer() = default;  ///< without a socket: to look at an object's bytes
  /// An outgoing body. The socket is not owned.
  explicit ZOVBuffer(ZOVSocketConnection& socket) : _socket(&socket) {}
  /// A received body; move it in to read in place.
  ZOVBuffer(ZOVSocketConnection& socket, RWCString body) : _socket(&socket) { take(std::move(body)); }
  explicit ZOVBuffer(RWCString body) { take(std::move(body)); }  ///< a body that came from elsewhere

  // Reading.
  /// The type of the next field, or 0 at the end of the body (and for a 0 in the body, which ends it too).
  int getNextFieldType() { return _cursor >= length() ? EndOfFields : getNextIntField(); }
  int getNextKey() { return getNextIntField(); }
  int getNextIntField() { return static_cast<int>(next<std::uint32_t>()); }
  int getNextShortIntField() { return next<std::uint16_t>(); }
  long long getNextLongField() { return static_cast<long long>(next<std::uint64_t>()); }
  /// Reads the next field when it is a whole numeric one; otherwise touches nothing.
  bool getNextNumericField(int& key, long long& value) {
    if (length() - _cursor < sizeof(NumericFieldBytes) || at<std::uint32_t>(_cursor) != NumericField)
      return false;
    key = static_cast<int>(at<std::uint32_t>(_cursor + 4));
    value = static_cast<long long>(at<std::uint64_t>(_cursor + 8));
    _cursor += sizeof(NumericFieldBytes);
    return true;
  }
  RWCString getNextStringField() { return RWCString(getNextTextField()); }
  /// As getNextStringField, in place: good while the buffer is.
  std::string_view getNextTextField();
  bool isDamaged() const { return _damaged; }
  std::size_t getCursor() const { return _cursor; }
  void rewind() { _cursor = 0, _damaged = false; }
  /// Data type and subtype of the header, wherever the cursor is; -1 when the body is too short for them.
  int peekDataType() const { return length() < 4 ? -1 : at<std::uint16_t>(2); }
  int peekSubtype() const { return length() < 8 ? -1 : static_cast<int>(at<std::uint32_t>(4)); }

  // Writing.
  void streamInt(unsigned long value) { put(static_cast<std::uint32_t>(value)); }
  void streamShortInt(unsigned short value) { put(value); }
  void streamLong(long long value) { put(static_cast<std::uint64_t>(value)); }
  void streamIntField(int key, long long value) {
    const NumericFieldBytes field = numericField(key, value);
    streamFields({&field, 1});
  }
  /// Many numeric fields at once.
  void streamFields(std::span<const NumericFieldBytes> fields) {
    streamBytes(std::string_view(reinterpret_cast<const char*>(fields.data()), fields.size_bytes()));
  }
  static NumericFieldBytes numericField(int key, long long value) {
    return {bigEndian(std::uint32_t{NumericField}), bigEndian(static_cast<std::uint32_t>(key)),
            bigEndian(static_cast<std::uint64_t>(value))};
  }
  /// The text ends at its NUL; null reads as empty.
  void streamStringField(int key, const char* text);
  /// Gives the body to the socket and answers its return code; 0 without a socket.
  ZOVReturnCode send() const;

 private:
  template <class Unsigned>
  static Unsigned bigEndian(Unsigned value) {
    static_assert(std::endian::native == std::endian::little);
    if constexpr (sizeof(value) == 8) return __builtin_bswap64(value);
    if constexpr (sizeof(value) == 4) return __builtin_bswap32(value);
    if constexpr (sizeof(value) == 2) return __builtin_bswap16(value);
  }
  template <class Unsigned>
  Unsigned at(std::size_t position) const {
    Unsigned value;
    std::memcpy(&value, data() + position, sizeof value);
    return bigEndian(value);
  }
  template <class Unsigned>
  Unsigned next() {
    if (length() - _cursor < sizeof(Unsigned)) return markDamaged(), Unsigned{0};
    const Unsigned value = at<Unsigned>(_cursor);
    _cursor += sizeof value;
    return value;
  }
  template <class Unsigned>
  void put(Unsigned value) {
    value = bigEndian(value);
    append(std::string_view(reinterpret_cast<const char*>(&value), sizeof value));
  }
  void streamBytes(std::string_view bytes);
  void markDamaged() { _damaged = true, _cursor = length(); }
  void take(RWCString&& body) { RWCString::operator=(std::move(body)); }

  std::size_t _cursor = 0;  // never past the length
  ZOVSocketConnection* _socket = nullptr;
  bool _damaged = false;
};
