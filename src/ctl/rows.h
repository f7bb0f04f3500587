#pragma once
// Rows of an answer as texts, by the names that the query asked for: stated or readable.

#include <map>
#include <string>
#include <vector>

#include "ctl/agent_client.h"

namespace zov::ctl {

/// One row. Numbers stand as they are shown; no value is an empty text.
class Row {
 public:
  explicit Row(const rapidjson::Value& object);
  /// Of the column of that name in the answer; empty when there is none.
  std::string text(const std::string& name) const;
  /// Of an answer with readable names, with the column's decimals.
  std::string text(const Column& column) const;
  /// Also for a number that stands for no value; `otherwise` for no number.
  double number(const std::string& name, double otherwise) const;

 private:
  std::map<std::string, std::string, std::less<>> _texts;
};

/// A subnode that gave no rows, or not all.
struct NodeReport {
  std::string name, status, reason;
};

struct RowsAnswer {
  std::vector<Row> rows;
  std::vector<NodeReport> reports;
};

RowsAnswer readRows(const rapidjson::Document& answer);

}  // namespace zov::ctl
