#pragma once
// ZOVCollectable: the agent's root of objects kept in collections; stored by ZOVMemoryManager.

#include "foundation/collectable.h"
#include "foundation/string.h"
#include "runtime/memory_manager.h"

class ZOVCollectable : public RWCollectable {
 public:
  RWClassID isA() const override { return classIsA(); }
  static RWClassID classIsA() { return 32768; }

  static void* operator new(std::size_t size) { return ZOVMemoryManager::operator new(size); }
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* pointer, std::size_t size) { ZOVMemoryManager::release(pointer, size); }
};

class ZOVCollectableString : public RWCollectableString {
 public:
  using RWCollectableString::RWCollectableString;
  static void* operator new(std::size_t size) { return ZOVMemoryManager::operator new(size); }
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* pointer, std::size_t size) { ZOVMemoryManager::release(pointer, size); }
};
