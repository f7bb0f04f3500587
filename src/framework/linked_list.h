#pragma once
// The framework's list of pointers, and the walk over it. The list owns nothing and has no lock: whoever
// owns the list says which lock guards it, and holds that lock while a walk is under way.

#include <cstddef>
#include <vector>

class tqbox;

class LinkedList {
 public:
  void append(void* element) { _elements.push_back(element); }
  /// Takes the first entry of `element` out; false when there is none.
  bool remove(const void* element) {
    for (std::size_t i = 0; i < _elements.size(); ++i) {
      if (_elements[i] != element) continue;
      _elements.erase(_elements.begin() + static_cast<std::ptrdiff_t>(i));
      return true;
    }
    return false;
  }
  std::size_t entries() const { return _elements.size(); }
  void* at(std::size_t index) const { return index < _elements.size() ? _elements[index] : nullptr; }

 private:
  std::vector<void*> _elements;
};

/// Walks a list from its first entry.
class LinkedListIter {
 public:
  explicit LinkedListIter(const LinkedList* list) : _list(list) {}
  /// The next entry, or null at the end.
  void* Next() { return _list == nullptr ? nullptr : _list->at(_next++); }

 private:
  const LinkedList* _list;
  std::size_t _next = 0;
};

/// The same walk over a list of open requests.
class TqboxListIter : public LinkedListIter {
 public:
  using LinkedListIter::LinkedListIter;
  tqbox* Next() { return static_cast<tqbox*>(LinkedListIter::Next()); }
};
