#include "hub/api/rows_work.h"

#include <algorithm>

#include "hub/core/settings.h"
#include "hub/core/visit.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHRWRK");

namespace zov::hub {
namespace {

std::vector<std::string> namesOf(const RowsQuestion& question) {
  const bool waits = question.table->manager->WaitsForSubnodes();
  std::vector<std::string> names;
  for (const ContextInfo& context : question.contexts) {
    names.push_back(waits && !context.subnodes.empty() ? context.subnodes.front() : "");
  }
  return names;
}

/// Rows on their way into the body, a block at a time.
class RowBlocks {
 public:
  RowBlocks(const RowsQuestion& question, Body& body, Body::Patience patience)
      : _question(question), _body(body), _patience(patience) {}

  bool add(const char* row) {
    if (!_block.empty()) _block += _question.form.separator();
    write(row);
    ++_rows;
    return _block.size() < limits().blockBytes || send();
  }
  bool send() {
    if (_block.empty()) return true;
    std::string items;
    items.swap(_block);
    return _body.write(std::move(items), _patience);
  }
  std::size_t rows() const { return _rows; }

 private:
  void write(const char* row) {
    const RowForm& form = _question.form;
    if (form.csv) return appendCsvRow(_block, *_question.table, row, form.readable);
    _writer.Reset(_stream);
    form.readable ? writeReadableRow(_writer, *_question.table, row)
                  : writeRow(_writer, *_question.table, row);
  }

  const RowsQuestion& _question;
  Body& _body;
  Body::Patience _patience;
  std::string _block;
  JsonStream _stream{_block};
  JsonWriter _writer{_stream};
  std::size_t _rows = 0;
};

Body::Patience writersPatience() {
  return std::chrono::milliseconds(limits().writerMilliseconds);
}

}  // namespace

RowsWork::RowsWork(RowsQuestion question)
    : _question(std::move(question)),
      _names(namesOf(_question)),
      _body(_question.form.head(*_question.table), _question.form.separator()),
      _ended(_question.contexts.size()),
      _page(_question.paging.isAsked() ? std::make_unique<RowPage>(*_question.table, _question.paging)
                                       : nullptr) {}

bool RowsWork::mayWait() const {
  return _question.table->manager->WaitsForSubnodes();
}

std::vector<Production::Part> RowsWork::parts() {
  std::vector<Part> parts;
  for (std::size_t part = 0; part < _question.contexts.size(); ++part) {
    parts.push_back({_names[part], [self = shared_from_this(), part] { self->run(part); },
                     [self = shared_from_this(), part] { self->refuse(part); }});
  }
  return parts;
}

void RowsWork::run(std::size_t part) {
  try {
    if (!_givenUp) ask(part);
  } catch (const std::exception& error) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "A query ended early: %s", error.what());
    {
      const MutexLock guard(_mutex);
      _failure = Answer::error(500, std::string("the request failed: ") + error.what());
    }
    _body.cut();
  }
  partEnds(part);
}

void RowsWork::ask(std::size_t part) {
  ContextInfo& context = _question.contexts[part];
  RowBlocks blocks(_question, _body, writersPatience());
  context.givenUp = &_givenUp;
  context.nodes = _nodes;
  if (_question.paging.isAsked()) {
    context.takeRow = [&](const char* row) { return keep(part, row); };
  } else {
    context.takeRow = [&](const char* row) { return blocks.add(row); };
  }
  const Visit visit;
  Request request(*_question.table->manager, std::move(context));
  request.box().TakeSample();
  blocks.send();
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Table %s gave %u rows", _question.table->manager->table().c_str(),
              blocks.rows());
}

bool RowsWork::keep(std::size_t part, const char* row) {
  MutexLock guard(_mutex);
  if (_page == nullptr || _page->add(part, row)) return _page != nullptr;
  _failure = Answer::error(
      400, "the rows to put in order need more than the " + std::to_string(limits().pageBytes / KiB / KiB) +
               " MiB that all queries have for it; accepted is a smaller limit, or fewer rows by "
               "a filter or by node");
  guard.unlock();
  giveUp();
  return false;
}

void RowsWork::refuse(std::size_t part) {
  _nodes->add({_names[part], "busy", "as many queries as may wait for it already"});
  partEnds(part);
}

void RowsWork::partEnds(std::size_t part) {
  {
    const MutexLock guard(_mutex);
    _ended[part] = true;
    if (std::ranges::count(_ended, false) != 0) return;
  }
  finish(writersPatience());
}

void RowsWork::timeOut() {
  {
    const MutexLock guard(_mutex);
    for (std::size_t part = 0; part < _ended.size(); ++part) {
      const std::string reason = "no answer came within " + std::to_string(_question.time.count()) + " s";
      if (!_ended[part]) _nodes->add({_names[part], "timeout", reason});
    }
  }
  _givenUp = true;
  finish({});  // others are not to wait for its reader
}

void RowsWork::giveUp() {
  _givenUp = true;
  _body.cut();
}

Answer RowsWork::failure() const {
  const MutexLock guard(_mutex);
  if (_failure) return *_failure;
  return Answer::error(503, "too much waits for the agent, or for readers, already; try again later");
}

void RowsWork::finish(Body::Patience patience) {
  std::unique_ptr<RowPage> page;
  {
    const MutexLock guard(_mutex);
    page = std::move(_page);
  }
  if (page != nullptr) {
    RowBlocks blocks(_question, _body, patience);
    page->forEach([&](const char* row) { return blocks.add(row); });
    blocks.send();
  }
  _body.finish(_question.form.tail(_nodes->all()));
}

}  // namespace zov::hub
