#pragma once
// zov::TcpStream: a stream over a socket. What arrives is read ahead, up to ReadAheadSize bytes, so that one
// call of the system brings many small messages; nothing is waited for while bytes are there. More than that
// is received straight to its place.

#include <memory>
#include <span>

#include "transport/stream.h"

struct pollfd;

namespace zov {

class TcpStream : public Stream {
 public:
  static constexpr std::size_t ReadAheadSize = 65536;

  /// Takes over a connected socket, or -1: a stream on which everything fails.
  explicit TcpStream(int descriptor) : _descriptor(descriptor) {}
  ~TcpStream() override;  ///< shuts down and closes

  ZOVReturnCode waitReadable(Deadline deadline) override;
  ZOVReturnCode receive(char* bytes, std::size_t count, Deadline deadline = {}) override;
  ZOVReturnCode send(std::string_view first, std::string_view second = {}, Deadline deadline = {}) override;
  ZOVReturnCode receiveArrived(char* bytes, std::size_t room, std::size_t& received) override;
  void shutDown() override;
  int descriptor() const override { return _descriptor; }

 private:
  ZOVReturnCode waitFor(short events, Deadline deadline) const;
  ZOVReturnCode receiveSome(char* bytes, std::size_t room, std::size_t& received) const;
  ZOVReturnCode readAhead();
  std::size_t takeReadAhead(char* bytes, std::size_t count);

  const int _descriptor;
  // The receiving thread's: the bytes from _begin to _end have been received and not yet been asked for.
  std::unique_ptr<char[]> _readAhead;  // made by the first receive
  std::size_t _begin = 0;
  std::size_t _end = 0;
};

/// Has the system probe a peer that says nothing, so that one which vanished without a word is found: after
/// two minutes.
void keepAlive(int socket);

/// ::poll until one of the descriptors is ready: 0; 30 when the deadline has passed.
ZOVReturnCode pollUntil(std::span<pollfd> watched, Stream::Deadline deadline);

}  // namespace zov
