#pragma once
// How event samples keep and hand out their texts.

#include <ctime>

#include "foundation/string.h"

/// Clears `size` bytes of `out`, then copies as much of the text as fits; a full field has no zero byte.
void copyString(const RWCString* text, char* out, int size);

namespace zov {
/// The framework's time stamp of 16 characters: years since 1900, month, day, hour, minute, second,
/// milliseconds.
RWCString eventTimeStamp(const struct tm& when, int milliseconds);
}  // namespace zov
