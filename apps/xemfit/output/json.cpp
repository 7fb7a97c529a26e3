#include "output/json.h"

#include <nlohmann/json.hpp>

#include "xem/fit/json.h"

namespace Xem::Tool {
namespace {

template <class Items, class ToJson>
Json ArrayOf(const Items& items, ToJson toJson) {
  Json array = Json::array();
  for (const auto& item : items) array.push_back(toJson(item));
  return array;
}

Json ComparedJson(const ComparedModel& one) {
  Json row = {{"model", one.model}, {"status", one.status}};
  if (one.numbers) {
    row["free_parameters"] = one.numbers->freeParameters;
    row["r2"] = one.numbers->r2;
    row["aicc"] = one.numbers->aicc;
    row["difference"] = one.numbers->difference;
  }
  row["proposed"] = one.proposed;
  return row;
}

}  // namespace

void AddComparison(const std::vector<ComparedModel>& comparison, Json& document) {
  if (!comparison.empty()) document["comparison"] = ArrayOf(comparison, ComparedJson);
}

std::string JsonDocument(const std::string& command, const Report& report) {
  const std::string text = Fit::ToJson(report.result, command);
  if (report.comparison.empty() && !report.amend) return text;
  Json document = Json::parse(text);
  AddComparison(report.comparison, document);
  if (report.amend) report.amend(document);
  return Fit::IndentJson(document.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace Xem::Tool
