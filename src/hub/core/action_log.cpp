#include "hub/core/action_log.h"

#include <algorithm>
#include <chrono>

#include "hub/core/registry.h"

namespace zov::hub {
namespace {

/// Of a command that has not been described only this much is surely no secret.
std::string firstWord(const std::string& command) {
  const std::size_t begin = std::min(command.find_first_not_of(' '), command.size());
  const std::size_t end = std::min(command.find_first_of(" \t\n'", begin), command.size());
  return command.substr(begin, end - begin);
}

std::int64_t millisecondsSince(ZOVClock::Steady then) {
  return std::chrono::floor<std::chrono::milliseconds>(ZOVClock::steady() - then).count();
}

bool isFailure(CommandOutcome outcome) {
  return outcome != CommandOutcome::Done && outcome != CommandOutcome::Queued;
}

void merge(ActionRecord& record, CommandOutcome outcome, const std::string& reason) {
  if (isFailure(record.outcome)) return;
  if (outcome == CommandOutcome::Queued && record.outcome == CommandOutcome::Done) return;
  record.outcome = outcome;
  record.reason = reason;
}

}  // namespace

ActionLog& ActionLog::instance() {
  static ActionLog& log = *new ActionLog;
  return log;
}

std::shared_ptr<RecordedAction> ActionLog::open(const std::string& who, const std::string& node,
                                                const std::string& command) {
  const MutexLock guard(_mutex);
  Entry& entry = _entries[++_last];
  entry.record.number = _last;
  entry.record.who = who;
  entry.record.when = ZOVClock::microseconds();
  entry.record.node = node;
  entry.record.command = firstWord(command);
  entry.came = ZOVClock::steady();
  return std::make_shared<RecordedAction>(*this, _last);
}

ActionRecord ActionLog::shown(const Entry& entry) {
  ActionRecord record = entry.record;
  if (record.state == ActionRecord::State::Ended) return record;
  record.milliseconds = millisecondsSince(entry.came);
  record.state = entry.begun > 0 ? ActionRecord::State::Running : ActionRecord::State::Waiting;
  return record;
}

std::vector<ActionRecord> ActionLog::all() const {
  const MutexLock guard(_mutex);
  std::vector<ActionRecord> records;
  for (const auto& [number, entry] : _entries) records.push_back(shown(entry));
  return records;
}

std::optional<ActionRecord> ActionLog::find(std::uint64_t number) const {
  const MutexLock guard(_mutex);
  const auto found = _entries.find(number);
  return found == _entries.end() ? std::nullopt : std::optional(shown(found->second));
}

template <class Change>
void ActionLog::change(std::uint64_t number, const Change& change) {
  ActionRecord ended;
  {
    const MutexLock guard(_mutex);
    const auto found = _entries.find(number);
    if (found == _entries.end() || found->second.record.state == ActionRecord::State::Ended) return;
    Entry& entry = found->second;
    change(entry);
    if (entry.open > 0) return;
    entry.record = shown(entry);
    entry.record.state = ActionRecord::State::Ended;
    ended = entry.record;
    ++_ended;
    forgetOldest();
  }
  if (const auto callback = Registry::instance().actionCallback.load()) callback(ended);
}

void ActionLog::forgetOldest() {
  if (_ended <= EndedKept) return;
  const auto hasEnded = [](const auto& known) {
    return known.second.record.state == ActionRecord::State::Ended;
  };
  _entries.erase(std::ranges::find_if(_entries, hasEnded));
  --_ended;
}

RecordedAction::~RecordedAction() {
  _log.change(_number, [](ActionLog::Entry& entry) {
    merge(entry.record, CommandOutcome::Failed, "it was not carried out to its end");
    entry.open = 0;
  });
}

void RecordedAction::describe(const std::string& command, const std::string& node) {
  _log.change(_number, [&](ActionLog::Entry& entry) {
    entry.record.command = command;
    if (!node.empty()) entry.record.node = node;
  });
}

void RecordedAction::queue() {
  _log.change(_number, [](ActionLog::Entry& entry) { ++entry.open; });
}

void RecordedAction::begin() {
  _log.change(_number, [](ActionLog::Entry& entry) { ++entry.begun; });
}

void RecordedAction::end(CommandOutcome outcome, const std::string& reason, const std::string& lines) {
  _log.change(_number, [&](ActionLog::Entry& entry) {
    merge(entry.record, outcome, reason);
    entry.record.lines += lines;
    --entry.open;
    --entry.begun;
  });
}

}  // namespace zov::hub
