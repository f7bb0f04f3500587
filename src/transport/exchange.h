#pragma once
// One exchange on a collector's socket: a request out, its response in. The caller holds whatever lock
// serialises the exchanges of the socket.

#include "foundation/string.h"
#include "runtime/return_code.h"

class ZOVRequest;
class ZOVSocketConnection;

enum _ResponseExpectation { ResponseExpected = 0, NoResponseExpected = 1 };

/// Sends the request and, when a response is expected, waits `timeout` seconds (0: for ever) for its first
/// bytes. `value` and `text` may be null. Of a refusal they receive the reason, and of an acceptance `value`
/// receives what the request defines (0: nothing); otherwise they are cleared. Answers 0; 33 without a
/// socket; 19 when what came is no response; 18 when it is a refusal, or another exchange's; or what the
/// socket reports.
ZOVReturnCode zovExchange(ZOVSocketConnection* socket, const ZOVRequest& request, int timeout,
                          _ResponseExpectation expectation, long long* value, RWCString* text);
