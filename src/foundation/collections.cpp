#include "foundation/collections.h"

#include <algorithm>

#include "foundation/error_handler.h"
#include "foundation/string.h"

RWCollectable* RWIterator::findNext(const RWCollectable* target) {
  while (RWCollectable* member = (*this)()) {
    if (member->isEqual(target)) return member;
  }
  return nullptr;
}

void RWCollection::clearAndDestroy() {
  // Where there is no storage for it, a member that goes gives some back.
  while (!isEmpty() && !destroyAll()) delete takeOne();
}

bool RWCollection::destroyAll() {
  // The collection is empty before the first destructor runs, which may look at it. A member that was
  // inserted twice is deleted once.
  std::vector<RWCollectable*> members, sorted;
  try {
    members = allMembers();
    sorted = members;
  } catch (const std::bad_alloc&) {
    return false;
  }
  clear();
  std::sort(sorted.begin(), sorted.end());
  if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) {
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    members.swap(sorted);
  }
  for (RWCollectable* member : members) delete member;
  return true;
}

void RWCollection::removeAndDestroy(const RWCollectable* target) {
  delete remove(target);
}

namespace {

template <class Members>
auto findEqual(Members& members, const RWCollectable* target) {
  return std::find_if(members.begin(), members.end(),
                      [&](const RWCollectable* member) { return member->isEqual(target); });
}

/// Takes the member at a place out and answers it; null at the end.
template <class Members, class Place>
RWCollectable* takeOut(Members& members, Place place) {
  if (place == members.end()) return nullptr;
  RWCollectable* member = *place;
  members.erase(place);
  return member;
}

}  // namespace

RWCollectable* RWSlistCollectables::append(RWCollectable* member) {
  return member && rwTakingStorage([&] { _members.push_back(member); }) ? member : nullptr;
}

RWCollectable* RWSlistCollectables::prepend(RWCollectable* member) {
  return member && rwTakingStorage([&] { _members.push_front(member); }) ? member : nullptr;
}

RWCollectable* RWSlistCollectables::takeOne() {
  RWCollectable* member = first();
  _members.remove(member);
  return member;
}

RWCollectable* RWSlistCollectables::find(const RWCollectable* target) const {
  const auto place = findEqual(_members, target);
  return place == _members.end() ? nullptr : *place;
}

RWCollectable* RWSlistCollectables::remove(const RWCollectable* target) {
  return takeOut(_members, findEqual(_members, target));
}

RWCollectable* RWSlistCollectables::removeReference(const RWCollectable* member) {
  return takeOut(_members, std::find(_members.begin(), _members.end(), member));
}

RWCollectable* RWSlistCollectables::removeFirst() {
  return takeOut(_members, _members.begin());
}

std::size_t RWSlistCollectables::index(const RWCollectable* target) const {
  const auto place = findEqual(_members, target);
  return place == _members.end() ? RW_NPOS : static_cast<std::size_t>(std::distance(_members.begin(), place));
}

RWCollectable* RWSlistCollectables::at(std::size_t position) const {
  if (position < _members.size()) return *std::next(_members.begin(), static_cast<std::ptrdiff_t>(position));
  rwReportError("RWSlistCollectables::at: position past the end");
  return nullptr;
}

std::unique_ptr<RWIterator> RWSlistCollectables::newIterator() const {
  return rwMake<RWSlistCollectablesIterator>(*this);
}

void RWSlistCollectablesIterator::reset() {
  _position = _list._members.end();
  _current = nullptr;
  _started = false;
}

RWCollectable* RWSlistCollectablesIterator::operator()() {
  const auto end = _list._members.end();
  if (!_started) {
    _started = true;
    _position = _list._members.begin();
  } else if (_position != end) {
    ++_position;
  }
  _current = _position == end ? nullptr : *_position;
  return _current;
}

RWCollectable* RWSlistCollectablesIterator::remove() {
  if (!_current) return nullptr;
  RWCollectable* removed = _current;
  // Stands on the former member, so that the removal of the following one stays safe.
  _started = _position != _list._members.begin();
  const auto taken = _position;
  if (_started) --_position;
  _list._members.erase(taken);
  _current = nullptr;
  return removed;
}

RWOrdered::RWOrdered(std::size_t capacity) {
  rwTakingStorage([&] { _members.reserve(capacity); });
}

RWCollectable* RWOrdered::insert(RWCollectable* member) {
  return member && rwTakingStorage([&] { _members.push_back(member); }) ? member : nullptr;
}

RWCollectable* RWOrdered::takeOne() {
  RWCollectable* member = _members.empty() ? nullptr : _members.back();
  std::erase(_members, member);
  return member;
}

RWCollectable* RWOrdered::find(const RWCollectable* target) const {
  const auto place = findEqual(_members, target);
  return place == _members.end() ? nullptr : *place;
}

RWCollectable* RWOrdered::remove(const RWCollectable* target) {
  return takeOut(_members, findEqual(_members, target));
}

RWCollectable* RWOrdered::at(std::size_t position) const {
  if (position < _members.size()) return _members[position];
  rwReportError("RWOrdered::at: position past the end");
  return nullptr;
}

RWCollectable* RWOrdered::removeAt(std::size_t position) {
  if (position < _members.size()) {
    return takeOut(_members, _members.begin() + static_cast<std::ptrdiff_t>(position));
  }
  rwReportError("RWOrdered::removeAt: position past the end");
  return nullptr;
}

std::unique_ptr<RWIterator> RWOrdered::newIterator() const {
  return rwMake<RWOrderedIterator>(*this);
}

RWCollectable* RWOrderedIterator::operator()() {
  _current = _next < _ordered.entries() ? _ordered.at(_next++) : nullptr;
  return _current;
}

RWCollectable* RWBinaryTree::insert(RWCollectable* member) {
  return member && rwTakingStorage([&] { _members.insert(member); }) ? member : nullptr;
}

RWCollectable* RWBinaryTree::takeOne() {
  if (_members.empty()) return nullptr;
  RWCollectable* member = *_members.begin();
  auto [at, last] = _members.equal_range(member);
  while (at != last) at = *at == member ? _members.erase(at) : std::next(at);
  return member;
}

RWBinaryTree::Members::const_iterator RWBinaryTree::place(const RWCollectable* target) const {
  const auto [first, last] = _members.equal_range(const_cast<RWCollectable*>(target));
  const auto found =
      std::find_if(first, last, [&](const RWCollectable* member) { return member->isEqual(target); });
  return found == last ? _members.end() : found;
}

RWCollectable* RWBinaryTree::find(const RWCollectable* target) const {
  const auto found = place(target);
  return found == _members.end() ? nullptr : *found;
}

RWCollectable* RWBinaryTree::remove(const RWCollectable* target) {
  return takeOut(_members, place(target));
}

std::unique_ptr<RWIterator> RWBinaryTree::newIterator() const {
  return rwMake<RWBinaryTreeIterator>(*this);
}

void RWBinaryTreeIterator::reset() {
  _position = _tree._members.end();
  _current = nullptr;
  _started = false;
}

RWCollectable* RWBinaryTreeIterator::operator()() {
  const auto end = _tree._members.end();
  if (!_started) {
    _started = true;
    _position = _tree._members.begin();
  } else if (_position != end) {
    ++_position;
  }
  _current = _position == end ? nullptr : *_position;
  return _current;
}
