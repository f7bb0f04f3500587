#include "hub/api/rows_work.h"

#include <algorithm>

#include "hub/api/json.h"
#include "hub/core/settings.h"
#include "hub/core/visit.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHRWRK");

namespace zov::hub {
namespace {

std::string headOf(const Table& table) {
  std::string head;
  JsonStream stream(head);
  JsonWriter writer(stream);
  writer.StartObject();
  writeMember(writer, "table", table.manager->table());
  writeKey(writer, "rows");
  writer.StartArray();
  return head;
}

std::vector<std::string> namesOf(const RowsQuestion& question) {
  const bool waits = question.table->manager->WaitsForSubnodes();
  std::vector<std::string> names;
  for (const ContextInfo& context : question.contexts) {
    names.push_back(waits && !context.subnodes.empty() ? context.subnodes.front() : "");
  }
  return names;
}

/// Rows of one part on their way into the body, a block at a time.
class RowBlocks {
 public:
  RowBlocks(const Table& table, Body& body) : _table(table), _body(body) {}

  bool add(const char* row) {
    if (!_block.empty()) _block += ',';
    _writer.Reset(_stream);
    writeRow(_writer, _table, row);
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
  const Table& _table;
  Body& _body;
  std::string _block;
  JsonStream _stream{_block};
  JsonWriter _writer{_stream};
  std::size_t _rows = 0;
  Body::Patience _patience = std::chrono::milliseconds(limits().writerMilliseconds);
};

}  // namespace

RowsWork::RowsWork(RowsQuestion question)
    : _question(std::move(question)),
      _names(namesOf(_question)),
      _body(headOf(*_question.table)),
      _ended(_question.contexts.size()) {}

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
    if (!_givenUp) ask(_question.contexts[part]);
  } catch (const std::exception& error) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "A query ended early: %s", error.what());
    {
      const MutexLock guard(_mutex);
      _failure = error.what();
    }
    _body.cut();
  }
  partEnds(part);
}

void RowsWork::ask(ContextInfo& context) {
  RowBlocks blocks(*_question.table, _body);
  context.givenUp = &_givenUp;
  context.nodes = _nodes;
  context.takeRow = [&](const char* row) { return blocks.add(row); };
  const Visit visit;
  Request request(*_question.table->manager, std::move(context));
  request.box().TakeSample();
  blocks.send();
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Table %s gave %u rows", _question.table->manager->table().c_str(),
              blocks.rows());
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
  _body.finish(tail());
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
  _body.finish(tail());
}

void RowsWork::giveUp() {
  _givenUp = true;
  _body.cut();
}

Answer RowsWork::failure() const {
  const MutexLock guard(_mutex);
  return _failure.empty()
             ? Answer::error(503, "too much waits for the agent, or for readers, already; try again later")
             : Answer::error(500, "the request failed: " + _failure);
}

std::string RowsWork::tail() const {
  std::string text;
  JsonStream stream(text);
  JsonWriter writer(stream);
  writer.StartObject();
  writeNodes(writer, _nodes->all());
  writer.EndObject();
  return "]," + text.substr(1) + '\n';
}

}  // namespace zov::hub
