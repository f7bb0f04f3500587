#pragma once
// The manager of one table: the framework reaches a table through it.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/linked_list.h"
#include "platform/services.h"

class tqbox;
struct RequestDetail;
struct ContextInfo;
namespace zov::hub {
class Request;
}

namespace zov {

/// What a table makes of a query's filters by itself; the framework does the rest. Names live as long as the
/// process.
struct QueryAbilities {
  struct Filter {
    const char* column;      ///< upper case
    bool selects;            ///< the table gives only rows that pass
    bool isNumber;           ///< of the two kinds of columns
    std::int32_t anyNumber;  ///< a number that all rows pass; of a text it is the empty one
  };
  std::vector<Filter> filters;        ///< those that it reads
  std::vector<const char*> sortable;  ///< the columns, in lower case, that PARMA may sort by
  bool limitsRows = false;            ///< it keeps to the row limit of PARMA
  bool pushesEvents = false;          ///< rows are pushed as they come, to requests that stay open
};

/// What a reader must know of a column to read it.
struct ColumnDescription {
  enum class None { Never, MinusOne, Empty };  ///< what stands for no value
  std::string readable;                        ///< snake case; no other column of the table has it
  std::string_view unit =
      {};                    ///< "ms", "s", "bytes", "KiB", "count", "percent", "time" (16 digits), or empty
  std::string meaning = {};  ///< sentences
  int decimals = 0;          ///< how many digits of an integer stand behind the point
  None none = None::Never;
  bool isDigits = false;  ///< a text that is a decimal number
};

}  // namespace zov

/// Made once per table by the agent's loader, and registered for the rest of the process's life.
///
/// `lock` guards `openRequests` and whatever is done to a request that is in it. It is recursive, and is
/// never held while TakeSample runs. Requests in the list are those that stay open for events; one that is
/// made to run a query is never in it, so that an event cannot meet a sample under way.
class TableManager {
 public:
  TableManager(const char* application, const char* table);
  TableManager(const TableManager&) = delete;
  TableManager& operator=(const TableManager&) = delete;
  /// Takes the table out of the framework's list. No request of it may be open.
  virtual ~TableManager();

  /// Closes all open requests of the table; `reason` is traced only.
  virtual void Shutdown(unsigned long reason);
  /// A new request object of the table; the caller, which is the framework, owns it. The arguments go to the
  /// constructor of tqbox as they are, and outlive the object.
  virtual tqbox* CreateTqbox(RequestDetail* detail, ContextInfo* context) = 0;
  /// Whether TakeSample may wait for the servers behind the subnodes that a request addresses: the framework
  /// then asks each by a request of its own, all at once.
  virtual bool WaitsForSubnodes() const { return true; }
  /// Without any, the framework filters and limits; any thread.
  virtual zov::QueryAbilities queryAbilities() const { return {}; }
  /// In the order of the columns, or nothing; any thread.
  virtual std::vector<zov::ColumnDescription> describeColumns() const { return {}; }

  /// Enters the table with the framework: 0, or non-zero when the table's name is empty or taken.
  static int RegisterWithManager(TableManager* manager);

  const std::string& application() const { return _application; }
  const std::string& table() const { return _table; }

 protected:
  friend class zov::hub::Request;
  OSL1_Lock lock;
  LinkedList openRequests;

 private:
  const std::string _application;
  const std::string _table;
};
