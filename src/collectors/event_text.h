#pragma once
// How event samples keep and hand out their texts.

#include <cstddef>
#include <ctime>
#include <string_view>

#include "foundation/string.h"

/// Clears `size` bytes of `out`, then copies as much of the text as fits; a full field has no zero byte.
void copyString(const RWCString* text, char* out, int size);

namespace zov {

/// Bytes of an event's text, as many as the widest column holds; the rest is cut, at a character.
constexpr std::size_t MaximumEventText = 256;

/// Takes over a text of an event, cut. Storage that `field` has is used again.
void setEventText(RWCString& field, std::string_view text);

/// The framework's time stamp of 16 characters: years since 1900, month, day, hour, minute, second,
/// milliseconds.
void setEventTimeStamp(RWCString& field, const struct tm& when, int milliseconds);
/// Of such a stamp, the milliseconds alone.
void setEventMilliseconds(RWCString& field, int milliseconds);

}  // namespace zov
