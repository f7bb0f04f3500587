#include "hub/core/table.h"

#include <strings.h>

#include <algorithm>

#include "framework/table_manager.h"
#include "framework/tqbox.h"
#include "hub/core/request.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHTABL");

namespace zov::hub {
namespace {

std::string upperCase(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

}  // namespace

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

const Column* Table::find(std::string_view name) const {
  for (const bool readable : {false, true}) {
    const auto found = std::ranges::find_if(columns, [&](const Column& column) {
      return equalsIgnoringCase(readable ? column.described.readable : column.name, name);
    });
    if (found != columns.end()) return &*found;
  }
  return nullptr;
}

std::shared_ptr<const Table> Table::describe(TableManager& manager) {
  Request request(manager, {});
  tqbox& box = request.box();
  auto table = std::make_shared<Table>();
  table->manager = &manager;
  table->abilities = manager.queryAbilities();
  table->rowBytes = box._rowSize > 0 ? static_cast<std::size_t>(box._rowSize) : 0;
  const std::vector<ColumnDescription> descriptions = manager.describeColumns();
  for (int i = 0; i < box.NumColumns(); ++i) {
    ColumnInfo info;
    if (box.GetColumnInfo(&info, i) != 0 || info.name == nullptr) continue;
    const std::size_t least = info.type == ColumnInfo_Integer ? sizeof(std::int32_t) : 0;
    if (info.size < least || std::size_t{info.offset} + info.size > table->rowBytes) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "Column %s of table %s lies outside the row and is left out",
                  info.name, manager.table().c_str());
      continue;
    }
    const bool sortable = std::ranges::any_of(
        table->abilities.sortable, [&](const char* name) { return std::string_view(name) == info.name; });
    const auto index = static_cast<std::size_t>(i);
    table->columns.push_back(
        {info.name, upperCase(info.name), info.offset, info.size, info.type, sortable,
         index < descriptions.size() ? descriptions[index] : ColumnDescription{.readable = info.name}});
  }
  return table;
}

}  // namespace zov::hub
