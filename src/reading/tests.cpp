#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <utility>

#include "reading/errors.h"
#include "text/text.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

using Strings::EqualIgnoringCase;
using Strings::Join;
using Strings::Quoted;

/// The curves of one family as they are read, in the order given.
class CurveReader {
 public:
  CurveReader(std::vector<TestTable> tables, ReadTests& read) : tables_(std::move(tables)), read_(read) {}

  const std::vector<TestTable>& Tables() const { return tables_; }

  TableCurve& Read(const TestTable& test, const std::string& name, const CurveRoles& roles) {
    curves_.push_back(std::make_unique<TableCurve>(CurveFromTable(test.table, name, roles, test.columns)));
    return *curves_.back();
  }
  TableCurve& Read(const TestTable& test) { return Read(test, test.curve, RolesOf(test.curve)); }

  std::vector<TableCurve*> All() const {
    std::vector<TableCurve*> all;
    for (const auto& curve : curves_) all.push_back(curve.get());
    return all;
  }

  /// Once all are read.
  void Tell() {
    for (const auto& curve : curves_) {
      read_.inputs.push_back(curve->input);
      read_.notes.insert(read_.notes.end(), curve->notes.begin(), curve->notes.end());
    }
  }

  [[noreturn]] static void RefuseCurve(const std::string& curve, const std::string& family) {
    RefuseInput("tests of the family " + family + " have no curve " + Quoted(curve));
  }

 private:
  std::vector<TestTable> tables_;
  ReadTests& read_;
  std::vector<std::unique_ptr<TableCurve>> curves_;
};

const std::pair<const char*, Curve HyperelasticData::*> kModes[] = {{"uniaxial", &HyperelasticData::uniaxial},
                                                                    {"equibiaxial", &HyperelasticData::equibiaxial},
                                                                    {"pure_shear", &HyperelasticData::pureShear},
                                                                    {"simple_shear", &HyperelasticData::simpleShear},
                                                                    {"volumetric", &HyperelasticData::volumetric}};

HyperelasticData Rubber(CurveReader& reader, std::vector<std::string>& notes) {
  HyperelasticData data;
  std::vector<std::pair<std::string, TableCurve*>> read;
  for (const TestTable& test : reader.Tables()) {
    const auto isMode = [&](const auto& mode) { return test.curve == mode.first; };
    if (std::none_of(std::begin(kModes), std::end(kModes), isMode)) CurveReader::RefuseCurve(test.curve, "rubber");
    const auto before =
        std::count_if(read.begin(), read.end(), [&](const auto& one) { return one.first == test.curve; });
    const std::string name = before == 0 ? test.curve : test.curve + "_" + std::to_string(before + 1);
    read.emplace_back(test.curve, &reader.Read(test, name, RolesOf(test.curve)));
  }
  data.stressUnit = UseOneOrdinateUnit(reader.All(), notes);
  for (const auto& one : read) {
    const auto& [mode, curve] = one;
    const auto* known =
        std::find_if(std::begin(kModes), std::end(kModes), [&](const auto& m) { return one.first == m.first; });
    Curve& first = data.*(known->second);
    if (first.Empty()) {
      first = curve->curve;
    } else if (mode == "volumetric") {
      RefuseInput("only one volumetric test can be fitted at a time");
    } else {
      data.replicates.push_back({mode, curve->curve});
    }
  }
  return data;
}

RelaxationData Relaxation(CurveReader& reader) {
  RelaxationData data;
  if (reader.Tables().size() != 1) RefuseInput("a relaxation fit takes one curve");
  const TestTable& test = reader.Tables().front();
  if (test.curve != "relaxation") CurveReader::RefuseCurve(test.curve, "relaxation");
  const TableCurve& read = reader.Read(test);
  if (HoldsModuli(read)) data.normalise = Normalise::Free;
  data.curve = read.curve;
  data.timeUnit = read.xUnit;
  data.modulusUnit = read.yUnit;
  return data;
}

CreepData Creep(CurveReader& reader, std::vector<std::string>& notes) {
  CreepData data;
  std::vector<TableCurve*> curves;
  for (const TestTable& test : reader.Tables()) {
    // Any name will do: there are several tests.
    curves.push_back(&reader.Read(test, test.curve, RolesOf("creep")));
    data.tests.push_back({{}, CreepStress(test.table, data.stressUnit)});
  }
  data.timeUnit = UseOneAbscissaUnit(curves, notes);
  for (std::size_t i = 0; i < curves.size(); ++i) data.tests[i].curve = curves[i]->curve;
  return data;
}

CyclicData Cyclic(CurveReader& reader) {
  CyclicData data;
  for (const TestTable& test : reader.Tables()) {
    if (test.curve != "stiffness" && test.curve != "damping") CurveReader::RefuseCurve(test.curve, "cyclic");
    const TableCurve& read = reader.Read(test);
    RequireFractions(read);
    (test.curve == "stiffness" ? data.stiffness : data.damping) = read.curve;
  }
  return data;
}

TensileData Tensile(CurveReader& reader) {
  if (reader.Tables().size() != 1) RefuseInput("a hardening law is fitted to one tensile test");
  TestTable test = reader.Tables().front();
  const TableCurve& read = reader.Read(test, "tensile_test", RolesOf("tensile_test"));
  TensileData data;
  data.curve = read.curve;
  data.stressUnit = read.yUnit;
  SetMeasures(read, std::nullopt, std::nullopt, data);
  return data;
}

RetentionData Retention(CurveReader& reader, std::vector<std::string>& notes) {
  RetentionData data;
  for (const TestTable& test : reader.Tables()) {
    if (test.curve == "grading") {
      const TableCurve& read = reader.Read(test);
      data.diameterUnit = SoilUnit(read, {"mm", "um", "cm", "m"}, "mm", "diameter", notes);
      data.grading = read.curve;
    } else if (test.curve == "retention") {
      const bool saturation = HoldsSaturation(test.table, test.columns);
      CurveRoles roles = RolesOf("retention");
      if (saturation) roles.y = Roles::kSaturation;
      const TableCurve& read = reader.Read(test, "retention", roles);
      if (saturation) data.water = WaterMeasure::Saturation;
      data.suctionUnit = SoilUnit(read, SuctionUnits(), "kPa", "suction", notes);
      RequireVolumetric(read);
      data.retention = read.curve;
    } else {
      CurveReader::RefuseCurve(test.curve, "retention");
    }
    if (const auto porosity = MetadataQuantity(test.table, Roles::kPorosity)) data.porosity = porosity->value;
    if (const auto density = MetadataQuantity(test.table, Roles::kParticleDensity)) {
      data.particleDensity = density->value;
    }
  }
  if (data.retention.Empty()) data.points = RetentionPoints::Grading;
  return data;
}

VolumetricData Volumetric(CurveReader& reader) {
  if (reader.Tables().size() != 1) RefuseInput("a volumetric fit takes one curve");
  const TableCurve& read = reader.Read(reader.Tables().front(), "volumetric", RolesOf("volumetric"));
  return {read.curve, read.yUnit};
}

Tests TestsOfFamily(const std::string& family, CurveReader& reader, std::vector<std::string>& notes) {
  if (family == "rubber") return Rubber(reader, notes);
  if (family == "volumetric") return Volumetric(reader);
  if (family == "relaxation") return Relaxation(reader);
  if (family == "creep") return Creep(reader, notes);
  if (family == "cyclic") return Cyclic(reader);
  if (family == "hardening") return Tensile(reader);
  if (family == "retention") return Retention(reader, notes);
  RefuseInput("there are no tests of the family " + Quoted(family));
}

/// The measure that a column's name tells; nothing for names that fit several.
std::optional<StrainMeasure> StrainMeasureOf(std::string_view name) {
  if (name.find("plastic") != std::string_view::npos) return StrainMeasure::Plastic;
  if (name == "true_strain" || name == "logarithmic_strain") return StrainMeasure::True;
  if (name == "engineering_strain" || name == "nominal_strain" || name == "stretch") return StrainMeasure::Engineering;
  return std::nullopt;
}

std::optional<StressMeasure> StressMeasureOf(std::string_view name) {
  if (name == "engineering_stress" || name == "nominal_stress") return StressMeasure::Engineering;
  if (name.empty() || name == "stress") return std::nullopt;
  return StressMeasure::True;
}

}  // namespace

bool HoldsModuli(const TableCurve& read) {
  if (ConversionFactor(read.yUnit, "Pa")) return true;
  const std::string name = Strings::Lower(read.yName.empty() ? read.input.columns[1] : std::string(read.yName));
  const auto says = [&](const char* word) { return name.find(word) != std::string::npos; };
  if (says("relative") || says("normalised") || says("normalized")) return false;
  return says("modulus") || says("stress") || name == "e" || name == "e_relax" || read.yName == "G";
}

double CreepStress(const Table& table, std::string& unit) {
  const auto stress = MetadataQuantity(table, Roles::kStress);
  if (!stress) {
    RefuseData(table.source +
               ": the stress of the test is missing; add a line such as # stress_MPa: 500 or give --stress");
  }
  if (unit.empty()) unit = stress->unit;
  if (stress->unit.empty() || stress->unit == unit) return stress->value;
  const auto factor = ConversionFactor(stress->unit, unit);
  if (factor) return stress->value * *factor;
  RefuseData(table.source + ": stress in " + Quoted(stress->unit) + " cannot be converted to " + Quoted(unit) +
             "; use one unit for all");
}

void RequireFractions(const TableCurve& read) {
  for (const std::string& unit : {read.xUnit, read.yUnit}) {
    if (unit.empty()) continue;
    RefuseData(read.input.file + ": a column in " + Quoted(unit) +
               " is neither a fraction nor percent; end its name in _percent, or in nothing for fractions");
  }
}

void SetMeasures(const TableCurve& read, std::optional<StrainMeasure> strain, std::optional<StressMeasure> stress,
                 TensileData& data) {
  if (!strain) strain = StrainMeasureOf(read.xName);
  if (!stress) stress = StressMeasureOf(read.yName);
  if (!strain && stress == StressMeasure::Engineering) strain = StrainMeasure::Engineering;
  if (!strain) {
    RefuseData(read.input.file +
               ": the name of the strain column does not tell whether it is plastic, true or engineering strain; say "
               "so with --strain-measure");
  }
  data.strain = *strain;
  const bool engineering = data.strain == StrainMeasure::Engineering;
  data.stress = stress.value_or(engineering ? StressMeasure::Engineering : StressMeasure::True);
}

bool HoldsSaturation(const Table& table, const ColumnNames& columns) {
  if (columns.count(std::string(Roles::kSaturation.name)) > 0) return true;
  const bool theta = columns.count(std::string(Roles::kWaterContent.name)) > 0 || columns.count("y") > 0 ||
                     HasColumn(table, Roles::kWaterContent);
  return !theta && HasColumn(table, Roles::kSaturation);
}

void RequireVolumetric(const TableCurve& read) {
  if (read.yUnit.empty() || read.yUnit == "m3/m3" || read.yUnit == "cm3/cm3") return;
  RefuseData(read.input.file + ": water contents in " + Quoted(read.yUnit) +
             " are not volumetric; give m3/m3 or percent");
}

std::string SoilUnit(const TableCurve& read, const std::vector<std::string>& known, const std::string& usual,
                     const std::string& what, std::vector<std::string>& notes) {
  if (read.xUnit.empty()) {
    notes.push_back("curve " + read.curve.name + ": its " + what + " column names no unit; taken as " + usual);
    return usual;
  }
  auto found = std::find(known.begin(), known.end(), read.xUnit);
  if (found == known.end()) {
    found = std::find_if(known.begin(), known.end(),
                         [&](const std::string& one) { return EqualIgnoringCase(one, read.xUnit); });
  }
  if (found != known.end()) return *found;
  RefuseData(read.input.file + ": " + what + " in " + Quoted(read.xUnit) + " is not known; the units are " +
             Join(known, ", "));
}

ReadTests TestsFromTables(const std::string& family, std::vector<TestTable> tables) {
  if (tables.empty()) RefuseInput("there is no test curve");
  ReadTests read;
  CurveReader reader(std::move(tables), read);
  std::vector<std::string> notes;
  read.tests = TestsOfFamily(family, reader, notes);
  reader.Tell();
  read.notes.insert(read.notes.end(), notes.begin(), notes.end());
  return read;
}

}  // namespace Xem::Fit
