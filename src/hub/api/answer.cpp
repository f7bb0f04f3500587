#include "hub/api/answer.h"

#include "hub/api/json.h"

namespace zov::hub {

Answer Answer::error(unsigned status, std::string_view sentence) {
  Answer answer = jsonAnswer([&](JsonWriter& writer) {
    writer.StartObject();
    writeMember(writer, "error", sentence);
    writer.EndObject();
  });
  answer.status = status;
  return answer;
}

Answer Answer::ending() {
  return error(503, "the agent is ending");
}

std::string quoted(std::string_view text) {
  return '"' + std::string(text.substr(0, 80)) + '"';
}

}  // namespace zov::hub
