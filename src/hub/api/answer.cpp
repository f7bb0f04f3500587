#include "hub/api/answer.h"

#include <algorithm>
#include <charconv>

#include "hub/api/json.h"

namespace zov::hub {
namespace {

/// What stands before the first `separator`, without blanks around it; the text is left with what follows.
std::string_view takePiece(std::string_view& text, char separator) {
  std::string_view piece = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), piece.size() + 1));
  while (!piece.empty() && piece.front() == ' ') piece.remove_prefix(1);
  while (!piece.empty() && piece.back() == ' ') piece.remove_suffix(1);
  return piece;
}

/// The weight, 0 to 1, among the parameters of a type.
double weightOf(std::string_view parameters) {
  double weight = 1;
  while (!parameters.empty()) {
    const std::string_view each = takePiece(parameters, ';');
    if (each.starts_with("q=")) std::from_chars(each.data() + 2, each.data() + each.size(), weight);
  }
  return weight;
}

}  // namespace

std::size_t preferredType(std::string_view accept, std::initializer_list<std::string_view> offered) {
  std::size_t preferred = 0;
  double best = 0;
  while (!accept.empty()) {
    std::string_view range = takePiece(accept, ',');
    const std::string_view type = takePiece(range, ';');
    const double weight = weightOf(range);
    const auto* const found =
        std::ranges::find_if(offered, [&](std::string_view each) { return equalsIgnoringCase(type, each); });
    const auto index = static_cast<std::size_t>(found - offered.begin());
    if (found == offered.end() || weight < best || weight == 0) continue;
    if (weight > best || index < preferred) preferred = index;
    best = weight;
  }
  return preferred;
}

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
