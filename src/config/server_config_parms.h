#pragma once
// ZOVAppServerConfigParms: the parameters of one application server, or the defaults of all, one get and one
// set a line of server_parms.def. Plain reads and stores without a check, but for the historical collection;
// written while the configuration is read, before any other thread exists, and never after.

#include "config/historical_collection.h"
#include "runtime/collectable.h"

class ZOVAppServerConfigParms : public ZOVCollectable {
 public:
  explicit ZOVAppServerConfigParms(const char* name) : ZOVAppServerConfigParms(name, nullptr) {}
  ZOVAppServerConfigParms(const char* name, const char* serverRoot) {
    setName(name);
    setServerRoot(serverRoot);
  }

  RWClassID isA() const override { return classIsA(); }
  static RWClassID classIsA() { return 0x7FDE; }
  /// True for parameters of the same name and the same server root.
  bool isEqual(const RWCollectable* other) const override;

#define ZOV_SERVER_NUMBER(member, Name, initial, meaning) \
  int get##Name() const {                                 \
    return _##member;                                     \
  }                                                       \
  void set##Name(int value) {                             \
    _##member = value;                                    \
  }
#define ZOV_SERVER_TEXT(member, Name, initial, meaning) \
  const RWCString& get##Name() const {                  \
    return _##member;                                   \
  }                                                     \
  void set##Name(const char* value) {                   \
    if (value) _##member = value;                       \
  }
#include "config/server_parms.def"

  /// Which kinds of sample are kept as history, as words and as bits. Words that are not known, and null,
  /// leave both as they are.
  const RWCString& getHistoricalCollection() const {
    return _historicalCollection;
  }
  unsigned int getHistoricalCollectionFlag() const {
    return _historicalCollectionFlag;
  }
  void setHistoricalCollection(const char* words);

 private:
#define ZOV_SERVER_NUMBER(member, Name, initial, meaning) int _##member = initial;
#define ZOV_SERVER_TEXT(member, Name, initial, meaning) RWCString _##member = initial;
#include "config/server_parms.def"
  RWCString _historicalCollection = "ALL";
  unsigned int _historicalCollectionFlag = ZOV_HISTORY_ALL;
};
