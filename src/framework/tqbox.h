#pragma once
// A request of a table, as the agent's table classes derive from it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "framework/filter.h"
#include "framework/row_buffer.h"

class TableManager;
class TqboxAutomationCapsule;
namespace zov {
class Action;
}

/// Which table a request asks.
struct RequestDetail {
  std::string appl;
  std::string table;
};

/// What else the framework knows of a request: filters, subnodes, thresholds. Opaque to the agent.
struct ContextInfo;

/// The name of a request in the framework's table of resources. `id` is what UseHandle and RCL1_Drop take.
struct RCL1_Handle {
  std::uint32_t type = 0;
  std::uint32_t id = 0;
};

/// The name of the table that requests for Take Action commands come through.
inline constexpr const char* TqboxActionTable = "CLACTRMT";

/// One open request of a table. The framework makes it through TableManager::CreateTqbox and deletes it.
///
/// A request serves either one query (TakeSample once, on one framework thread, rows taken as they come) or
/// one subscription (never TakeSample; AddData and Dispatch from the thread that has an event, under the
/// manager's lock). So no two threads are ever in one request, and it needs no lock of its own. Several
/// requests of one table may run at once.
///
/// Codes: operations that return int give 0 for success unless they say otherwise.
class tqbox {
 public:
  /// The three arguments stay with the caller and outlive this object; each may be null.
  tqbox(RequestDetail* detail, ContextInfo* context, TableManager* manager);
  tqbox(const tqbox&) = delete;
  tqbox& operator=(const tqbox&) = delete;

  /// Dumps the request to the trace.
  virtual void PrintSelf();
  /// Gathers the rows of the request. May wait for a monitored server; guards itself against failures.
  virtual void TakeSample();
  virtual int NumColumns();
  virtual int GetColumnInfo(ColumnInfo* info, int index);
  /// Of the framework; answers "not supported" (non-zero).
  virtual int ExecuteCommand(const char* command, int length, const char* reply);
  virtual ~tqbox();
  /// Takes one row of `_rowSize` bytes: of a query it goes to whoever asks, and may wait a moment for him; of
  /// a subscription it is copied behind those held. Non-zero when no more rows are wanted: the request has
  /// been given up, has the rows of the subnode that it asked for, or the most bytes that one may hold.
  virtual int InsertRow(const char* row);
  /// Non-zero when the row meets every threshold of the request, so also when it has none.
  virtual int CheckForException(const char* row);
  /// Compares one column (upper case) of a row with a threshold; 0 when it does not hold or is not known.
  virtual int ColumnIsException(const char* row, const char* column, _IntfOper op, const char* value);
  /// The framework's end of a command; the reply has been set.
  virtual void CommandCompleted(TqboxAutomationCapsule* capsule);

  /// Makes the request current for an event, and holds it until RCL1_Drop with the same id: it is not deleted
  /// meanwhile, although it may be closed.
  void UseHandle(unsigned long id);
  /// Sends the rows now held to whoever has the request open. Non-zero when no one has it open any more, or
  /// when they are too far behind. The caller then sets `_data.count` to 0.
  int Dispatch();

  /// The next subnode that the request addresses, or null at the end. The list is that of the request's
  /// start.
  const char* GetSubnode();
  void ResetGetSubnode();
  /// Tells why a subnode gives this request no rows, or not all: a word and a sentence. The first report of a
  /// subnode stands.
  void ReportSubnode(const char* subnode, const char* status, const char* reason);
  /// Non-zero when no one waits for this request any more, so that it may end. Any thread, while it lives.
  int IsGivenUp() const;
  /// Rows taken since the last subnode was given out.
  std::size_t subnodeRows() const { return _subnodeRows; }
  /// Non-zero when the request is for history; known from construction on.
  int IsHistoryRequest() const;

  /// The comparisons behind ColumnIsException. A text is compared without its padding; a threshold for an
  /// integer that is not one never holds.
  int IsException(_IntfOper op, long value, const char* threshold) const;
  int IsException(_IntfOper op, const char* value, const char* threshold, int width) const;

  /// Gives the next filter: 0 while there are some, non-zero at the end.
  int GetFilterInfo(QFL1_FILTERINFO** filter);
  void ResetFilterIndex();
  /// Looks a column up by its name in upper case; non-zero when there is none.
  int GetColumnInfoByName(ColumnInfo* info, const char* name);
  /// The command is finished: its reply and status go back.
  void FinishedAutomationCommand(TqboxAutomationCapsule* capsule);
  void DumpThresholds() const;

  /// Row `index` of those held, or null when there is none.
  const char* rowAt(std::int32_t index) const;

  RequestDetail* requestDetail;
  std::int32_t samptype = 0;  ///< 3 (SampleWithFilters) when there are filters
  std::int32_t interval = 0;  ///< seconds
  /// Blank or zero padded; not terminated when all 32 bytes are used. Empty for a plain report.
  char situationName[32] = {};
  std::string originText;  ///< the node that a command is addressed to
  RCL1_Handle handle;
  struct {
    std::int32_t count = 0;      ///< rows held
    std::int32_t allocated = 0;  ///< rows that there is room for
    std::int32_t allocSize = 0;  ///< step of growth in rows; the table's constructor sets it
    zov::RowBuffer rows;         ///< `allocated` rows, `_rowSize` bytes apart
  } _data;
  std::int32_t _rowSize = 0;  ///< bytes of one row; the table's constructor sets it

  static constexpr std::int32_t SamplePlain = 1;
  static constexpr std::int32_t SampleWithFilters = 3;

 private:
  ContextInfo* _context;
  std::size_t _nextSubnode = 0;
  std::size_t _subnodeRows = 0;
  std::size_t _nextFilter = 0;
};

/// Releases the hold that tqbox::UseHandle took. The last hold on a request that has been closed deletes it.
void RCL1_Drop(unsigned long id);

/// What has become of a command, as far as its sender can do something about it.
enum class CommandOutcome {
  Done,
  Queued,       ///< the work still lies ahead
  UnknownNode,  ///< there is no node of that name
  BadCommand,   ///< no such command, or not with these arguments
  Conflict,     ///< not in the node's present state
  Failed,
};

/// One Take Action command on its way through the agent's callback.
class TqboxAutomationCapsule {
 public:
  static constexpr std::size_t CommandBytes = 1024;

  /// Gives the framework the reply text; a copy is kept.
  void SetMessage(const char* message) { _message = message == nullptr ? "" : message; }
  const std::string& message() const { return _message; }
  /// Tells the framework how the command's status is meant, and describes it; a copy is kept.
  void SetOutcome(CommandOutcome outcome, const char* reason) {
    _outcome = outcome;
    _reason = reason == nullptr ? "" : reason;
  }
  CommandOutcome outcome() const { return _outcome; }
  const std::string& reason() const { return _reason; }

  tqbox* owner = nullptr;           ///< the request that the command came through; outlives the capsule
  char command[CommandBytes] = {};  ///< UTF-8, terminated
  /// On entry the index of the row that raised the command; the callback leaves its return code here.
  std::int32_t rowOrStatus = 0;
  std::shared_ptr<zov::Action> action;  ///< the record of the command; null when there is none

 private:
  std::string _message;
  CommandOutcome _outcome = CommandOutcome::Failed;
  std::string _reason;
};
