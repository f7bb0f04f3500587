#pragma once
// A table as the hub knows it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/table_manager.h"

namespace zov::hub {

struct Column {
  std::string name;       ///< lower case, as in rows
  std::string upperName;  ///< as in filters and thresholds
  std::uint16_t offset = 0;
  std::uint16_t size = 0;
  std::uint16_t type = 0;  ///< ColumnInfo_Type
  bool sortable = false;
  ColumnDescription described = {};  ///< readable is the name where the table says nothing
};

/// Of names and words, which are ASCII.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// A table as its own request object describes it. Immutable; the manager outlives it.
struct Table {
  TableManager* manager = nullptr;
  std::size_t rowBytes = 0;
  std::vector<Column> columns;
  QueryAbilities abilities;

  /// The column of that name, else of that readable name, in whatever case; or null.
  const Column* find(std::string_view name) const;

  /// Asks the table for its columns. One that lies outside the row is traced and left out.
  static std::shared_ptr<const Table> describe(TableManager& manager);
};

}  // namespace zov::hub
