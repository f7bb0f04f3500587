#pragma once
// The work of a query of rows: asks the table by several requests at once, and writes the rows as they come.

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "hub/api/answer.h"
#include "hub/api/row_form.h"
#include "hub/api/row_page.h"
#include "hub/core/request.h"

namespace zov::hub {

/// A table of which rows are wanted, and what to ask of it.
struct RowsQuestion {
  std::shared_ptr<const Table> table;
  /// Each is a request of its own. Where the table waits for subnodes, each addresses at most one.
  std::vector<ContextInfo> contexts;
  std::chrono::seconds time;
  RowForm form = {};
  Paging paging = {};
};

/// One query at work. The parts of it run on threads that may wait for the agent, and share the object with
/// the exchange. `_mutex` is a leaf, but for the body's.
class RowsWork : public Production, public std::enable_shared_from_this<RowsWork> {
 public:
  explicit RowsWork(RowsQuestion question);

  Body& body() override { return _body; }
  const char* contentType() const override { return _question.form.contentType(); }
  std::vector<Part> parts() override;
  bool mayWait() const override;
  std::chrono::seconds time() const override { return _question.time; }
  void timeOut() override;
  void giveUp() override;
  Answer failure() const override;

 private:
  void run(std::size_t part);
  void ask(std::size_t part);
  /// Takes a row of a part into the page; false when there is none any more, or no room in it.
  bool keep(std::size_t part, const char* row);
  void refuse(std::size_t part);
  /// Ends the body when this was the last.
  void partEnds(std::size_t part);
  /// Writes the page, if there is one, and ends the body.
  void finish(Body::Patience patience);

  RowsQuestion _question;                 // a context is its part's
  const std::vector<std::string> _names;  // by part: the subnode that it may wait for, or ""
  const std::shared_ptr<NodeReports> _nodes = std::make_shared<NodeReports>();
  Body _body;
  std::atomic<bool> _givenUp{false};
  mutable Mutex _mutex;
  std::vector<bool> _ended ZOV_GUARDED_BY(_mutex);        // by part
  std::optional<Answer> _failure ZOV_GUARDED_BY(_mutex);  // of a part
  std::unique_ptr<RowPage> _page
      ZOV_GUARDED_BY(_mutex);  // until it is written; null: rows go out as they come
};

}  // namespace zov::hub
