/// Reads the input as the tool reads a CSV file: first byte aside, every column and every metadata line for every kind
/// of role. The reader may refuse with a Failure whose sentence fits a terminal; anything else ends the process.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "failure.h"
#include "input/columns.h"
#include "input/csv.h"

namespace {

using namespace Xem::Tool;

constexpr const Role* kRoles[] = {&Roles::kStrain,   &Roles::kStress,       &Roles::kLinearStretch,
                                  &Roles::kTime,     &Roles::kModulusRatio, &Roles::kStiffnessRatio,
                                  &Roles::kSuction,  &Roles::kWaterContent, &Roles::kTensileStrain,
                                  &Roles::kDiameter, &Roles::kPassing,      &Roles::kPorosity};

[[noreturn]] void Report(const char* finding, const std::string& text) {
  std::fprintf(stderr, "FINDING: %s: %s\n", finding, text.c_str());
  std::abort();
}

/// Runs one step of reading; a refusal must be a sentence that can be shown.
template <class Step>
void MayRefuse(Step step) {
  try {
    step();
  } catch (const Failure& failure) {
    const std::string_view sentence = failure.what();
    if (sentence.empty() || sentence.size() > 4000) Report("a message without measure", std::string(sentence));
    for (const char letter : sentence) {
      if (static_cast<unsigned char>(letter) < ' ') Report("a control character in a message", std::string(sentence));
    }
  }
}

void ReadEverything(const CsvTable& table, std::optional<std::string> wanted) {
  for (const Role* role : kRoles) {
    MayRefuse([&] {
      const ColumnChoice choice = ChooseColumn(table, *role, wanted);
      if (choice.index >= table.columns.size()) Report("a column that is not there", table.columns.front());
      for (const CsvRow& row : table.rows) {
        if (!std::isfinite(NumberAt(table, row, choice.index))) Report("a number that is not finite", "");
      }
    });
    MayRefuse([&] {
      if (!HasColumn(table, *role) && FindColumn(table, *role, std::nullopt)) Report("two opinions on a column", "");
    });
    MayRefuse([&] { MetadataQuantity(table, *role); });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  MayRefuse([&] {
    CsvTable table = ParseCsv(text, "input.csv", data[0] % 2 == 0 ? 2 : 1);
    ReadEverything(table, std::nullopt);
    ReadEverything(table, table.columns[data[0] / 2 % table.columns.size()]);
    MayRefuse([&] { SelectRows(table, {{table.columns.front(), "1"}}); });
    const auto& cells = table.rows.front().cells;
    if (!cells.empty()) SelectRows(table, {{table.columns.front(), cells.front()}});
  });
  return 0;
}
