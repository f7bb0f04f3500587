#include "hub/api/top_filter.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

#include "framework/table_manager.h"
#include "hub/api/answer.h"

namespace zov::hub {
namespace {

constexpr std::uint32_t mostRows = std::numeric_limits<std::int32_t>::max();
constexpr const char* accepted =
    "accepted is TOP, then any of COLUMN;name, ROWS;number, ORDER;ASC or DESC, NEW_SAMP;0 or 1, all "
    "separated by "
    "semicolons";

/// Empty pieces do not count, as with the tables.
std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> pieces;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(';'), text.size());
    if (end != 0) pieces.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return pieces;
}

std::string refusal(std::string_view what, std::string_view given, const std::string& wanted) {
  return std::string(what) + " of PARMA is " + quoted(given) + "; " + wanted;
}

/// Takes `value` when it is one of the two, in any case.
std::string choose(std::string_view word, std::string_view value, const char* one, const char* other,
                   std::string& target) {
  for (const char* choice : {one, other}) {
    if (equalsIgnoringCase(value, choice)) return target = choice, "";
  }
  return refusal(word, value, std::string("accepted are ") + one + " and " + other);
}

}  // namespace

std::string TopFilter::read(std::string_view value, const Table& table) {
  const auto pieces = split(value);
  if (pieces.empty() || !equalsIgnoringCase(pieces.front(), "TOP")) {
    return "PARMA is " + quoted(value) + "; " + accepted;
  }
  for (std::size_t i = 1; i < pieces.size(); i += 2) {
    if (i + 1 == pieces.size())
      return refusal("the last word", pieces[i], "its value is missing; ") + accepted;
    if (std::string wrong = take(pieces[i], pieces[i + 1], table); !wrong.empty()) return wrong;
  }
  return "";
}

std::string TopFilter::take(std::string_view word, std::string_view value, const Table& table) {
  if (equalsIgnoringCase(word, "ORDER")) return choose("ORDER", value, "ASC", "DESC", order);
  if (equalsIgnoringCase(word, "NEW_SAMP")) return choose("NEW_SAMP", value, "0", "1", newSample);
  if (equalsIgnoringCase(word, "ROWS")) {
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), rows);
    if (error == std::errc() && end == value.data() + value.size() && rows <= mostRows) return "";
    return refusal("ROWS", value,
                   "accepted is a number from 0, which is no limit, to " + std::to_string(mostRows));
  }
  if (!equalsIgnoringCase(word, "COLUMN")) return refusal("a word", word, accepted);
  if (const Column* const found = table.find(value); found != nullptr && found->sortable) {
    column = found->name;
    return "";
  }
  std::string columns;
  for (const Column& each : table.columns) {
    if (each.sortable) columns += ' ' + each.name;
  }
  const std::string& name = table.manager->table();
  return refusal("COLUMN", value,
                 columns.empty() ? name + " cannot be sorted" : name + " can be sorted by" + columns);
}

std::string TopFilter::withoutLimit() const {
  std::string value = "TOP;ROWS;" + std::to_string(mostRows);
  if (!column.empty()) value += ";COLUMN;" + column;
  if (!order.empty()) value += ";ORDER;" + order;
  if (!newSample.empty()) value += ";NEW_SAMP;" + newSample;
  return value;
}

}  // namespace zov::hub
