#pragma once
// A page of a query's rows: those that come behind some, at most so many, in an order.

#include <cstdint>
#include <functional>
#include <vector>

#include "hub/core/table.h"

namespace zov::hub {

/// Which rows of all that a query finds are wanted.
struct Paging {
  std::size_t limit = 0;  ///< 0: all
  std::size_t offset = 0;
  const Column* order = nullptr;  ///< null: as the nodes are named, and each node's in its order
  bool descending = false;

  bool isAsked() const { return limit != 0 || offset != 0 || order != nullptr; }
  std::size_t wanted() const { return limit == 0 ? 0 : offset + limit; }  ///< 0: all
};

/// Keeps the rows of a query until all have come: with a limit, about twice those that are wanted. The rows
/// of all pages together are bounded (Limits::pageBytes). Not of several threads at once.
class RowPage {
 public:
  RowPage(const Table& table, Paging paging) : _table(table), _paging(paging) {}
  ~RowPage();
  RowPage(const RowPage&) = delete;
  RowPage& operator=(const RowPage&) = delete;

  /// Takes a row of a part, which are numbered as their rows shall follow each other. False: there is no
  /// room.
  bool add(std::size_t part, const char* row);
  /// Gives the page's rows in order, until one is not taken.
  void forEach(const std::function<bool(const char*)>& take);

 private:
  struct Place {
    std::size_t part;
    std::uint64_t number;  // in the order of coming
    std::size_t slot;      // of _rows
  };

  bool isBefore(const Place& a, const Place& b) const;
  /// Leaves the rows that are wanted, and room for as many.
  void prune();
  const char* rowOf(const Place& place) const { return _rows.data() + place.slot * _table.rowBytes; }

  const Table& _table;
  const Paging _paging;
  std::vector<char> _rows;
  std::vector<Place> _places;
  std::vector<std::size_t> _free;  // slots
  std::uint64_t _count = 0;
  std::size_t _counted = 0;  // bytes, of all pages' room
};

}  // namespace zov::hub
