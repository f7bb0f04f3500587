#include "transport/buffer.h"

#include "transport/socket_connection.h"

std::string_view ZOVBuffer::getNextTextField() {
  const std::size_t count = next<std::uint32_t>();
  if (length() - _cursor < count) return markDamaged(), std::string_view();
  const std::string_view text(data() + _cursor, count);
  _cursor += count;
  return text;
}

// Out of line, since the compiler would copy whole fields by a slower instruction than memcpy does.
void ZOVBuffer::streamBytes(std::string_view bytes) {
  append(bytes);
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
