#pragma once
// Events of tables: which are followed.

#include "hub/api/answer.h"

namespace zov::hub {

/// The tables that the parameters `table` name; without one, those that push events.
Reply followEvents(const Call& call);

}  // namespace zov::hub
