#pragma once
// The bytes of a request's rows. Grows in place where the system can (realloc), and leaves new bytes as they
// are: a large answer would otherwise be moved and cleared several times over.

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace zov {

class RowBuffer {
 public:
  char* data() { return _bytes.get(); }
  const char* data() const { return _bytes.get(); }
  std::size_t size() const { return _size; }
  /// Keeps what is there; std::bad_alloc when there is no storage, with nothing changed.
  void resize(std::size_t size) {
    void* bytes = std::realloc(_bytes.get(), size == 0 ? 1 : size);
    if (bytes == nullptr) throw std::bad_alloc();
    (void)_bytes.release();
    _bytes.reset(static_cast<char*>(bytes));
    _size = size;
  }

 private:
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };
  std::unique_ptr<char, Free> _bytes;
  std::size_t _size = 0;
};

}  // namespace zov
