#include "transport/buffer.h"

#include "transport/socket_connection.h"

std::string_view ZOVBuffer::getNextTextField() {
  const std::size_t count = next<std::uint32_t>();
  if (length() - _cursor < count) return markDamaged(), std::string_view();
  const std::string_view text(data() + _cursor, count);
  _cursor += count;
  return text;
}

void ZOVBuffer::streamIntField(int key, long long value) {
  const struct {
    std::uint32_t type, key;
    std::uint64_t value;
  } field{bigEndian(std::uint32_t{NumericField}), bigEndian(static_cast<std::uint32_t>(key)),
          bigEndian(static_cast<std::uint64_t>(value))};
  static_assert(sizeof field == 16);
  append(std::string_view(reinterpret_cast<const char*>(&field), sizeof field));
}

void ZOVBuffer::streamStringField(int key, const char* text) {
  const std::string_view value(text ? text : "");
  const std::uint32_t head[] = {bigEndian(std::uint32_t{StringField}),
                                bigEndian(static_cast<std::uint32_t>(key)),
                                bigEndian(static_cast<std::uint32_t>(value.size()))};
  append(std::string_view(reinterpret_cast<const char*>(head), sizeof head));
  append(value);
}

ZOVReturnCode ZOVBuffer::send() const {
  return _socket ? _socket->Send(*this) : ZOVReturnCode(ZOV_OK);
}
